/** One line of a log, found by its tag, whatever wrote the log. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Log {

/** The priority letters, least to most severe. */
inline constexpr std::string_view PRIORITIES = "VDIWEF";

/** Whether a line of the priority is left out at the level. */
inline bool IsBelow(char priority, char level) {
    return PRIORITIES.find(priority) < PRIORITIES.find(level);
}

struct Line {
    /** Counted from 1. */
    std::size_t number = 0;
    /** The whole line, without its end and a terminal's colours. */
    std::string text;
    /** As the log has it; empty where it has none. */
    std::string time;
    /** Process id; 0 where the log has none. */
    std::int64_t pid = 0;
    /** One of PRIORITIES; '\0' where the log does not tell. */
    char priority = '\0';
    /** Empty for a line without a head of its own. */
    std::string tag;
    /** "FILE", "FUNCTION" and "FILE: FUNCTION(LINE) > ", with which a message of the service begins. */
    std::string file;
    std::string function;
    std::string place;
    /** Without the place. */
    std::string message;

    bool IsService() const;
    /** It begins a message of the service, or repeats the place of one. */
    bool HasPlace() const {
        return IsService() && !place.empty();
    }
    bool IsError() const {
        return priority == 'E' || priority == 'F';
    }
    /** All that stands before the message. */
    std::string Head() const;
};

/** A moment in milliseconds since some beginning: good for differences alone, and only within one log. */
std::optional<std::int64_t> Moment(const std::string& time);

/** Cuts a log into lines and finds in each what it is. */
class LineReader {
public:
    /** @param onLine gets each line; its texts may be any bytes */
    explicit LineReader(std::function<void(const Line&)> onLine) : m_onLine(std::move(onLine)) {}

    /** Takes a piece of the log, however it was cut. What is beyond 64 KiB of a line is dropped. */
    void Feed(std::string_view piece);

    /** Takes what is left as the last line. */
    void Finish();

    /** Lines that have the service's tag in a form that cannot be read, and the first of them. */
    std::size_t UnreadableCount() const {
        return m_unreadable;
    }
    std::size_t FirstUnreadable() const {
        return m_firstUnreadable;
    }
    /** Whether the last line is still without its end. */
    bool IsWithin() const {
        return !m_begun.empty();
    }

private:
    void Append(std::string_view piece);
    void TakeLine();
    void Read(std::string_view text);
    bool ReadTagged(std::string_view text);
    bool ReadPlaced(std::string_view text);
    bool ReadOthers(std::string_view text);
    bool ReadJournalObject(const std::string& text);
    void ReadPrefix(std::string_view prefix);
    void Place(std::string_view text, std::size_t at);
    void GoOn(std::string_view text);

    std::function<void(const Line&)> m_onLine;
    std::string m_begun;
    Line m_line;
    /** What a mail or an indentation put before the last line of the service, and so before what follows. */
    std::string m_quote;
    /** The message stands in quotes, those in it are doubled. */
    bool m_isQuoted = false;
    /** The line before was a head alone, whose message follows. */
    bool m_isLong = false;
    std::size_t m_unreadable = 0;
    std::size_t m_firstUnreadable = 0;
};

}  // namespace Log
