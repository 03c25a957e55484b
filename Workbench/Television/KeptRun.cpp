#include "Television/KeptRun.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "Cli/Errors.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Files.h"
#include "LogText.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t MICROSECONDS = 1'000'000;

std::string FileOf(std::int64_t number, const char* suffix) {
    return TvFolder::Resolve(std::string(RUNS_FOLDER) + "/" + std::to_string(number) + suffix);
}

/** The number in the name of a run's file; 0 when it is none. */
std::int64_t NumberOf(const fs::path& file) {
    gint64 number = 0;
    const bool isOfRun =
        (file.extension() == ".log" || file.extension() == ".json") &&
        g_ascii_string_to_signed(file.stem().c_str(), 10, 1, G_MAXINT64 - 1, &number, nullptr) != FALSE &&
        file.stem() == std::to_string(number);
    return isOfRun ? number : 0;
}

/** The numbers of the runs that a log is kept of, ascending. @throws when the folder cannot be read */
std::vector<std::int64_t> Numbers() {
    std::vector<std::int64_t> numbers;
    const std::string folder = TvFolder::Resolve(RUNS_FOLDER);
    if (!fs::exists(fs::symlink_status(folder))) {
        return numbers;
    }
    for (fs::directory_iterator at(folder); at != fs::end(at); ++at) {
        const std::int64_t number = NumberOf(at->path());
        if (number > 0 && at->path().extension() == ".log") {
            numbers.push_back(number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/** A run of which no more is known. */
KeptRun Unknown(std::int64_t number, const char* outcome, const std::string& reason) {
    KeptRun run;
    run.number = number;
    run.story.outcome = outcome;
    run.story.reason = reason.empty() ? run.story.reason : std::vector<std::string>{reason};
    return run;
}

KeptRun FromJson(std::int64_t number, const Json::Value& json) {
    KeptRun run;
    run.number = number;
    run.story = Log::StoryFromJson(json);
    run.finished = InfoSyncUtil::ToInt64(json["finished"]);
    run.seconds = json["seconds"].isNumeric() ? json["seconds"].asDouble() : 0;
    run.level = (Cli::TextMember(json, "level") + '\0').front();
    run.changes = json["changes"].isArray() ? json["changes"] : run.changes;
    return run;
}

KeptRun ReadRun(std::int64_t number) {
    constexpr char UNREADABLE[] = "unreadable";
    try {
        const auto text = Files::ReadIfThere(FileOf(number, ".json"));
        if (!text) {
            return Unknown(number, IsUnderWay(number) ? "under way" : "unfinished", "");
        }
        if (text->empty()) {
            return Unknown(number, "not kept",
                           "how it ended could not be written: the disk may have been full");
        }
        const Json::Value json = InfoSyncUtil::ParseStoredObject(*text);
        if (json["outcome"].isString()) {
            return FromJson(number, json);
        }
    } catch (const std::system_error& error) {
        return Unknown(number, UNREADABLE, error.what());
    } catch (const std::exception&) {
        // As below: it is no JSON.
    }
    return Unknown(number, UNREADABLE, "its note is damaged");
}

}  // namespace

Json::Value KeptRun::ToJson() const {
    Json::Value json = Log::StoryJson(story);
    json.removeMember("run");
    json["number"] = Json::Int64{number};
    json["finished"] = finished == 0 ? Json::Value() : Json::Value(Json::Int64{finished});
    json["seconds"] = std::round(seconds * 1000) / 1000;
    json["level"] = level == '\0' ? Json::Value() : Json::Value(std::string(1, level));
    json["changes"] = changes;
    return json;
}

RunKeeper::RunKeeper() {
    try {
        const std::vector<std::int64_t> numbers = Numbers();
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
    run.number = m_number;
    run.finished = g_get_real_time() / MICROSECONDS;
    const std::string note = FileOf(m_number, ".json");
    try {
        Files::Replace(note, Cli::JsonText(run.ToJson()));
    } catch (const std::exception&) {
        // An empty note takes no room: it says that the run ended.
        std::ofstream(note).close();
        throw;
    }
    std::vector<std::int64_t> numbers = Numbers();
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

std::vector<KeptRun> ReadKeptRuns() {
    std::vector<KeptRun> runs;
    for (const std::int64_t number : Numbers()) {
        runs.push_back(ReadRun(number));
    }
    return runs;
}

std::optional<KeptRun> ReadNewestRun() {
    try {
        const std::vector<std::int64_t> numbers = Numbers();
        return numbers.empty() ? std::nullopt : std::optional(ReadRun(numbers.back()));
    } catch (const std::exception& error) {
        return Unknown(0, "unreadable", Cli::Reason(error));
    }
}

bool IsUnderWay(std::int64_t number) {
    return !Cli::FileLock(KeptLogPath(number), Cli::FileLock::Wait::NO).IsHeld();
}

std::string KeptLogPath(std::int64_t number) {
    return FileOf(number, ".log");
}

std::string KeptRunWords(const KeptRun& run, std::int64_t now, const Cli::Style& style) {
    const std::string words = style(run.IsSuccess() ? Cli::Colour::GREEN : Cli::Colour::RED,
                                    Cli::Escape(Log::OutcomeWords(run.story)));
    return run.finished == 0 ? words
                             : words + ", " + Cli::DurationText(Cli::Difference(now, run.finished)) + " ago";
}

}  // namespace Television
