#include "Television/KeptRun.h"

#include <glib.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cli/Tool.h"
#include "Files.h"
#include "LogText.h"
#include "Television/Log/Story.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

namespace fs = std::filesystem;
using Cli::Colour;

/** A run of which no more is known. */
KeptRun Unknown(const char* outcome, const std::vector<std::string>& reason) {
    KeptRun run = Cli::ParseObject(
        R"({"user": null, "what_to_do": [], "heading": [], "story": [], "mark": null, "next_mark": null,
        "records": [], "number": null, "finished": null, "seconds": null, "level": null, "changes": []})",
        "");
    run["outcome"] = outcome;
    run["reason"] = Cli::JsonArray(reason);
    return run;
}

KeptRun ReadNote(std::int64_t number) {
    const auto note = Files::ReadIfThere(RunFile(number, ".json"));
    if (!note) {
        // The tool that runs it holds its log, and lets go however it ends.
        const Cli::FileLock log(RunFile(number, ".log"), Cli::FileLock::Wait::NO);
        return Unknown(log.IsHeld() ? "unfinished" : UNDER_WAY, {});
    }
    if (note->empty()) {
        return Unknown("not kept", {"how it ended could not be written: the disk may have been full"});
    }
    const KeptRun run = Cli::ParseObject(*note, "its note is damaged");
    return run["outcome"].isString() ? run : Unknown("unreadable", {"its note is damaged: no outcome"});
}

/** What changed in the device list, in the order of ids. */
Json::Value Compare(const DeviceList& before, const DeviceList& after) {
    Json::Value changes(Json::arrayValue);
    std::map<std::string, Device> devices = after.devices;
    devices.insert(before.devices.begin(), before.devices.end());
    for (const auto& [id, device] : devices) {
        const auto old = before.devices.find(id);
        const bool isNew = old == before.devices.end();
        const bool isGone = after.devices.count(id) == 0;
        const std::string was = isNew ? "" : old->second.name;
        Json::Value change = ToJson(device);
        if (isNew || isGone || change != ToJson(old->second)) {
            change.removeMember("deleted_on_tv");
            change["was"] = was;
            change["change"] = isNew                ? "added"
                               : isGone             ? "removed"
                               : was == device.name ? "changed"
                                                    : "renamed";
            changes.append(change);
        }
    }
    return changes;
}

std::string ChangeText(const Json::Value& change, const Cli::Style& style) {
    const auto text = [&change](const char* member) { return change[member].asString(); };
    const std::string kind = text("change");
    const Colour colour = kind == "removed" ? Colour::RED : kind == "added" ? Colour::GREEN : Colour::YELLOW;
    const std::string words =
        (kind == "renamed" ? text("was") + " -> " : "") + text("name") + "  " + text("address") +
        (kind == "changed" ? "  users " + Log::Joined(change["users"], ", ") : "") + "  (" + text("id") + ")";
    return "  " + style(colour, Cli::Pad(kind, sizeof("renamed  ") - 1)) + Cli::Escape(words) + "\n";
}

Colour OutcomeColour(const KeptRun& run) {
    return run["outcome"] == Log::SUCCESS ? Colour::GREEN : Colour::RED;
}

}  // namespace

void RunKeeper::Begin() {
    m_begun = g_get_monotonic_time();
    try {
        const std::vector<std::int64_t> numbers = KeptRunNumbers();
        m_number = numbers.empty() ? m_number : numbers.back() + 1;
        Files::MakeFolder(TvFolder::Resolve(RUNS_FOLDER));
        // The lock makes the log, for its owner alone.
        m_lock.emplace(RunFile(m_number, ".log"), Cli::FileLock::Wait::NO);
        m_log.open(RunFile(m_number, ".log"), std::ios::app | std::ios::binary);
    } catch (const std::exception&) {
        // The run matters more than its log; Keep tells.
        m_log.setstate(std::ios::failbit);
    }
}

void RunKeeper::Take(const Log::Line& line) {
    const bool hasTime = !line.tag.empty() && !line.time.empty();
    m_log << (hasTime ? std::string() : LogText::Now() + " ") << line.text << "\n" << std::flush;
}

std::string RunKeeper::Keep(KeptRun& run) {
    const std::int64_t milliseconds = (g_get_monotonic_time() - m_begun) / 1000;
    run.removeMember("run");  // its number in a log that has others, too
    run["number"] = Json::Int64{m_number};
    run["finished"] = Json::Int64{g_get_real_time() / G_USEC_PER_SEC};
    run["seconds"] = static_cast<double>(milliseconds) / 1000;
    run["changes"] = Compare(m_before, ReadDeviceList());
    try {
        Files::Replace(RunFile(m_number, ".json"), Cli::JsonText(run));
        std::vector<std::int64_t> numbers = KeptRunNumbers();
        numbers.resize(numbers.size() - std::min(numbers.size(), MOST_KEPT_RUNS));
        for (const std::int64_t number : numbers) {
            std::error_code ignored;
            fs::remove(RunFile(number, ".json"), ignored);
            fs::remove(RunFile(number, ".log"), ignored);
        }
        m_log.close();
        return m_log ? "" : "a part of the run's log could not be written to " + RunFile(m_number, ".log");
    } catch (const std::exception& error) {
        // An empty note takes no room: it says that the run ended.
        std::ofstream(RunFile(m_number, ".json"), std::ios::app).close();
        return std::string("how the run ended could not be kept: ") + error.what();
    }
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

std::string RunFile(std::int64_t number, const char* suffix) {
    return TvFolder::Resolve(std::string(RUNS_FOLDER) + "/" + std::to_string(number) + suffix);
}

KeptRun ReadKeptRun(std::int64_t number) {
    KeptRun run;
    try {
        run = ReadNote(number);
    } catch (const std::exception& error) {
        run = Unknown("unreadable", {error.what()});
    }
    run["number"] = Json::Int64{number};
    return run;
}

KeptRun ReadNewestRun() {
    try {
        const std::vector<std::int64_t> numbers = KeptRunNumbers();
        return numbers.empty() ? KeptRun() : ReadKeptRun(numbers.back());
    } catch (const std::exception& error) {
        return Unknown("unreadable", {Cli::Reason(error)});
    }
}

std::string KeptRunWords(const KeptRun& run, std::int64_t now, const Cli::Style& style) {
    const std::string words = style(OutcomeColour(run), Cli::Escape(Log::OutcomeWords(run)));
    const std::int64_t finished = Cli::IntegerMember(run, "finished");
    return finished == 0 ? words : words + ", " + Cli::DurationText(Cli::Difference(now, finished)) + " ago";
}

std::string KeptRunText(const KeptRun& run, const Cli::Style& style) {
    const DeviceList list = ReadDeviceList();
    std::string text = style(Colour::RED, Cli::EscapeLines(list.problem)) + "\n";
    if (list.problem.empty()) {
        text = "device list: " + Cli::Count(list.devices.size(), "device") +
               (run["changes"].empty() ? ", nothing changed" : "") + "\n";
        for (const Json::Value& change : run["changes"]) {
            text += ChangeText(change, style);
        }
    }
    for (const Json::Value& remedy : run["what_to_do"]) {
        text += Cli::Wrap("to do: " + Cli::Escape(remedy.asString()), 7, style.Width());
    }
    const std::string ended = "run: " + Cli::Escape(Log::OutcomeWords(run)) + " (" +
                              Cli::DurationText(run["seconds"].asDouble()) + ")";
    return text + style(OutcomeColour(run), Cli::Wrap(ended, 5, style.Width()));
}

}  // namespace Television
