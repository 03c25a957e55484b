#include "Television/Log/Line.h"

#include <glib.h>
#include <json/json.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "Cli/Text.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::size_t LONGEST_LINE = 65536;
constexpr std::size_t LONGEST_HEAD = 200;
constexpr Text TAG = InfoSyncLog::TAG;
constexpr Text SYSLOG_PRIORITIES = "FFFEWIID";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

std::size_t DigitsFrom(Text text, std::size_t at) {
    std::size_t end = at;
    while (end < text.size() && IsDigit(text[end])) {
        ++end;
    }
    return end - at;
}

std::int64_t Number(Text text) {
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/** The date before a time of day: "11-25 ", "2026-11-25T", "Nov  5 ". */
std::size_t DateBegin(Text text, std::size_t clock) {
    if (clock == 0 || Text(" T,").find(text[clock - 1]) == Text::npos) {
        return clock;
    }
    std::size_t begin = clock - 1;
    while (begin > 0 && (IsDigit(text[begin - 1]) || text[begin - 1] == '-')) {
        --begin;
    }
    if (text.substr(begin, clock - 1 - begin).find('-') != Text::npos) {
        return begin;
    }
    constexpr std::size_t SYSLOG_DATE = sizeof("Nov  5 ") - 1;
    const bool isSyslog = clock >= SYSLOG_DATE && std::isupper(text[clock - SYSLOG_DATE]) != 0 &&
                          text[clock - SYSLOG_DATE + 3] == ' ' && IsDigit(text[clock - 2]);
    return isSyslog ? clock - SYSLOG_DATE : clock;
}

/** The fraction and the zone after a time of day. */
std::size_t ClockEnd(Text text, std::size_t end) {
    if (end + 1 < text.size() && (text[end] == '.' || text[end] == ',') && IsDigit(text[end + 1])) {
        end += 1 + DigitsFrom(text, end + 1);
    }
    if (end < text.size() && text[end] == 'Z') {
        return end + 1;
    }
    if (end < text.size() && (text[end] == '+' || text[end] == '-') && DigitsFrom(text, end + 1) >= 2) {
        end += 1 + DigitsFrom(text, end + 1);
        end += end < text.size() && text[end] == ':' && DigitsFrom(text, end + 1) == 2 ? 3 : 0;
    }
    return end;
}

/** The first time in the text: a time of day with what belongs to it, else seconds since some beginning. */
Span FindTime(Text text) {
    constexpr std::size_t CLOCK = sizeof("21:46:11") - 1;
    for (std::size_t at = text.find(':'); at != Text::npos; at = text.find(':', at + 1)) {
        const std::size_t clock = at - std::min<std::size_t>(at, 2);
        if (at >= 2 && clock + CLOCK <= text.size() && DigitsFrom(text, clock) == 2 &&
            DigitsFrom(text, clock + 3) == 2 && text[clock + 5] == ':' && DigitsFrom(text, clock + 6) == 2) {
            return {DateBegin(text, clock), ClockEnd(text, clock + CLOCK)};
        }
    }
    for (std::size_t at = text.find('.'); at != Text::npos; at = text.find('.', at + 1)) {
        std::size_t begin = at;
        while (begin > 0 && IsDigit(text[begin - 1])) {
            --begin;
        }
        const std::size_t end = at + 1 + DigitsFrom(text, at + 1);
        if (begin < at && end - at > 3 && (begin == 0 || !IsWordCharacter(text[begin - 1]))) {
            return {begin, end};
        }
    }
    return {};
}

/** The first whole number of the text that is no part of a word, behind a "P" or not; 0 for none. */
std::int64_t FindNumber(Text text) {
    for (std::size_t at = text.find_first_of("0123456789"); at < text.size();
         at = text.find_first_of("0123456789", at)) {
        const std::size_t length = DigitsFrom(text, at);
        const bool isWhole =
            (at == 0 || !IsWordCharacter(text[at - 1]) || (text[at - 1] == 'P' && at == 1)) &&
            (at + length == text.size() || !IsWordCharacter(text[at + length]));
        if (isWhole && length < 10) {
            return Number(text.substr(at, length));
        }
        at += length;
    }
    return 0;
}

/** The number in the last brackets of the text, as in "prog[123]: "; 0 for none. */
std::int64_t BracketedNumber(Text text) {
    const std::size_t open = text.rfind('[');
    return open == Text::npos || open == 0 || text[open - 1] == ' ' ? 0 : Number(text.substr(open + 1));
}

/** Where "FILE.cpp: FUNCTION(LINE) > " begins and ends. */
struct PlaceSpan : Span {
    std::size_t fileEnd = 0;
    std::size_t functionEnd = 0;
};

std::optional<PlaceSpan> FindPlace(Text text) {
    const Text start = text.substr(0, LONGEST_HEAD + LONGEST_HEAD);
    PlaceSpan place;
    place.fileEnd = std::min(start.find(".cpp: "), start.find(".h: "));
    if (place.fileEnd == Text::npos) {
        return std::nullopt;
    }
    place.fileEnd = start.find(':', place.fileEnd);
    place.begin = start.rfind('.', place.fileEnd);
    while (place.begin > 0 && IsWordCharacter(start[place.begin - 1])) {
        --place.begin;
    }
    const std::size_t close = start.find(") > ", place.fileEnd);
    place.functionEnd = close == Text::npos ? close : start.rfind('(', close);
    if (close == Text::npos || place.functionEnd <= place.fileEnd ||
        place.functionEnd + 1 + DigitsFrom(start, place.functionEnd + 1) != close) {
        return std::nullopt;
    }
    place.end = close + 4;
    return place;
}

/** Whether this can stand between the tag and the message: ids, blanks and separators. */
bool IsGap(Text text) {
    return text.find_first_not_of(" \t0123456789PT()[]<>:,;|\"/") == Text::npos;
}

bool IsDivider(Text text, std::size_t at) {
    return at < text.size() && Text(",;|\t").find(text[at]) != Text::npos;
}

/** Where the message begins in a line of fields, behind the tag and numbers; npos for another line. */
std::size_t FieldBegin(Text text) {
    std::size_t at = text.substr(0, 1) == "\"" ? 1 : 0;
    std::size_t field = Text::npos;
    while (IsDivider(text, at)) {
        field = at + (text.substr(at + 1, 1) == "\"" ? 2 : 1);
        const std::size_t digits = DigitsFrom(text, field);
        at = digits == 0 ? text.size() : field + digits + (text.substr(field + digits, 1) == "\"" ? 1 : 0);
    }
    return field;
}

/** The end of "(P 12, T 12): " or "[12]: ", or of ": " alone, behind the tag; npos for none of them. */
std::size_t HeadEnd(Text text) {
    if (FieldBegin(text) != Text::npos) {
        return FieldBegin(text);
    }
    std::size_t end = std::min(text.find_first_not_of(' '), text.size());
    if (end < text.size() && (text[end] == '(' || text[end] == '[')) {
        const std::size_t close = text.find(text[end] == '(' ? ')' : ']', end);
        if (close == Text::npos || !IsGap(text.substr(0, close))) {
            return Text::npos;
        }
        end = close + 1;
    }
    end = std::min(text.find_first_not_of(' ', end), text.size());
    return end == text.size() || text[end] != ':'          ? Text::npos
           : end + 1 < text.size() && text[end + 1] == ' ' ? end + 2
                                                           : end + 1;
}

/** The priority's letter that stands before the text's end: "E/", "E ", "E\",\"". */
char LetterBefore(Text prefix) {
    const std::size_t at = prefix.find_last_not_of("/ ,;|\t\"");
    const bool isAlone = at != Text::npos && at + 1 < prefix.size() &&
                         (at == 0 || !IsWordCharacter(prefix[at - 1])) &&
                         PRIORITIES.find(prefix[at]) != Text::npos;
    return isAlone ? prefix[at] : '\0';
}

/** The journal's "<3>". */
char SyslogPriority(Text prefix) {
    const std::size_t at = prefix.rfind('>');
    const bool isOne = at != Text::npos && at >= 2 && prefix[at - 2] == '<' && IsDigit(prefix[at - 1]) &&
                       prefix[at - 1] < '8';
    return isOne ? SYSLOG_PRIORITIES[static_cast<std::size_t>(prefix[at - 1] - '0')] : '\0';
}

/** What a mail, an indentation or a search with line numbers put before a line. */
std::size_t QuoteLength(Text text) {
    const std::size_t length = std::min(text.find_first_not_of("> \t|"), text.size());
    const std::size_t digits = DigitsFrom(text, 0);
    const bool isNumbered = digits > 0 && digits < text.size() &&
                            Text(":-").find(text[digits]) != Text::npos && DigitsFrom(text, digits + 1) != 2;
    return isNumbered ? digits + 1 : length;
}

/** Drops what a terminal takes for colours. */
void DropColours(std::string& text) {
    for (std::size_t at = text.find("\x1b["); at != std::string::npos; at = text.find("\x1b[", at)) {
        const std::size_t end = text.find_first_not_of("0123456789;", at + 2);
        text.erase(at, end == std::string::npos ? end : end + 1 - at);
    }
}

/** The journal's time, microseconds since 1970. */
std::string JournalTime(const std::string& microseconds) {
    const std::int64_t time = Number(microseconds);
    GDateTime* const utc = g_date_time_new_from_unix_utc(time / 1'000'000);
    if (time <= 0 || utc == nullptr) {
        return "";
    }
    std::array<char, 8> fraction = {};
    static_cast<void>(
        std::snprintf(fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(time / 1000 % 1000)));
    const std::string text = Cli::Taken(g_date_time_format(utc, "%FT%T")) + fraction.data();
    g_date_time_unref(utc);
    return text;
}

/** A field of the journal: a text, or an array of bytes where it is none. */
std::string Field(const Json::Value& entry, const char* name) {
    const Json::Value& value = entry[name];
    std::string text = value.isString() ? value.asString() : "";
    for (const Json::Value& byte : value.isArray() ? value : Json::Value(Json::arrayValue)) {
        text += static_cast<char>(byte.isUInt() ? byte.asUInt() : 0U);
    }
    return text;
}

}  // namespace

