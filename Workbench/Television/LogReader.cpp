#include "Television/LogReader.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <iterator>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

constexpr char SERVICE_TAG[] = "BT_INFOSYNC";
constexpr char NOT_AN_ERROR[] = "<<Not Error>>";
// Far more than a log line has: a stray program's output must not fill the memory. The rest of a line is
// dropped.
constexpr std::size_t LONGEST_LINE = 1U << 20U;

std::string Before(const std::string& text, char end) {
    return text.substr(0, text.find(end));
}

/** Where a line of the forms time and threadtime goes on after "MM-DD HH:MM:SS.mmm+ZZZZ "; 0 in one of brief.
 */
std::size_t EndOfTime(const std::string& text) {
    const bool hasTime = !text.empty() && text.front() >= '0' && text.front() <= '9';
    return hasTime ? text.find(' ', text.find(' ') + 1) + 1 : 0;
}

LogLine Split(std::string text) {
    LogLine line;
    line.text = std::move(text);
    line.headAt = EndOfTime(line.text);
    const std::string head = line.text.substr(line.headAt);
    const std::size_t prefixEnd = line.text.find("): ");
    if (head.size() < 2 || head[1] != '/' || std::strchr(LOG_LEVELS, head[0]) == nullptr ||
        prefixEnd == std::string::npos) {
        return line;
    }
    line.priority = head[0];
    line.tag = Before(head.substr(2), '(');
    line.tag.erase(line.tag.find_last_not_of(' ') + 1);
    line.messageAt = prefixEnd + std::strlen("): ");
    const std::size_t fileEnd = line.text.find(": ", line.messageAt);
    const std::size_t placeEnd = line.text.find(") > ", line.messageAt);
    if (line.tag == SERVICE_TAG && fileEnd < placeEnd && placeEnd != std::string::npos) {
        line.file = line.text.substr(line.messageAt, fileEnd - line.messageAt);
        const std::string place = line.text.substr(fileEnd + 2, placeEnd - fileEnd - 2);
        // The function's own name may hold a pair of brackets, as that of a lambda does.
        line.function = place.substr(0, place.rfind('('));
        line.messageAt = placeEnd + std::strlen(") > ");
    }
    return line;
}

using Cli::StartsWith;

/** Cuts the beginning that the service gives what it caught. */
std::string Cause(const std::string& message) {
    for (const char* start : {"exception : ", "Exception : "}) {
        if (StartsWith(message, start)) {
            return message.substr(std::strlen(start));
        }
    }
    return message;
}

}  // namespace

LogReader::LogReader(LineHandler onLine) : m_onLine(std::move(onLine)) {}

void LogReader::Feed(const std::string& piece) {
    const auto append = [this, &piece](std::size_t start, std::size_t end) {
        m_begun.append(piece, start, std::min(end - start, LONGEST_LINE - m_begun.size()));
    };
    std::size_t start = 0;
    for (std::size_t end = piece.find('\n'); end != std::string::npos; end = piece.find('\n', start)) {
        append(start, end);
        TakeLine(std::exchange(m_begun, {}));
        start = end + 1;
    }
    append(start, piece.size());
}

void LogReader::Finish() {
    if (!m_begun.empty()) {
        TakeLine(std::exchange(m_begun, {}));
    }
}

RunOutcome LogReader::Outcome() const {
    if (!m_failure.empty()) {
        return {RunOutcome::Kind::FAILURE, WithCause(m_failure)};
    }
    if (!m_storeError.empty()) {
        return {RunOutcome::Kind::FAILURE, m_storeError};
    }
    if (!m_ended) {
        return {RunOutcome::Kind::CRASHED, "the log ends before the service did"};
    }
    return {};
}

std::string LogReader::LastError() const {
    return m_lastError.empty() ? "" : WithCause(m_lastError);
}

std::string LogReader::Awaited(const LogLine& line) {
    const std::string message = line.Message();
    if (StartsWith(message, "Not logged in, try : ")) {
        return "waiting for sign-in, up to 20 seconds: infosync-tv sign-in USER";
    }
    if (line.tag == SERVICE_TAG && (message == "result != SSO_TRUE" || message == "userData is authcode")) {
        return "no code came, and the service waits for one: Ctrl-C ends the run";
    }
    return {};
}

std::string LogReader::WithCause(const std::string& failure) const {
    constexpr char NO_JSON[] = "fail to parse JSON";
    const bool isForWantOfAToken = failure == "Fail to activate" || failure == "Fail to get JWT";
    if (isForWantOfAToken && !m_tokenRefusal.empty()) {
        return "no access token (" + m_tokenRefusal + ")";
    }
    std::string answer = m_refusal;
    if (answer.empty() && !m_status.empty() && m_status != "200") {
        answer = m_request + " answered " + m_status;
    }
    const bool isNoJson = StartsWith(failure, NO_JSON);
    if (answer.empty() && (isNoJson || failure == "token is empty")) {
        answer = m_isAtList ? "the stored device list" : "the answer to " + m_asked;
    }
    std::string causes;
    for (const std::string& cause : {answer, m_platformError, m_storeError, m_iniWarning}) {
        if (!cause.empty() && cause.find(failure) == std::string::npos) {
            causes += (causes.empty() ? "" : "; ") + cause;
        }
    }
    // Where in it the parser stopped is told by the log.
    return (isNoJson ? NO_JSON : failure) + (causes.empty() ? "" : " (" + causes + ")");
}

