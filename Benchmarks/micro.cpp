/** What the pieces cost that a run repeats for every record and every log line. */
#include <benchmark/benchmark.h>
#include <glib.h>
#include <glib/gstdio.h>

#include <cstdlib>
#include <string>

#include "AuthData/CDeviceInfo.h"
#include "Util/Log.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace {

constexpr char USER[] = "ann@example.com";
constexpr char UUIDS[] =
    R"(","uuids":"0000110a-0000-1000-8000-00805f9b34fb,0000110b-0000-1000-8000-00805f9b34fb"})";

/** A television in a temporary folder, gone with the process. */
class ScratchTelevision {
public:
    ScratchTelevision() : m_folder(g_dir_make_tmp("infosync-bench-XXXXXX", nullptr)) {
        g_setenv("INFOSYNC_TV_DIR", m_folder.c_str(), TRUE);
        constexpr char INI[] = "[log]\nlevel=W\nfile=/dev/null\n";
        g_file_set_contents_full((m_folder + "/tv.ini").c_str(), INI, -1, G_FILE_SET_CONTENTS_NONE, 0600,
                                 nullptr);
    }
    ~ScratchTelevision() {
        const std::string command = "rm -rf " + m_folder;
        if (g_spawn_command_line_sync(command.c_str(), nullptr, nullptr, nullptr, nullptr) == FALSE) {
            g_printerr("could not remove %s\n", m_folder.c_str());
        }
    }
    ScratchTelevision(const ScratchTelevision&) = delete;
    ScratchTelevision& operator=(const ScratchTelevision&) = delete;

private:
    std::string m_folder;
};

const ScratchTelevision television;

std::string Batch(std::int64_t count) {
    std::string text = R"({"meta":{"synced_timestamp":1700000000000},"records":[)";
    for (std::int64_t i = 0; i < count; ++i) {
        const std::string n = std::to_string(1000000 + i);
        text.append(i == 0 ? "" : ",").append(R"({"record_id":"r)").append(n).append(R"(","name":"Speaker )");
        text.append(n).append(R"(","address":"AA:BB:)").append(n).append(UUIDS);
    }
    return text + "]}";
}

void Forget() {
    InfoSyncUtil::RemoveData(InfoSyncUtil::ALIAS_RECORDS);
    InfoSyncUtil::SetDeviceList("");
}

/** A first batch: parsed, merged into nothing, stored, listed. */
void FirstMerge(benchmark::State& state) {
    const std::string batch = Batch(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        Forget();
        CDeviceInfo info;
        info.Init(USER);
        info.GetUserData();
        info.ImportData(batch);
    }
    state.SetComplexityN(state.range(0));
}

/** A batch that changes nothing, over stored records. */
void LaterMerge(benchmark::State& state) {
    Forget();
    CDeviceInfo first;
    first.Init(USER);
    first.ImportData(Batch(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        CDeviceInfo info;
        info.Init(USER);
        info.ImportData(R"({"meta":{"synced_timestamp":1700000000001},"records":[]})");
    }
    state.SetComplexityN(state.range(0));
}

void DeviceListRebuild(benchmark::State& state) {
    Forget();
    CDeviceInfo info;
    info.Init(USER);
    info.ImportData(Batch(state.range(0)));
    for ([[maybe_unused]] auto _ : state) {
        info.UpdateDeviceList();
    }
    state.SetComplexityN(state.range(0));
}

void LogLine(benchmark::State& state, log_priority priority, std::size_t length) {
    const std::string text(length, 'x');
    for ([[maybe_unused]] auto _ : state) {
        INFOSYNC_LOG(priority, "%s", text.c_str());
    }
}

BENCHMARK(FirstMerge)->RangeMultiplier(10)->Range(10, 100000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(LaterMerge)->RangeMultiplier(10)->Range(10, 100000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(DeviceListRebuild)
    ->RangeMultiplier(10)
    ->Range(10, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();
BENCHMARK_CAPTURE(LogLine, below_the_level, DLOG_INFO, 100);
BENCHMARK_CAPTURE(LogLine, short_text, DLOG_WARN, 100);
BENCHMARK_CAPTURE(LogLine, text_of_20_megabytes, DLOG_WARN, 20000000);

}  // namespace

BENCHMARK_MAIN();
