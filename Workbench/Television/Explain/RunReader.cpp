#include "Television/Explain/RunReader.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "Cli/Time.h"
#include "Television/Explain/Pattern.h"

namespace Explain {

namespace {

using Text = std::string_view;

constexpr char NOBODY[] = "Exit process";
constexpr char NO_TOKEN[] = "fail to get access Token";
constexpr std::size_t NUMBER_WIDTH = 7;
constexpr std::size_t MOST_FAULTS = 20;
constexpr long STATUS_OK = 200;

bool IsStore(const std::string& tag) {
    return tag == "VCONF" || tag == "CKMC";
}

/** Whether a warning of the tag may be the cause of what goes wrong later. */
bool IsNamedAsCause(const std::string& tag) {
    return tag == "BLUETOOTH" || tag == "NXCURL" || tag == "SSO" || tag == "TV";
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
    return line.function == "GetBTInfoDataFromCloud" || line.function == "main" || line.message == NO_TOKEN ||
           line.message == NOBODY || StartsWith(line.message, "Exception : ");
}

}  // namespace

Exchange Run::*ExchangeOf(Step step) {
    return step < Step::ASK_TOKEN || step > Step::RECORDS_ANSWER ? nullptr
           : step <= Step::TOKEN_ANSWER                          ? &Run::tokenRequest
           : step <= Step::ACTIVATION_ANSWER                     ? &Run::activation
           : step <= Step::APP_TOKEN_ANSWER                      ? &Run::appToken
                                                                 : &Run::download;
}

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

void RunReader::Take(const LogLine& line) {
    if (line.tag == SERVICE_TAG) {
        TakeServiceLine(line);
    } else {
        TakePlatformLine(line);
    }
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
    const bool isError = line.IsError() || line.message == NOBODY;
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
    const bool isCause = line.IsError() || (line.priority == 'W' && IsNamedAsCause(line.tag));
    if (!isCause || line.continues) {
        return;
    }
    const bool isNamed = IsStore(line.tag) || IsNamedAsCause(line.tag);
    const std::string words = line.tag + ": " + line.message;
    std::string& cause = m_causes[isNamed ? line.tag : ""];
    cause = IsStore(line.tag) && !cause.empty() ? cause : words;
    if (IsStore(line.tag) && line.IsError()) {
        AddFault({STORE_FAILED, words}, !m_run.failure);
    }
}

Run RunReader::Finish() {
    m_list.Finish(m_run);
    if (!m_run.failure && m_run.sawStart && m_run.sawEnd && m_run.reached < Step::STORED) {
        m_run.step = Step::SIGN_IN;
        AddFault({"a run without a word of why ends for no other reason", "", FindKnownLine(NOBODY)}, true);
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
    Exchange* exchange = Answered();
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
    // Why there is no token was told by the line before.
    AddFault(line.message == NO_TOKEN && !m_run.faults.empty() ? m_run.faults.back()
                                                               : Fault{text, Causes(), known},
             EndsRun(line));
}

void RunReader::AddFault(const Fault& fault, bool endsRun) {
    std::vector<Fault>& faults = m_run.faults;
    const bool isTold = std::any_of(faults.begin(), faults.end(), [&fault](const Fault& told) {
        return told.text == fault.text && told.causes == fault.causes;
    });
    if (!isTold && faults.size() < MOST_FAULTS) {
        faults.push_back(fault);
    }
    if (endsRun) {
        m_run.failure = fault;
        m_run.failedStep = m_run.step;
    }
}

std::string RunReader::Causes() const {
    std::string all;
    for (const auto& [tag, cause] : m_causes) {
        all += (all.empty() ? "" : "; ") + cause;
    }
    return all;
}

/** Which of the cloud's requests got no answer: the lines of W tell, and off the set the client's URL. */
void RunReader::LocateUnanswered() {
    const std::string client = m_causes.count("NXCURL") > 0 ? m_causes["NXCURL"] : "";
    const bool hasUrl = client.find("https://") != std::string::npos;
    const auto isOf = [&client, hasUrl](const char* path, const Exchange& exchange) {
        return hasUrl ? client.find(path) != std::string::npos : exchange.asked && !exchange.status;
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
    const std::string words = Cli::DurationText(seconds);
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

/** The request whose answer the run is at; null at other steps. */
Exchange* RunReader::Answered() {
    const auto exchange = ExchangeOf(m_run.step);
    const bool isAnswer = exchange != nullptr && exchange != ExchangeOf(Next(m_run.step));
    return isAnswer ? &(m_run.*exchange) : nullptr;
}

void RunReader::TakeStatus(Text status) {
    if (Exchange* exchange = Answered()) {
        exchange->asked = exchange->sent = exchange->answered = true;
        exchange->status = Number(status);
    }
    // The client got through this time.
    m_causes.erase("NXCURL");
    m_causes.erase("");
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