bool Line::IsService() const {
    return tag == TAG;
}

std::string Line::Head() const {
    return text.size() < message.size() ? "" : text.substr(0, text.size() - message.size());
}

std::optional<std::int64_t> Moment(const std::string& time) {
    constexpr std::int64_t MS = 1000;
    constexpr std::int64_t DAY = 86400;
    int year = 2000;
    unsigned month = 1;
    unsigned day = 1;
    const std::size_t colon = time.find(':');
    if (colon == std::string::npos || colon < 2) {
        return time.empty() ? std::nullopt
                            : std::optional<std::int64_t>(
                                  static_cast<std::int64_t>(g_ascii_strtod(time.c_str(), nullptr) * MS));
    }
    std::array<char, 4> name = {};
    if (std::sscanf(time.c_str(), "%d-%u-%u", &year, &month, &day) != 3) {
        year = 2000;
        if (std::sscanf(time.c_str(), "%3[A-Z-a-z] %u", name.data(), &day) == 2) {
            constexpr Text MONTHS = "JanFebMarAprMayJunJulAugSepOctNovDec";
            month = static_cast<unsigned>(MONTHS.find(name.data()) / 3 + 1);
        } else if (std::sscanf(time.c_str(), "%u-%u", &month, &day) != 2) {
            month = day = 1;
        }
    }
    if (month > 12 || day > 31 || month == 0 || day == 0) {
        return std::nullopt;
    }
    constexpr unsigned DAYS_BEFORE[] = {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335};
    const std::int64_t days = std::int64_t{year} * 366 + DAYS_BEFORE[month - 1] + day;
    const std::string clock = time.substr(colon - 2);
    const double seconds = g_ascii_strtod(clock.c_str() + 6, nullptr);
    return (days * DAY + Number(clock) * 3600 + Number(Text(clock).substr(3)) * 60) * MS +
           static_cast<std::int64_t>(seconds * MS);
}

