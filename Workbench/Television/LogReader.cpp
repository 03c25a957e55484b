#include "Television/LogReader.h"

#include <cstring>
#include <utility>

namespace Television {

namespace {

constexpr char SERVICE_TAG[] = "BT_INFOSYNC";
constexpr char NOT_AN_ERROR[] = "<<Not Error>>";
// Far more than a log line has: a stray program's output must not fill the memory.
constexpr std::size_t LONGEST_LINE = 1U << 20U;

std::string Before(const std::string& text, char end) {
    return text.substr(0, text.find(end));
}

LogLine Split(std::string text) {
    LogLine line;
    line.text = std::move(text);
    const std::size_t prefixEnd = line.text.find("): ");
    if (line.text.size() < 2 || line.text[1] != '/' || std::strchr(LOG_LEVELS, line.text[0]) == nullptr ||
        prefixEnd == std::string::npos) {
        return line;
    }
    line.priority = line.text[0];
    line.tag = Before(line.text.substr(2), '(');
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

bool StartsWith(const std::string& text, const char* start) {
    return text.compare(0, std::strlen(start), start) == 0;
}

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
    std::size_t start = 0;
    for (std::size_t end = piece.find('\n'); end != std::string::npos; end = piece.find('\n', start)) {
        m_begun.append(piece, start, end - start);
        TakeLine(std::exchange(m_begun, {}));
        start = end + 1;
    }
    m_begun.append(piece, start, std::string::npos);
    if (m_begun.size() > LONGEST_LINE) {
        TakeLine(std::exchange(m_begun, {}));
    }
}

void LogReader::Finish() {
    if (!m_begun.empty()) {
        TakeLine(std::exchange(m_begun, {}));
    }
}

RunOutcome LogReader::Outcome() const {
    if (!m_failure.empty()) {
        const bool explained = m_failure == "request failed" && !m_platformError.empty();
        return {RunOutcome::Kind::FAILURE, m_failure + (explained ? " (" + m_platformError + ")" : "")};
    }
    if (!m_ended) {
        return {RunOutcome::Kind::CRASHED, "the log ends before the service did"};
    }
    return {};
}

void LogReader::TakeLine(std::string text) {
    const LogLine line = Split(std::move(text));
    m_onLine(line);
    const bool isError = line.priority == 'E' || line.priority == 'F';
    if (line.tag == SERVICE_TAG) {
        TakeServiceLine(line, isError);
    } else if (isError) {
        m_platformError = m_lastError = line.Message();
    }
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
        if (line.function == "GetBTInfoDataFromCloud" || line.function == "Retry" ||
            line.function == "main") {
            m_failure = m_lastError;
        }
    }
}

}  // namespace Television
