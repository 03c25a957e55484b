#include "Television/Explain/RunReader.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "Cli/Duration.h"
#include "Television/Explain/Pattern.h"
#include "Television/LogReader.h"

namespace Explain {

namespace {

using Text = std::string_view;

constexpr Text PRIORITIES = Television::LOG_LEVELS;
constexpr char NOBODY[] = "Exit process";
constexpr char NO_TOKEN[] = "fail to get access Token";
constexpr std::size_t NUMBER_WIDTH = 7;
constexpr std::size_t MOST_FAULTS = 20;
constexpr long STATUS_OK = 200;

/** The request whose answer the step is; null for other steps. */
Exchange* AnsweredBy(Run& run, Step step) {
    return step == Step::TOKEN_ANSWER        ? &run.tokenRequest
           : step == Step::ACTIVATION_ANSWER ? &run.activation
           : step == Step::APP_TOKEN_ANSWER  ? &run.appToken
           : step == Step::RECORDS_ANSWER    ? &run.download
                                             : nullptr;
}

/** What is read out of JSON, which may be cut and may go on in other lines. */
void ForEachMember(Text json, const std::function<void(const Pattern::Match&)>& onMember) {
    static const Pattern member(
        R"re("(?<name>rcode|rmsg|error|error_description|access_token|synced_timestamp)"\s*:\s*)re"
        R"re((?:"(?<value>(?:[^"\\]|\\.)*+)|(?<value>[-\w]+)))re");
    member.ForEach(json, onMember);
}

/** Whether the line is of those that catch what ends a run. */
bool EndsRun(const LogLine& line) {
    return line.function == "GetBTInfoDataFromCloud" || line.file == "main.cpp" || line.message == NO_TOKEN ||
           line.message == NOBODY ||
           (line.file == "CBtInfoSync.cpp" && StartsWith(line.message, "Exception : "));
}

}  // namespace

void StepLines::Add(const std::string& line) {
    constexpr std::size_t MOST_BYTES = 65536;
    ++count;
    if (firstSize < MOST_BYTES) {
        firstSize += line.size();
        first.push_back(line);
        return;
    }
    lastSize += line.size();
    last.push_back(line);
    for (; lastSize > MOST_BYTES; last.pop_front()) {
        lastSize -= last.front().size();
    }
}

RunReader::RunReader(std::size_t number, std::int64_t pid) {
    m_run.number = number;
    m_run.pid = pid;
}

void RunReader::TakeServiceLine(const LogLine& line) {
    // Of a message of several lines, the log viewer puts the head before each, the place before the first.
    if (line.file.empty()) {
        Keep(line, "    " + line.message);
        TakeText(line.message);
        return;
    }
    m_function = line.function;
    const Rule* rule = FindRule(line);
    Advance(rule == nullptr ? Step::START : rule->step);
    Keep(line, line.file + ": " + line.function + " > " + line.message);
    if (rule != nullptr && rule->note != nullptr) {
        rule->note(*this, Text(line.message).substr(rule->start.size()));
    }
    TakeText(line.message);
    const bool isError = line.priority == 'E' || line.priority == 'F' || line.message == NOBODY;
    // What cannot be read at the start is made anew; the body of a refused download is no fault of its own.
    const bool isLivedWith =
        StartsWith(line.message, "<<Not Error>>") ||
        (rule != nullptr && (rule->step == Step::STORED || rule->function == "DownSyncBtInfoFromCloud"));
    if (isError && !isLivedWith) {
        TakeFault(line, std::string(Cause(line.message)));
    } else if (line.file == "CAccessToken.cpp" && !m_run.tokenRequest.code.empty()) {
        TakeFault(line, m_run.tokenRequest.code);
    }
}

void RunReader::TakePlatformLine(const LogLine& line) {
    // The service itself does not look at what becomes of the list.
    if (line.tag == "VCONF" && m_run.download.status) {
        Advance(Step::LIST);
    }
    Keep(line, line.tag + ": " + line.message);
    if ((line.priority == 'E' || line.priority == 'F') && !line.continues) {
        m_platform = line.tag + ": " + line.message;
        if (line.tag == "VCONF" || line.tag == "CKMC") {
            const Fault fault = {"something could not be stored or read; " + m_platform, nullptr};
            AddFault(fault);
            Fail(fault);
        }
    }
}

Run RunReader::Finish() {
    m_list.Finish(m_run);
    if (!m_run.failure && m_run.sawStart && m_run.sawEnd && m_run.reached < Step::STORED) {
        const Fault fault = {"a run without a word of why ends for no other reason", FindKnownLine(NOBODY)};
        m_run.step = Step::SIGN_IN;
        AddFault(fault);
        Fail(fault);
    }
    return std::move(m_run);
}

void RunReader::Keep(const LogLine& line, const std::string& text) {
    StepLines& lines = m_run.steps[m_run.step];
    std::string number = std::to_string(line.number);
    number.insert(0, NUMBER_WIDTH - std::min(number.size(), NUMBER_WIDTH), ' ');
    std::string kept = number + "  " + (line.priority == '\0' ? ' ' : line.priority) + "  " + text;
    std::replace(kept.begin(), kept.end(), '\t', ' ');
    lines.Add(kept);
    lines.time = lines.time.empty() ? line.time : lines.time;
    m_run.began = m_run.began.empty() ? line.time : m_run.began;
    m_run.ended = line.time.empty() ? m_run.ended : line.time;
    ++m_run.lineCount;
    m_lastLine = line.number;
    if (line.priority != '\0' && PRIORITIES.find(line.priority) < PRIORITIES.find(m_run.level)) {
        m_run.level = line.priority;
    }
}

void RunReader::Advance(Step step) {
    // After a refused download the list is written once more, as it was.
    const bool isRefused = step == Step::LIST && m_run.download.status.value_or(STATUS_OK) != STATUS_OK;
    m_run.step = std::max(m_run.step, isRefused ? Step::RECORDS_ANSWER : step);
    m_run.reached = m_run.step == Step::END ? m_run.reached : m_run.step;
}

/** What shows in a message, wherever it is cut into lines. */
void RunReader::TakeText(Text text) {
    if (m_function == "UpdateDeviceList") {
        m_list.TakeListText(text);
    }
    Exchange* exchange = AnsweredBy(m_run, m_run.step);
    if (exchange == nullptr) {
        return;
    }
    ForEachMember(text, [this, exchange](const Pattern::Match& member) {
        const Text name = member["name"];
        if (name == "rcode" || name == "error") {
            exchange->code = member["value"];
        } else if (name == "rmsg" || name == "error_description") {
            exchange->words = member["value"];
        }
        m_run.gotToken = m_run.gotToken || name == "access_token";
    });
}

void RunReader::TakeFault(const LogLine& line, const std::string& text) {
    const KnownLine* known = FindKnownLine(line.message);
    if (known != nullptr && !known->IsFault()) {
        return;
    }
    Fault fault = {text, known};
    if (!m_platform.empty()) {
        fault.text += "; " + std::exchange(m_platform, {});
    }
    // Why there is no token was told by the line before.
    if (line.message == NO_TOKEN && !m_run.faults.empty()) {
        fault = m_run.faults.back();
    }
    AddFault(fault);
    if (EndsRun(line)) {
        Fail(fault);
    }
}

void RunReader::AddFault(const Fault& fault) {
    std::vector<Fault>& faults = m_run.faults;
    const bool isTold = std::any_of(faults.begin(), faults.end(),
                                    [&fault](const Fault& told) { return told.text == fault.text; });
    if (!isTold && faults.size() < MOST_FAULTS) {
        faults.push_back(fault);
    }
}

void RunReader::Fail(const Fault& fault) {
    m_run.failure = fault;
    m_run.failedStep = m_run.step;
}

/** Which of the cloud's requests got no answer: the lines of W tell, and off the set the client's URL. */
void RunReader::LocateUnanswered() {
    const bool hasUrl = m_platform.find("https://") != std::string::npos;
    const auto isOf = [this, hasUrl](const char* path, const Exchange& exchange) {
        return hasUrl ? m_platform.find(path) != std::string::npos : exchange.asked && !exchange.status;
    };
    m_run.isUnlocated = !hasUrl && m_run.level == 'E' && !m_run.appToken.status;
    Advance(isOf("/activate", m_run.activation) ? Step::ASK_ACTIVATION
            : isOf("/tokens/", m_run.appToken)  ? Step::ASK_APP_TOKEN
                                                : Step::ASK_RECORDS);
}

void RunReader::Missing(const char* record) {
    std::vector<std::string>& missing = m_run.missing;
    if (std::find(missing.begin(), missing.end(), record) == missing.end()) {
        missing.emplace_back(record);
    }
}

void RunReader::AskToken(Run::Token token, const std::string& why) {
    m_run.token = token;
    Ask(m_run.tokenRequest, why);
    Advance(token == Run::Token::NEW ? Step::ASK_CODE : Step::ASK_TOKEN);
}

void RunReader::TakeLifetime(std::int64_t seconds) {
    const std::string words = Cli::DurationWords(seconds);
    m_lifetime = seconds < 0 ? words + " before" : "for another " + words;
}

std::string RunReader::RanOut(const std::string& what) {
    const std::string when = std::exchange(m_lifetime, {});
    return what + " ran out" + (when.empty() ? "" : " " + when);
}

void RunReader::Ask(Exchange& exchange, const std::string& why) {
    exchange.asked = true;
    exchange.why = why;
}

void RunReader::TakeStatus(Text status) {
    if (Exchange* exchange = AnsweredBy(m_run, m_run.step)) {
        exchange->asked = true;
        exchange->status = Number(status);
    }
    m_platform.clear();
}

void RunReader::TakeBatch(Text batch) {
    constexpr Text ID = "\"record_id\"";
    m_list.LearnNames(batch);
    ForEachMember(batch, [this](const Pattern::Match& member) {
        m_run.nextMark = member["name"] == "synced_timestamp" ? std::string(member["value"]) : m_run.nextMark;
    });
    m_run.downloadIsCut = batch.empty() || batch.back() != '}';
    m_run.downloaded = 0;
    for (std::size_t at = batch.find(ID); at != Text::npos; at = batch.find(ID, at + 1)) {
        ++*m_run.downloaded;
    }
}

/** The same ones are told of twice, by the merge and by the list. */
void RunReader::TakeSkipped(Text words) {
    std::size_t& skipped = m_run.listings[Listing::SKIPPED];
    skipped = std::max(skipped, static_cast<std::size_t>(std::max<std::int64_t>(Number(words), 1)));
}

}  // namespace Explain
