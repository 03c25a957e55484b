#include "Television/Log/Line.h"

#include <glib.h>
#include <json/json.h>

#include <algorithm>
#include <exception>

#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Television/Log/LineTime.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::size_t LONGEST_LINE = 65536;
constexpr std::size_t LONGEST_HEAD = 200;
constexpr Text TAG = InfoSyncLog::TAG;

/**
 * Behind the time: the journal's "host prog[12]: ", or "E/TAG( 12): ", or "12 12 E TAG: ", or both, or fields
 * with dividers.
 */
constexpr char HEAD[] =
    R"re(^(?:[\s\]]*(?:[^\s(]+ )?(?<prog>[\w.@-]+)\[(?<process>\d{1,9})\]: (?:<[0-7]>)?)?)re"
    R"re((?:[\s\d,;|"()PT>:-]*(?<![A-Za-z])[VDIWEF]["/ ,;|\t]+(?<tag>[\w.-]+)[\s"]*)re"
    R"re((?:\(\s*P?\s*(?<pid>\d{1,9})[^)]*\)\s*: ?|: ?|[,;|\t]"?(?:(?<pid>\d{1,9})"?[,;|\t]"?)?))?)re";

/** What a mail, an indentation or a search with line numbers put before a line. */
constexpr char QUOTE[] = R"(^(?:(?:[^\s:]+:)?\d{1,9}:(?!\d\d[:.])|\d{1,9}-(?!\d\d[ -])|[>\s|]+))";

std::size_t QuoteLength(Text text) {
    static const Cli::Pattern quote(QUOTE);
    const auto match = quote.Find(text.substr(0, LONGEST_HEAD));
    return match ? std::min(text.size(), LONGEST_HEAD) - match.Rest().size() : 0;
}

/** The process in what stands before or behind a tag: the first number by itself, or behind a "P"; 0 for
 * none. */
std::int64_t FindPid(Text text) {
    constexpr Text DIGITS = "0123456789";
    const auto isApart = [](char c) {
        return g_ascii_isalnum(c) == FALSE && Text("_.-").find(c) == Text::npos;
    };
    for (std::size_t at = text.find_first_of(DIGITS); at != Text::npos;) {
        const std::size_t end = std::min(text.find_first_not_of(DIGITS, at), text.size());
        const bool begins = at == 0 || text[at - 1] == 'P' || isApart(text[at - 1]);
        if (begins && end - at < 10 && (end == text.size() || isApart(text[end]))) {
            return Cli::Number(text.substr(at));
        }
        at = text.find_first_of(DIGITS, end);
    }
    return 0;
}

/** The letter before a tag, "E/" or "E ", or the journal's "<3>"; '\0' for neither. */
char FindPriority(Text prefix) {
    constexpr Text SYSLOG = "FFFEWIID";
    const std::size_t at = prefix.find_last_not_of("/ ,;|\t\"");
    if (at != Text::npos && at + 1 < prefix.size() && PRIORITIES.find(prefix[at]) != Text::npos &&
        (at == 0 || g_ascii_isalnum(prefix[at - 1]) == FALSE)) {
        return prefix[at];
    }
    const std::size_t close = prefix.rfind('>');
    const bool isSyslog = close != Text::npos && close > 1 && prefix[close - 2] == '<' &&
                          prefix[close - 1] >= '0' && prefix[close - 1] < '8';
    return isSyslog ? SYSLOG[static_cast<std::size_t>(prefix[close - 1] - '0')] : '\0';
}

/** Where "FILE.cpp: FUNCTION(LINE) > " stands. */
struct Place {
    std::size_t begin = 0;
    std::size_t fileEnd = 0;
    std::size_t functionEnd = 0;
    std::size_t end = 0;
};

std::optional<Place> FindPlace(Text text) {
    const Text start = text.substr(0, 2 * LONGEST_HEAD);
    const std::size_t dot = std::min(start.find(".cpp: "), start.find(".h: "));
    const std::size_t close = dot == Text::npos ? dot : start.find(") > ", dot);
    if (close == Text::npos) {
        return std::nullopt;
    }
    Place place{dot, start.find(':', dot), start.rfind('(', close), close + 4};
    while (place.begin > 0 && (g_ascii_isalnum(start[place.begin - 1]) || start[place.begin - 1] == '_')) {
        --place.begin;
    }
    const bool isPlace = place.functionEnd != Text::npos && place.functionEnd > place.fileEnd &&
                         start.find_first_not_of("0123456789", place.functionEnd + 1) == close;
    return isPlace ? std::optional(place) : std::nullopt;
}

