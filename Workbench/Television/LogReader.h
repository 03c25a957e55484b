/** Follows the service's log to tell how a run ended. */
#pragma once

#include <functional>
#include <string>

#include "Television/LastRun.h"

namespace Television {

/** The priority letters of the log, least to most severe. */
inline constexpr char LOG_LEVELS[] = "VDIWEF";

class LogReader {
public:
    /** Gets each whole line, without its end, and its priority's letter ('\\0' for a line of another form).
     */
    using LineHandler = std::function<void(const std::string& line, char priority)>;

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
    void TakeLine(const std::string& line);
    void TakeServiceLine(const std::string& function, const std::string& message, bool isError);

    LineHandler m_onLine;
    std::string m_begun;
    std::string m_lastError;
    std::string m_failure;
    /** What the platform said of the failure, such as why a request did not get through. */
    std::string m_platformError;
    bool m_ended = false;
};

}  // namespace Television
