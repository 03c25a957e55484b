/** One line of a log, found by its tag, whatever wrote the log. */
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Util/Log.h"

namespace Log {

/** The messages with which a run of the service begins and ends. */
inline constexpr char START_MESSAGE[] = "<<Not Error>>Start main loop";
inline constexpr char END_MESSAGE[] = "<<Not Error>>End main loop";

/** The priority letters, least to most severe. */
inline constexpr std::string_view PRIORITIES = "VDIWEF";

/** Whether a line of the priority is left out at the level. */
inline bool IsBelow(char priority, char level) {
    return PRIORITIES.find(priority) < PRIORITIES.find(level);
}

/** In milliseconds; good for differences alone, within one log. */
using Moment = std::optional<std::int64_t>;

/** Of a time as a log has it; nothing for none. */
Moment MomentOf(const std::string& time);

struct Line {
    /** Counted from 1. */
    std::size_t number = 0;
    /** The whole line, without its end. */
    std::string text;
    /** As the log has it; empty where it has none. */
    std::string time;
    Moment moment;
    /** Process id; 0 where the log has none. */
    std::int64_t pid = 0;
    /** One of PRIORITIES; '\0' where the log does not tell. */
    char priority = '\0';
    /** Empty for a line without a head of its own. */
    std::string tag;
    /** "FILE: FUNCTION(LINE) > ", with which a message of the service begins. */
    std::string place;
    /** Without the place. */
    std::string message;

    std::string_view File() const {
        return std::string_view(place).substr(0, place.find(':'));
    }
    std::string_view Function() const {
        const std::size_t begin = std::min(place.size(), File().size() + 2);
        return std::string_view(place).substr(begin, place.rfind('(') - begin);
    }
    bool IsService() const {
        return tag == InfoSyncLog::TAG;
    }
    /** It begins a message of the service, or repeats the place of one. */
    bool HasPlace() const {
        return IsService() && !place.empty();
    }
    bool IsError() const {
        return priority == 'E' || priority == 'F';
    }
};

/** Finds what the line is. @return whether it has a head; else all but the text stays, for the line before */
bool ReadHead(const std::string& text, Line& line);

/** Cuts a log into lines and finds in each what it is. */
class LineReader {
public:
    /** @param onLine gets each line; its texts may be any bytes */
    explicit LineReader(std::function<void(const Line&)> onLine) : m_onLine(std::move(onLine)) {}

    /** Takes a piece of the log, however it was cut. What is beyond 64 KiB of a line is dropped. */
    void Feed(std::string_view piece);
    /** Takes what is left as the last line. */
    void Finish();

    /** Whether the last line is still without its end. */
    bool IsWithin() const {
        return !m_begun.empty();
    }

    /** Lines that have the service's tag in a form that cannot be read, and the first of them. */
    std::size_t unreadableCount = 0;
    std::size_t firstUnreadable = 0;

private:
    void TakeLine();
    void Read(const std::string& text);

    std::function<void(const Line&)> m_onLine;
    std::string m_begun;
    Line m_line;
};

}  // namespace Log
