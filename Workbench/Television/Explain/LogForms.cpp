#include "Television/Explain/LogForms.h"

#include <algorithm>

namespace Explain {

namespace {

constexpr std::size_t LONGEST_LINE = 65536;

// Dates of the log viewer, ISO and syslog; seconds since some beginning.
constexpr char TIME[] =
    R"((?<time>(?:(?:\d{4}-)?\d\d-\d\d[ T]|[A-Z][a-z][a-z] [ \d]\d )\d\d:\d\d:\d\d(?:[.,]\d+)?(?:Z|[+-]\d\d:?\d\d)?)"
    R"(|\d+\.\d+|\[ *\d+\.\d+\]))";
constexpr char PRIORITY_AND_TAG[] = R"((?<priority>[VDIWEF])[/ ](?<tag>[^(:\]]*?) *)";
constexpr char PROCESS[] = R"((?:P ?)?(?<pid>\d{1,9}))";
constexpr char THREAD[] = R"([,: ]+(?:T ?)?\d+ *)";
constexpr char PLACE[] = R"((?<file>[^ :/]+\.(?:cpp|h)): (?<function>.+?)\(\d+\) > )";

const Pattern& LongHead() {
    // The ids stand before the tag, or after it.
    static const Pattern pattern(std::string(R"(^\[ )") + TIME + " +(?:" + PROCESS + THREAD + ")?" +
                                 PRIORITY_AND_TAG + "(?:" + PROCESS + THREAD + R"()?\]$)");
    return pattern;
}

const Pattern& Head() {
    static const Pattern pattern("^(?:" + std::string(TIME) +
                                 // The journal's host, program and its process.
                                 R"( +(?:[^ /(:]+ (?<program>[^ :\[]+)(?:\[(?<pid>\d{1,9})\])?: )?)?)"
                                 R"((?:<(?<syslog>[0-7])>)?)"
                                 // brief: E/TAG( 123): , or threadtime: 123 124 E TAG:
                                 "(?:" +
                                 PRIORITY_AND_TAG + R"(\( *)" + PROCESS + R"([^)]*\): |)" + PROCESS + THREAD +
                                 PRIORITY_AND_TAG + ": )?(?:" + PLACE + ")?");
    return pattern;
}

/** Drops what a terminal takes for colours. */
void DropColours(std::string& text) {
    for (std::size_t at = text.find("\x1b["); at != std::string::npos; at = text.find("\x1b[", at)) {
        const std::size_t end = text.find_first_not_of("0123456789;", at + 2);
        text.erase(at, end == std::string::npos ? end : end + 1 - at);
    }
}

}  // namespace

void LogForms::Feed(std::string_view piece) {
    for (std::size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
        Append(piece.substr(0, end));
        piece.remove_prefix(end + 1);
        TakeLine();
    }
    Append(piece);
}

void LogForms::Append(std::string_view piece) {
    m_begun.append(piece.substr(0, LONGEST_LINE - std::min(m_begun.size(), LONGEST_LINE)));
}

void LogForms::Finish() {
    if (!m_begun.empty()) {
        TakeLine();
    }
}

void LogForms::TakeLine() {
    // What came through another system's shell may be UTF-16, or have that system's line ends; a terminal's,
    // colours.
    m_begun.erase(std::remove(m_begun.begin(), m_begun.end(), '\0'), m_begun.end());
    DropColours(m_begun);
    m_begun.erase(m_begun.find_last_not_of('\r') + 1);
    std::string_view text = m_begun;
    if (++m_line.number == 1) {
        text.remove_prefix(std::min(text.find_first_not_of("\xFF\xFE\xEF\xBB\xBF"), text.size()));
    }
    m_line.text = text;
    m_line.headAt = 0;
    if (TakeLongHead(text)) {
        m_isLong = true;
    } else if (m_isLong && !text.empty()) {
        // An empty line ends a message, or stands in one.
        GoOn(text);
    } else if (!m_isLong && !TakeHeadedLine(text)) {
        m_line.continues = true;
        GoOn(text);
    }
    m_begun.clear();
}

bool LogForms::TakeLongHead(std::string_view text) {
    if (text.substr(0, 2) != "[ " || text.back() != ']') {
        return false;
    }
    const Pattern::Match match = LongHead().Find(text);
    if (match) {
        m_line.time = match["time"];
        m_line.pid = Number(match["pid"]);
        m_line.priority = match["priority"].front();
        m_line.tag = match["tag"];
        m_line.continues = false;
    }
    return static_cast<bool>(match);
}

bool LogForms::TakeHeadedLine(std::string_view text) {
    constexpr std::string_view SYSLOG_PRIORITIES = "FFFEWIID";
    const Pattern::Match match = Head().Find(text);
    const std::string_view tag = match["tag"];
    const std::string_view program = match["program"];
    const bool isService = tag.empty() && !match["file"].empty() &&
                           (program.empty() || program.find("infosync") != std::string_view::npos);
    if (tag.empty() && program.empty() && !isService) {
        return false;
    }
    const std::string_view syslog = match["syslog"];
    const std::string_view priority = match["priority"];
    m_line.time = match["time"];
    m_line.headAt = m_line.time.empty() ? 0 : text.find_first_not_of(' ', m_line.time.size());
    m_line.pid = Number(match["pid"]);
    m_line.priority = !priority.empty() ? priority.front()
                      : !syslog.empty() ? SYSLOG_PRIORITIES[static_cast<std::size_t>(syslog.front() - '0')]
                                        : '\0';
    m_line.tag = isService ? SERVICE_TAG : tag.empty() ? program : tag;
    m_line.continues = false;
    Hand(match, match.Rest());
    return true;
}

/** Takes a line without a head: what follows one of the form "long", more of a message, or anything. */
void LogForms::GoOn(std::string_view text) {
    static const Pattern mayHavePlace("^(?:" + std::string(PLACE) + ")?");
    if (m_line.continues) {
        Hand({}, text);
    } else {
        const Pattern::Match place = mayHavePlace.Find(text);
        Hand(place, place.Rest());
        m_line.continues = true;
    }
}

void LogForms::Hand(const Pattern::Match& place, std::string_view message) {
    m_line.file = place["file"];
    m_line.function = place["function"];
    m_line.message = message;
    m_onLine(m_line);
}

}  // namespace Explain