void LogReader::TakeLine(std::string text) {
    const LogLine line = Split(std::move(text));
    m_onLine(line);
    const bool isError = line.priority == 'E' || line.priority == 'F';
    if (line.tag == SERVICE_TAG) {
        TakeServiceLine(line, isError);
    } else if (isError || line.priority == 'W') {
        TakePlatformLine(line, isError);
    }
}

void LogReader::TakePlatformLine(const LogLine& line, bool isError) {
    const std::string words = line.tag + ": " + line.Message();
    if (isError && (line.tag == "VCONF" || line.tag == "CKMC")) {
        m_storeError = m_storeError.empty() ? words : m_storeError;
    } else if (line.tag == "TV") {
        m_iniWarning = words;
    } else if (line.tag == "SSO" || line.tag == "BLUETOOTH" || line.tag == "NXCURL") {
        m_platformError = words;
    }
    m_lastError = isError ? words : m_lastError;
}

void LogReader::TakeServiceLine(const LogLine& line, bool isError) {
    const std::string message = line.Message();
    if (message == std::string(NOT_AN_ERROR) + "End main loop") {
        m_ended = true;
    } else if (message == "Exit process") {
        m_failure = "nobody is signed in; see infosync-tv sign-in";
    } else if (message == "fail to get access Token") {
        m_failure = m_lastError.empty() ? message : m_lastError;
    } else if (isError && !StartsWith(message, NOT_AN_ERROR)) {
        m_lastError = Cause(message);
        // These catch what ends a run; other errors are reported and lived with.
        if (line.function == "GetBTInfoDataFromCloud" || line.function == "main" ||
            StartsWith(message, "Exception : ")) {
            m_failure = m_lastError;
        }
    }
    m_isAtList = m_isAtList || line.function == "UpdateDeviceList";
    TakeAnswer(line);
}

/** The status is told at E, the text of an answer at I, and at E that of a download that was refused. */
void LogReader::TakeAnswer(const LogLine& line) {
    constexpr std::pair<const char*, const char*> REQUESTS[] = {
        {"CAuthServerHttpMessage.cpp", "token"},        {"ImportAccessToken", "token"},
        {"CKCloudActivateHttpMessage.cpp", "activate"}, {"ActivateCloudServer", "activate"},
        {"CKCloudAuthHttpMessage.cpp", "app"},          {"IssueJWT", "app"},
        {"CKCloudDataHttpMessage.cpp", "records"},      {"DownSyncBtInfoFromCloud", "records"}};
    const auto* const request = std::find_if(
        std::begin(REQUESTS), std::end(REQUESTS),
        [&](const auto& known) { return line.file == known.first || line.function == known.first; });
    if (request == std::end(REQUESTS)) {
        return;
    }
    m_asked = request->second;
    const std::string message = line.Message();
    for (const char* start : {"status code : ", "error code : "}) {
        if (StartsWith(message, start)) {
            m_request = request->second;
            m_status = message.substr(std::strlen(start));
            m_refusal.clear();
            return;
        }
    }
    const std::string head = line.text.substr(0, line.messageAt);
    if (head != std::exchange(m_answerHead, head)) {
        m_answer = message.substr(std::min(message.find('{'), message.size()));
    } else if (m_answer.size() < LONGEST_LINE) {
        m_answer += "\n" + message;
    }
    if (!m_answer.empty() && m_answer.back() == '}') {
        try {
            JudgeAnswer(request->second, InfoSyncUtil::ParseJson(m_answer));
        } catch (const std::exception&) {
            return;  // not over, cut off or no JSON
        }
    }
}

void LogReader::JudgeAnswer(const std::string& request, const Json::Value& answer) {
    if (request == "token") {
        const Json::Value rsp = InfoSyncUtil::ObjectMember(answer, "rsp");
        const Json::Value& told = rsp.isMember("error") ? rsp : answer;
        const std::string description = Cli::TextMember(told, "error_description");
        const std::string error = Cli::TextMember(told, "error");
        const bool hasToken = InfoSyncUtil::ObjectMember(rsp, "result").isMember("access_token");
        m_tokenRefusal = hasToken        ? ""
                         : error.empty() ? "the token request was answered without one"
                                         : "the token request was refused: " + error +
                                               (description.empty() ? "" : ", " + description);
    } else if (InfoSyncUtil::ToInt64(answer["rcode"]) != 0) {
        m_refusal = request + " answered " + m_status + ", rcode " + answer["rcode"].asString() + ": " +
                    Cli::TextMember(answer, "rmsg");
    }
}

}  // namespace Television