void LineReader::Feed(Text piece) {
    for (std::size_t end = piece.find('\n'); end != Text::npos; end = piece.find('\n')) {
        Append(piece.substr(0, end));
        piece.remove_prefix(end + 1);
        TakeLine();
    }
    Append(piece);
}

void LineReader::Append(Text piece) {
    m_begun.append(piece.substr(0, LONGEST_LINE - std::min(m_begun.size(), LONGEST_LINE)));
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
    if (m_begun.empty() || m_begun.front() != '{' || !ReadJournalObject(m_begun)) {
        Read(m_begun);
    }
    m_begun.clear();
}

void LineReader::Read(Text text) {
    m_line.text = text;
    if (ReadTagged(text) || ReadPlaced(text) || ReadOthers(text)) {
        if (!m_isLong) {
            m_onLine(m_line);
        }
    } else if (!m_isLong || !text.empty()) {
        GoOn(text);
    }
}

/** Takes what stands before the tag. */
void LineReader::ReadPrefix(Text prefix) {
    const Span time = FindTime(prefix);
    const char letter = LetterBefore(prefix);
    m_line.time = prefix.substr(time.begin, time.end - time.begin);
    m_line.priority = letter != '\0' ? letter : SyslogPriority(prefix);
    const Text rest = prefix.substr(time.end);
    const std::int64_t bracketed = BracketedNumber(rest);
    m_line.pid = bracketed != 0 ? bracketed : time.end == 0 ? 0 : FindNumber(rest);
    m_quote = prefix.substr(0, QuoteLength(prefix));
    m_isLong = false;
}

