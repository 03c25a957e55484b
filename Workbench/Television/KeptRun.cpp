#include "Television/KeptRun.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <memory>
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

constexpr std::size_t KEPT = 20;
constexpr char UNFINISHED[] = "unfinished";
constexpr char UNDER_WAY[] = "under way";
constexpr char UNREADABLE[] = "unreadable";
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

Json::Value ToJson(const DeviceChange& change) {
    const Device& device = change.kind == "removed" ? change.before : change.after;
    Json::Value json;
    json["change"] = change.kind;
    json["id"] = change.id;
    json["name"] = device.name;
    json["address"] = device.address;
    return json;
}

/** A run of which no more is known. */
Json::Value Unknown(std::int64_t number, const char* outcome, const std::string& reason = "") {
    Json::Value run;
    run["number"] = static_cast<Json::Int64>(number);
    run["outcome"] = outcome;
    run["reason"] = reason;
    run["words"] = outcome + (reason.empty() ? "" : ": " + reason);
    run["requests"] = Json::Value(Json::arrayValue);
    run["changes"] = Json::Value(Json::arrayValue);
    return run;
}

Json::Value ReadRun(std::int64_t number) {
    try {
        const auto text = Files::ReadIfThere(FileOf(number, ".json"));
        if (!text) {
            return Unknown(number, IsUnderWay(number) ? UNDER_WAY : UNFINISHED);
        }
        Json::Value run = InfoSyncUtil::ParseStoredObject(*text);
        if (run["outcome"].isString() && run["words"].isString()) {
            run["number"] = static_cast<Json::Int64>(number);
            return run;
        }
    } catch (const std::system_error& error) {
        return Unknown(number, UNREADABLE, error.what());
    } catch (const std::exception&) {
        // As below: it is no JSON.
    }
    return Unknown(number, UNREADABLE, "its note is damaged");
}

}  // namespace

RunKeeper::RunKeeper(char level) : m_level(level) {
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

void RunKeeper::Take(const Explain::LogLine& line) {
    const bool hasTime = !line.continues && line.priority != '\0' && line.headAt > 0;
    m_log << (hasTime ? std::string() : LogText::Now() + " ") << line.text << "\n" << std::flush;
}

Json::Value RunKeeper::Summary(const RunOutcome& outcome, const Json::Value& requests, double seconds,
                               const std::vector<DeviceChange>& changes) const {
    Json::Value run;
    run["number"] = static_cast<Json::Int64>(m_number);
    run["finished"] = static_cast<Json::Int64>(g_get_real_time() / MICROSECONDS);
    run["seconds"] = std::round(seconds * 1000) / 1000;
    run["outcome"] = KindName(outcome.kind);
    run["reason"] = outcome.reason;
    run["words"] = OutcomeWords(outcome);
    run["level"] = std::string(1, m_level);
    run["requests"] = requests;
    run["changes"] = Json::Value(Json::arrayValue);
    for (const DeviceChange& change : changes) {
        run["changes"].append(ToJson(change));
    }
    return run;
}

void RunKeeper::Keep(const Json::Value& summary) {
    Files::Replace(FileOf(m_number, ".json"), Cli::JsonText(summary));
    std::vector<std::int64_t> numbers = Numbers();
    numbers.resize(numbers.size() - std::min(numbers.size(), KEPT));
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

std::vector<Json::Value> ReadKeptRuns() {
    std::vector<Json::Value> runs;
    for (const std::int64_t number : Numbers()) {
        runs.push_back(ReadRun(number));
    }
    return runs;
}

Json::Value ReadNewestRun() {
    try {
        const std::vector<std::int64_t> numbers = Numbers();
        return numbers.empty() ? Json::Value() : ReadRun(numbers.back());
    } catch (const std::exception& error) {
        return Unknown(0, UNREADABLE, Cli::Reason(error));
    }
}

bool IsKeptRunFile(const std::string& name) {
    return name.find('/') == std::string::npos && NumberOf(name) > 0;
}

bool IsUnderWay(std::int64_t number) {
    return !Cli::FileLock(KeptLogPath(number), Cli::FileLock::Wait::NO).IsHeld();
}

std::string KeptLogPath(std::int64_t number) {
    return FileOf(number, ".log");
}

std::string KeptRunWords(const Json::Value& run, std::int64_t now, const Cli::Style& style) {
    if (run.isNull()) {
        return "none yet";
    }
    const bool isSuccess = Cli::TextMember(run, "outcome") == KindName(RunOutcome::Kind::SUCCESS);
    const std::string words =
        style(isSuccess ? Cli::Colour::GREEN : Cli::Colour::RED, Cli::Escape(Cli::TextMember(run, "words")));
    return run.isMember("finished")
               ? words + ", " +
                     Cli::DurationText(Cli::Difference(now, InfoSyncUtil::ToInt64(run["finished"]))) + " ago"
               : words;
}

std::string RequestsWords(const Json::Value& requests) {
    std::vector<std::string> all;
    for (const Json::Value& request : requests) {
        std::string words = Cli::TextMember(request, "request");
        const std::string mark = Cli::TextMember(request, "mark");
        words += mark.empty() ? "" : " from mark " + mark;
        const std::string status = Cli::TextMember(request, "status");
        const bool isAnswered =
            request.isObject() && request["answered"].isBool() && request["answered"].asBool();
        words += !isAnswered ? " (no answer)" : status.empty() ? "" : " (" + status + ")";
        all.push_back(words);
    }
    return Cli::Join(all, ", ");
}

}  // namespace Television