/** Drops what a terminal takes for colours. */
void DropColours(std::string& text) {
    for (std::size_t at = text.find("\x1b["); at != std::string::npos; at = text.find("\x1b[", at)) {
        const std::size_t end = text.find_first_not_of("0123456789;", at + 2);
        text.erase(at, end == std::string::npos ? end : end + 1 - at);
    }
}

/** A field of the journal: a text, or an array of bytes where it is none. */
std::string Field(const Json::Value& entry, const char* name) {
    const Json::Value& value = entry[name];
    std::string text = Cli::StringMember(entry, name);
    for (const Json::Value& byte : value.isArray() ? value : Json::Value(Json::arrayValue)) {
        text += static_cast<char>(byte.isUInt() ? byte.asUInt() : 0U);
    }
    return text;
}

}  // namespace

bool Line::IsService() const {
    return tag == TAG;
}

void LineReader::Feed(Text piece) {
    const auto append = [this](Text part) {
        m_begun.append(part.substr(0, LONGEST_LINE - std::min(m_begun.size(), LONGEST_LINE)));
    };
    for (std::size_t end = piece.find('\n'); end != Text::npos; end = piece.find('\n')) {
        append(piece.substr(0, end));
        piece.remove_prefix(end + 1);
        TakeLine();
    }
    append(piece);
}

void LineReader::Finish() {
    if (!m_begun.empty()) {
        TakeLine();
    }
}

void LineReader::TakeLine() {
    // What came through another system's shell may be UTF-16, or have that system's line ends; a terminal's,
    // colours.
    m_begun.erase(std::remove(m_begun.begin(), m_begun.end(), '\0'), m_begun.end());
    DropColours(m_begun);
    m_begun.erase(m_begun.find_last_not_of('\r') + 1);
    if (++m_line.number == 1) {
        m_begun.erase(0, m_begun.find_first_not_of("\xFF\xFE\xEF\xBB\xBF"));
    }
    static const Cli::Pattern longHead(R"(^(?<head>\[ .{9,60}[VDIWEF]/[\w.-]+) *\]$)");
    const auto head = longHead.Find(m_begun);
    if (head) {
        m_longHead = std::string(head["head"]) + ": ";
    } else if (!m_longHead.empty()) {
        // An empty line ends such a message.
        m_begun.empty() ? void() : Read(m_longHead + m_begun);
    } else if (m_begun.empty() || m_begun.front() != '{' || !ReadJournalObject(m_begun)) {
        Read(m_begun);
    }
    m_begun.clear();
}

void LineReader::Read(Text text) {
    m_line.text = text;
    if (!ReadPlaced(text) && !ReadHeaded(text)) {
        if (text.substr(0, LONGEST_HEAD).find(TAG) != Text::npos) {
            firstUnreadable = unreadableCount++ == 0 ? m_line.number : firstUnreadable;
        }
        GoOn(text);
    }
    if (m_isQuoted) {
        Unquote();
    }
    m_onLine(m_line);
}

/** Takes the time in what stands before a message; returns where it ends. */
std::size_t LineReader::TakeTime(Text text) {
    constexpr std::size_t FURTHEST = 80;
    text = text.substr(0, FURTHEST);
    const std::size_t end = m_timeAt + m_line.time.size();
    const bool isSame = !m_line.time.empty() && end < text.size() && g_ascii_isalnum(text[end]) == FALSE &&
                        text.substr(m_timeAt, m_line.time.size()) == m_line.time;
    if (!isSame) {
        const auto time = FindTime(text);
        m_line.time = time["time"];
        m_line.moment = MomentOf(time);
        m_timeAt = time ? text.size() - time.Rest().size() - m_line.time.size() : 0;
    }
    return m_timeAt + m_line.time.size();
}