/** A line with the service's tag before a place or behind a head; the tag may be the journal's, too. */
bool LineReader::ReadTagged(Text text) {
    const std::size_t at = text.substr(0, LONGEST_HEAD).find(TAG);
    if (at == Text::npos || (at > 0 && IsWordCharacter(text[at - 1]))) {
        return false;
    }
    const Text after = text.substr(at + TAG.size());
    const auto place = FindPlace(after);
    const std::size_t again = after.substr(0, LONGEST_HEAD).find(TAG);
    const bool isPlaced = place && (IsGap(after.substr(0, place->begin)) || again < place->begin);
    const bool isLong = text.substr(0, 2) == "[ " && text.back() == ']';
    const std::size_t end = HeadEnd(after);
    if (!isPlaced && !isLong && end == Text::npos) {
        m_firstUnreadable = m_unreadable++ == 0 ? m_line.number : m_firstUnreadable;
        return false;
    }
    ReadPrefix(text.substr(0, at));
    const Text gap = after.substr(0, isPlaced ? place->begin : isLong ? after.size() - 1 : end);
    const std::int64_t pid = FindNumber(gap);
    m_line.pid = pid != 0 ? pid : m_line.pid;
    if (again < gap.size()) {
        m_line.priority = LetterBefore(after.substr(0, again));
    }
    m_line.tag = TAG;
    m_isLong = isLong;
    const std::size_t quote = text.substr(0, at).find_last_not_of("VDIWEF/ ");
    m_isQuoted =
        (!gap.empty() && gap.back() == '"') || (quote < at && text[quote] == '"' && text[at - 1] == '/');
    Place(text, at + TAG.size() + gap.size());
    return true;
}

/** A line of the service's that only its place tells, as where the tag is the program's name. */
bool LineReader::ReadPlaced(Text text) {
    const auto place = FindPlace(text);
    if (!place) {
        return false;
    }
    const Text prefix = text.substr(0, place->begin);
    const Text rest = prefix.substr(FindTime(prefix).end);
    const bool isService = prefix.find("infosync") != Text::npos ||
                           rest.find_first_not_of(" \t<>0123456789:[]()PT,|") == Text::npos;
    if (!isService || m_isLong) {
        return false;
    }
    ReadPrefix(prefix);
    m_line.tag = TAG;
    m_isQuoted = false;
    Place(text, place->begin);
    return true;
}

