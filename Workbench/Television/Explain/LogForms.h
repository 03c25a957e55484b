/**
 * Reads a log line by line, whatever wrote it: the log viewer in its forms brief, time, threadtime and long,
 * journalctl (short, short-iso and their kin, with and without "<3>"), or the service itself.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "Television/Explain/Pattern.h"

namespace Explain {

inline constexpr char SERVICE_TAG[] = "BT_INFOSYNC";

/** The priority letters of the log, least to most severe. */
inline constexpr std::string_view PRIORITIES = "VDIWEF";

struct LogLine {
    /** Counted from 1. */
    std::size_t number = 0;
    /** The whole line, without its end and a terminal's colours. */
    std::string text;
    /** Where the head begins, behind a time. */
    std::size_t headAt = 0;
    /** As the log has it; empty where it has none. */
    std::string time;
    /** Process id; 0 where the form has none. */
    std::int64_t pid = 0;
    /** One of "VDIWEF", or '\0' where the form has none. */
    char priority = '\0';
    std::string tag;
    /** Of "FILE: FUNCTION(LINE) > MESSAGE"; empty where the message has no such start. */
    std::string file;
    std::string function;
    std::string message;
    /**
     * The message of the line before goes on here, or something else was written: this line has no head of
     * its own.
     */
    bool continues = false;

    /** The line up to its message. */
    std::string Head() const {
        return text.substr(0, text.size() - message.size());
    }
    bool IsError() const {
        return priority == 'E' || priority == 'F';
    }
};

class LogForms {
public:
    using Handler = std::function<void(const LogLine&)>;

    /** @param onLine gets each line but for a head of the form "long"; its texts may be any bytes */
    explicit LogForms(Handler onLine) : m_onLine(std::move(onLine)) {}

    /** Takes a piece of the log, however it was cut. What is beyond 64 KiB of a line is dropped. */
    void Feed(std::string_view piece);

    /** Takes what is left as the last line. */
    void Finish();

private:
    void Append(std::string_view piece);
    void TakeLine();
    bool TakeHeadedLine(std::string_view text);
    bool TakeLongHead(std::string_view text);
    void GoOn(std::string_view text);
    void Hand(const Pattern::Match& place, std::string_view message);

    Handler m_onLine;
    std::string m_begun;
    LogLine m_line;
    /** The line before was a head of the form "long"; its message comes on lines of its own. */
    bool m_isLong = false;
};

}  // namespace Explain
