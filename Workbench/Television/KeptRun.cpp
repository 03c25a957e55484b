#include "Television/KeptRun.h"

#include <glib.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cli/Tool.h"
#include "Files.h"
#include "LogText.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

namespace fs = std::filesystem;

constexpr char UNREADABLE[] = "unreadable";
constexpr char DAMAGED[] = "its note is damaged";

std::string FileOf(std::int64_t number, const char* suffix) {
    return TvFolder::Resolve(std::string(RUNS_FOLDER) + "/" + std::to_string(number) + suffix);
}

/** A run of which no more is known. */
KeptRun Unknown(const char* outcome, const std::string& reason) {
    constexpr char NOTHING_KNOWN[] =
        R"({"user": null, "reason": [], "what_to_do": [], "heading": [], "story": [],
        "mark": null, "next_mark": null, "records": [], "number": null, "finished": null, "seconds": null,
        "level": null, "changes": []})";
    KeptRun run = Cli::ParseObject(NOTHING_KNOWN, "");
    run["outcome"] = outcome;
    if (!reason.empty()) {
        run["reason"].append(reason);
    }
    return run;
}

KeptRun ReadNote(std::int64_t number) {
    try {
        const auto text = Files::ReadIfThere(FileOf(number, ".json"));
        if (!text) {
            return Unknown(IsUnderWay(number) ? "under way" : "unfinished", "");
        }
        if (text->empty()) {
            return Unknown("not kept", "how it ended could not be written: the disk may have been full");
        }
        const KeptRun note = InfoSyncUtil::ParseStoredObject(*text);
        return note["outcome"].isString() ? note : Unknown(UNREADABLE, DAMAGED);
    } catch (const std::system_error& error) {
        return Unknown(UNREADABLE, error.what());
    } catch (const std::exception&) {
        return Unknown(UNREADABLE, DAMAGED);
    }
}

}  // namespace

bool IsSuccess(const KeptRun& run) {
    return run["outcome"] == Log::SUCCESS;
}

std::vector<std::int64_t> KeptRunNumbers() {
    std::vector<std::int64_t> numbers;
    const std::string folder = TvFolder::Resolve(RUNS_FOLDER);
    if (!fs::exists(fs::symlink_status(folder))) {
        return numbers;
    }
    for (const auto& file : fs::directory_iterator(folder)) {
        const std::string name = file.path().filename();
        const std::int64_t number = Cli::Number(name);
        if (number > 0 && name == std::to_string(number) + ".log") {
            numbers.push_back(number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

KeptRun ReadKeptRun(std::int64_t number) {
    KeptRun run = ReadNote(number);
    run["number"] = Json::Int64{number};
    return run;
}

KeptRun ReadNewestRun() {
    try {
        const std::vector<std::int64_t> numbers = KeptRunNumbers();
        return numbers.empty() ? KeptRun() : ReadKeptRun(numbers.back());
    } catch (const std::exception& error) {
        return Unknown(UNREADABLE, Cli::Reason(error));
    }
}

RunKeeper::RunKeeper() {
    try {
        const std::vector<std::int64_t> numbers = KeptRunNumbers();
        m_number = numbers.empty() ? m_number : numbers.back() + 1;
        Files::MakeFolder(TvFolder::Resolve(RUNS_FOLDER));
        // The lock makes the log, for its owner alone.
        m_lock = std::make_unique<Cli::FileLock>(KeptLogPath(m_number), Cli::FileLock::Wait::NO);
        m_log.open(KeptLogPath(m_number), std::ios::app | std::ios::binary);
    } catch (const std::exception&) {
        // The run matters more than its log; Keep tells.
        m_log.setstate(std::ios::failbit);
    }
}

void RunKeeper::Take(const Log::Line& line) {
    const bool hasTime = !line.tag.empty() && !line.time.empty();
    m_log << (hasTime ? std::string() : LogText::Now() + " ") << line.text << "\n" << std::flush;
}

void RunKeeper::Keep(KeptRun& run) {
    run.removeMember("run");  // its number in a log that has others, too
    run["number"] = Json::Int64{m_number};
    run["finished"] = Json::Int64{g_get_real_time() / G_USEC_PER_SEC};
    const std::string note = FileOf(m_number, ".json");
    try {
        Files::Replace(note, Cli::JsonText(run));
    } catch (const std::exception&) {
        // An empty note takes no room: it says that the run ended.
        std::ofstream(note).close();
        throw;
    }
    std::vector<std::int64_t> numbers = KeptRunNumbers();
    numbers.resize(numbers.size() - std::min(numbers.size(), MOST_KEPT_RUNS));
    for (const std::int64_t number : numbers) {
        std::error_code ignored;
        fs::remove(FileOf(number, ".json"), ignored);
        fs::remove(FileOf(number, ".log"), ignored);
    }
    m_log.close();
    if (!m_log) {
        throw std::runtime_error("a part of the run's log could not be written to " + KeptLogPath(m_number));
    }
}

bool IsUnderWay(std::int64_t number) {
    return !Cli::FileLock(KeptLogPath(number), Cli::FileLock::Wait::NO).IsHeld();
}

std::string KeptLogPath(std::int64_t number) {
    return FileOf(number, ".log");
}

std::string KeptRunWords(const KeptRun& run, std::int64_t now, const Cli::Style& style) {
    const std::string words =
        style(IsSuccess(run) ? Cli::Colour::GREEN : Cli::Colour::RED, Cli::Escape(Log::OutcomeWords(run)));
    const std::int64_t finished = Cli::IntegerMember(run, "finished");
    return finished == 0 ? words : words + ", " + Cli::DurationText(Cli::Difference(now, finished)) + " ago";
}

}  // namespace Television