/** A line of another program with a head: "E/TAG( 12): ", "12 12 E TAG: " or "prog[12]: " behind a time. */
bool LineReader::ReadOthers(Text text) {
    const bool isLong = text.substr(0, 2) == "[ " && text.back() == ']' && FindTime(text).end > 0;
    const std::size_t colon = isLong ? text.size() - 2 : text.substr(0, LONGEST_HEAD).find(": ");
    Text head = text.substr(0, colon == Text::npos ? 0 : colon);
    head = head.substr(0, head.find_last_not_of(' ') + 1);
    if (head.empty()) {
        return false;
    }
    const std::size_t open = head.back() == ')'   ? head.rfind('(')
                             : head.back() == ']' ? head.rfind('[')
                                                  : head.size();
    if (open == Text::npos || open == 0 || !IsGap(head.substr(open))) {
        return false;
    }
    const Text named = head.substr(0, head.find_last_not_of(' ', open - 1) + 1);
    const std::size_t begin = named.find_last_of(" /") + 1;
    const bool hasLetter = LetterBefore(named.substr(0, begin)) != '\0';
    if (!hasLetter && FindTime(named).end == 0) {
        return false;
    }
    ReadPrefix(named.substr(0, begin));
    const std::int64_t pid = FindNumber(head.substr(open));
    m_line.pid = pid != 0 ? pid : m_line.pid;
    m_line.tag = named.substr(begin);
    m_isLong = isLong;
    Place(text, std::min(colon + 2, text.size()));
    return true;
}

/** An entry of `journalctl -o json`: its fields, and its message as if it were a log itself. */
bool LineReader::ReadJournalObject(const std::string& text) {
    const bool mayBe = text.find("\"MESSAGE\"") != std::string::npos &&
                       (text.find(TAG) != std::string::npos || text.find("infosync") != std::string::npos);
    if (!mayBe) {
        return false;
    }
    try {
        const Json::Value entry = InfoSyncUtil::ParseJson(text);
        const std::string pid = Field(entry, entry.isMember("SYSLOG_PID") ? "SYSLOG_PID" : "_PID");
        const std::string priority = Field(entry, "PRIORITY");
        const std::string head = JournalTime(Field(entry, "__REALTIME_TIMESTAMP")) + " tv " +
                                 Field(entry, "SYSLOG_IDENTIFIER") + "[" + pid +
                                 "]: " + (priority.empty() ? "" : "<" + priority + ">");
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

/** Takes what begins at the position as a place, if it is one, and the message. */
void LineReader::Place(Text text, std::size_t at) {
    const Text rest = text.substr(at);
    const auto place = FindPlace(rest);
    if (place && place->begin == 0) {
        m_line.file = rest.substr(0, place->fileEnd);
        m_line.function = rest.substr(place->fileEnd + 2, place->functionEnd - place->fileEnd - 2);
        m_line.place = rest.substr(0, place->end);
        m_line.message = rest.substr(place->end);
    } else {
        m_line.file.clear();
        m_line.function.clear();
        m_line.place.clear();
        m_line.message = rest;
    }
    if (m_isQuoted) {
        GoOn("");
    }
}

/** Takes a line without a head of its own; with the empty text, what stands in quotes before it. */
void LineReader::GoOn(Text text) {
    const bool isHead = text.empty() && m_isQuoted;
    if (!isHead) {
        const bool isQuoted = !m_quote.empty() && QuoteLength(text) > 0;
        const Text rest =
            isQuoted
                ? text.substr(std::min(QuoteLength(text), std::max(m_quote.size(), DigitsFrom(text, 0) + 1)))
                : text;
        if (m_isLong) {
            Place(rest, 0);
        } else {
            m_line.tag.clear();
            m_line.place.clear();
            m_line.message = rest;
        }
    }
    std::string& message = m_line.message;
    for (std::size_t at = m_isQuoted ? message.find('"') : Text::npos; at != Text::npos;
         at = message.find('"', at + 1)) {
        if (message.compare(at, 2, "\"\"") != 0) {
            message.erase(at);
            m_isQuoted = false;
            break;
        }
        message.erase(at, 1);
    }
    if (!isHead) {
        m_onLine(m_line);
    }
}

}  // namespace Log
