/** Follows the service's log to tell how a run ended. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <functional>
#include <string>

#include "Television/RunOutcome.h"

namespace Television {

/** The priority letters of the log, least to most severe. */
inline constexpr char LOG_LEVELS[] = "VDIWEF";

/**
 * A line of the log: "E/TAG( 123): FILE: FUNCTION(LINE) > MESSAGE", the latter form in the service's own
 * only; a time may stand before it.
 */
struct LogLine {
    /** The whole line, without its end. */
    std::string text;
    /** Where the priority is, behind a time. */
    std::size_t headAt = 0;
    /** Where the message begins; 0 in a line of another form. */
    std::size_t messageAt = 0;
    /** The letter; '\0' in a line of another form. */
    char priority = '\0';
    std::string tag;
    std::string file;
    std::string function;

    std::string Message() const {
        return text.substr(messageAt);
    }
};

class LogReader {
public:
    using LineHandler = std::function<void(const LogLine&)>;

    explicit LogReader(LineHandler onLine);

    /** Takes a piece of the log, however it was cut. */
    void Feed(const std::string& piece);

    /** Takes what is left as the last line. */
    void Finish();

    /** How a run ended whose process ended by itself with status 0. */
    RunOutcome Outcome() const;

    /** The last thing that was reported as an error, with its cause; empty when nothing was. */
    std::string LastError() const;

    /** What the service waits for after this line, which may take long, and what helps; empty for nothing. */
    static std::string Awaited(const LogLine& line);

private:
    void TakeLine(std::string text);
    void TakeServiceLine(const LogLine& line, bool isError);
    void TakePlatformLine(const LogLine& line, bool isError);
    void TakeAnswer(const LogLine& line);
    void JudgeAnswer(const std::string& request, const Json::Value& answer);
    std::string WithCause(const std::string& failure) const;

    LineHandler m_onLine;
    std::string m_begun;
    std::string m_lastError;
    std::string m_failure;
    bool m_ended = false;
    /** What the stores said first, tv.ini's reader, and the rest of the platform last, of what went wrong. */
    std::string m_storeError;
    std::string m_iniWarning;
    std::string m_platformError;
    /** The last answer: which request it is to, its status, and what it says where it is a refusal. */
    /** The request that the service is at, or was last, and whether it has come to the device list. */
    std::string m_asked = "a request";
    bool m_isAtList = false;
    std::string m_request;
    std::string m_status;
    std::string m_refusal;
    /** The refusal of a token: the service goes on without one. */
    std::string m_tokenRefusal;
    /** The lines of an answer that is not over, and what stands before each of them. */
    std::string m_answer;
    std::string m_answerHead;
};

}  // namespace Television