/** A line with a place: the service's, if its tag, its program's name or nothing else stands before that. */
bool LineReader::ReadPlaced(Text text) {
    const auto place = FindPlace(text);
    if (!place) {
        return false;
    }
    const Text head = text.substr(0, place->begin);
    const std::size_t at = head.rfind(TAG);
    const Text prefix = head.substr(0, at);
    const std::size_t timeEnd = TakeTime(prefix);
    const bool isService = at != Text::npos || head.find("infosync") != Text::npos ||
                           head.find_first_not_of(" \t<>0123456789:[]()PT,|", timeEnd) == Text::npos;
    if (!isService) {
        return false;
    }
    m_line.pid = at == Text::npos ? 0 : FindPid(head.substr(at + TAG.size()));
    m_line.pid = m_line.pid != 0 ? m_line.pid : FindPid(prefix.substr(timeEnd));
    m_line.priority = FindPriority(prefix);
    m_line.tag = TAG;
    m_line.file = text.substr(place->begin, place->fileEnd - place->begin);
    m_line.function = text.substr(place->fileEnd + 2, place->functionEnd - place->fileEnd - 2);
    m_line.place = text.substr(place->begin, place->end - place->begin);
    m_line.message = text.substr(place->end);
    m_prefix = prefix;
    m_isQuoted = std::count(head.begin(), head.end(), '"') % 2 == 1;
    return true;
}

/** A line of another program, or more of the service's message behind a head of its own. */
bool LineReader::ReadHeaded(Text text) {
    static const Cli::Pattern pattern(HEAD);
    const Text start = text.substr(0, LONGEST_HEAD);
    const std::size_t timeEnd = TakeTime(start);
    const std::size_t begin = timeEnd == 0 ? QuoteLength(start) : timeEnd;
    const auto head = pattern.Find(text.substr(begin));
    const Text tag = head["tag"].empty() && timeEnd > 0 ? head["prog"] : head["tag"];
    if (tag.empty()) {
        return false;
    }
    const Text prefix = text.substr(0, static_cast<std::size_t>(tag.data() - text.data()));
    m_line.pid = Cli::Number(head["pid"].empty() ? head["process"] : head["pid"]);
    m_line.pid = m_line.pid != 0 ? m_line.pid : FindPid(prefix.substr(begin));
    m_line.priority = FindPriority(prefix);
    m_line.tag = tag.find("infosync") == Text::npos ? tag : TAG;
    m_line.place.clear();
    m_line.message = head.Rest();
    const Text before = text.substr(0, text.size() - head.Rest().size());
    m_isQuoted = std::count(before.begin(), before.end(), '"') % 2 == 1;
    return true;
}

/** An entry of `journalctl -o json`: its fields, and its message as if it were a log itself. */
bool LineReader::ReadJournalObject(const std::string& text) {
    // Of other processes nothing is told.
    const bool mayBe = text.find("\"MESSAGE\"") != std::string::npos &&
                       (text.find(TAG) != std::string::npos || text.find("infosync") != std::string::npos ||
                        text.find("\"" + std::to_string(m_line.pid) + "\"") != std::string::npos);
    if (!mayBe) {
        return false;
    }
    try {
        const Json::Value entry = InfoSyncUtil::ParseJson(text);
        const std::string pid = Field(entry, entry.isMember("SYSLOG_PID") ? "SYSLOG_PID" : "_PID");
        const std::string head = JournalTime(Field(entry, "__REALTIME_TIMESTAMP")) + " <" +
                                 Field(entry, "PRIORITY") + "> " + Field(entry, "SYSLOG_IDENTIFIER") + "[" +
                                 pid + "]: ";
        std::string message = Field(entry, "MESSAGE");
        for (std::size_t end = message.find('\n'); end != std::string::npos; end = message.find('\n')) {
            Read(head + message.substr(0, end));
            message.erase(0, end + 1);
        }
        Read(head + message);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/** A line without a head of its own: more of what was before, or anything. */
void LineReader::GoOn(Text text) {
    const std::size_t quote = QuoteLength(m_prefix);
    const std::size_t own = quote == 0 ? 0 : QuoteLength(text);
    const bool isNumbered = own > 0 && (text[own - 1] == ':' || text[own - 1] == '-');
    m_line.tag.clear();
    m_line.place.clear();
    m_line.message = text.substr(isNumbered ? own : std::min(own, quote));
}

void LineReader::Unquote() {
    std::string& message = m_line.message;
    for (std::size_t at = message.find('"'); at != Text::npos; at = message.find('"', at + 1)) {
        if (message.compare(at, 2, "\"\"") != 0) {
            message.erase(at);
            m_isQuoted = false;
            return;
        }
        message.erase(at, 1);
    }
}

}  // namespace Log
