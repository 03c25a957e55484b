/** Follows the service's log to tell how a run ended. */
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "Television/LastRun.h"

namespace Television {

/** The priority letters of the log, least to most severe. */
inline constexpr char LOG_LEVELS[] = "VDIWEF";

/** A line of the log: "E/TAG( 123): FILE: FUNCTION(LINE) > MESSAGE", the latter form in the service's own
 * only. */
struct LogLine {
    /** The whole line, without its end. */
    std::string text;
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

    /** The last thing that was reported as an error; empty when nothing was. */
    const std::string& LastError() const {
        return m_lastError;
    }

private:
    void TakeLine(std::string text);
    void TakeServiceLine(const LogLine& line, bool isError);

    LineHandler m_onLine;
    std::string m_begun;
    std::string m_lastError;
    std::string m_failure;
    /** What the platform said of the failure, such as why a request did not get through. */
    std::string m_platformError;
    bool m_ended = false;
};

}  // namespace Television
