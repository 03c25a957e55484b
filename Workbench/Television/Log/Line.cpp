#include "Television/Log/Line.h"

#include <glib.h>
#include <json/json.h>

#include <algorithm>
#include <ctime>
#include <exception>
#include <sstream>

#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Time.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::size_t LONGEST_LINE = 65536;
constexpr Text TAG = InfoSyncLog::TAG;

/** A head of any program's, in one of the known forms; else the service's tag wherever it stands; each with
 * the place, where there is one. */
std::string LineForm() {
    // Behind whatever a mail or a search put there: a time of day with its date, else seconds since some
    // beginning.
    const std::string time =
        R"re((?:.{0,60}?(?<time>(?:(?:\d{4}-)?\d\d-\d\d[ T,]+|[A-Z][a-z]{2} +\d{1,2} )?)re"
        R"re(\d\d:\d\d:\d\d(?:\.\d+)?(?:Z|[+-]\d\d(?::?\d\d)?)?|(?<![\w.])\d+\.\d{3,}(?!\w)))?)re";
    // "host prog[12]: ", of the journal.
    const std::string program =
        R"re([\s\]]*(?:(?<level>[VDIWEF])/)?(?:[^\s(]++ )?(?<program>[\w.@-]++)\[(?<process>\d{1,9})\]: )re";
    const std::string number = R"re(P?(?<process>\d{1,9})(?![\w.:-]))re";
    const std::string priority = R"re((?<![A-Za-z0-9])(?<priority>[VDIWEF])["/ ,;|\t]+)re";
    // "(P  12, T  12): ", "[12]: ", ": ", or fields with dividers.
    const std::string behind = R"re([\s"]*(?:[(\[]\s*P?\s*(?<pid>\d{1,9})[^)\]]*[)\]]\s*: ?|: ?)re"
                               R"re(|[,;|\t]"?(?:(?<pid>\d{1,9})"?[,;|\t]"?)?))re";
    const std::string place = R"re((?<place>\w++\.(?:cpp|h): [^>]{1,150}?\(\d++\) > ))re";
    // The log viewer's own, which most logs have.
    const std::string usual =
        R"re( (?<priority>[VDIWEF])/(?<tag>[\w.-]++)\( *P?\s*(?<pid>\d{1,9})[^)]*\): )re";
    return "^" + time + "(?:" + usual + "|(?:" + program + ")?(?:[^\\w]*" + number +
           R"re()?[\s\d,;|"()PT>:\]-]*)re" + priority + R"re((?<tag>[\w.-]++))re" + behind + "|" + program +
           R"re(|(?:.{0,80}?(?<![\w.-]))re" + number + ")?.{0,80}?(?:" + priority +
           ")?(?<tag>BT_INFOSYNC)(?:" + behind + R"re(|\W+(?=\w+\.(?:cpp|h): ))))re" + place + "?";
}

/** What a mail, an indentation or a search with line numbers put before a line. */
constexpr char QUOTE[] = R"(^(?:(?:[^\s:]+:)?\d{1,9}:(?!\d\d[:.])|\d{1,9}-(?!\d\d[ -])|[>\s|]+))";

/** The field of a table, up to its closing quote; those in it are doubled. */
std::string Unquoted(const std::string& field) {
    static const Cli::Pattern doubled("(?<v>\"\")");
    return doubled.Replace(field.substr(0, field.rfind('"')), "\"");
}

/** An entry of `journalctl -o json` in the journal's short form; any other text as it is. */
std::string JournalText(const std::string& text) {
    constexpr Text LEVELS = "FFFEWIID";
    constexpr std::int64_t MICROSECONDS = 1'000'000;
    // Of other programs nothing is told.
    const bool isEntry = text.find("\"MESSAGE\"") != std::string::npos &&
                         (text.find(TAG) != std::string::npos || text.find("infosync") != std::string::npos);
    if (text.front() != '{' || !isEntry) {
        return text;
    }
    try {
        const Json::Value entry = Cli::ParseObject(text, "");
        const auto field = [&entry](const char* name) { return Cli::StringMember(entry, name); };
        const std::int64_t time = Cli::Number(field("__REALTIME_TIMESTAMP"));
        const std::string fraction = std::to_string(MICROSECONDS + time % MICROSECONDS).substr(1, 3);
        const auto level = static_cast<std::size_t>(Cli::Number(field("PRIORITY")));
        return Cli::DateTime(time / MICROSECONDS) + "." + fraction + " " + LEVELS[level % LEVELS.size()] +
               "/" + field("SYSLOG_IDENTIFIER") + "[" +
               field(entry.isMember("SYSLOG_PID") ? "SYSLOG_PID" : "_PID") + "]: " + field("MESSAGE");
    } catch (const std::exception&) {
        return text;
    }
}

}  // namespace

Moment MomentOf(const std::string& time) {
    constexpr const char* FORMS[] = {"%Y-%m-%d%n%H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%m-%d%n%H:%M:%S",
                                     "%b%n%d%n%H:%M:%S", "%H:%M:%S"};
    const auto milliseconds = [](const char* seconds) {
        return static_cast<std::int64_t>(g_ascii_strtod(seconds, nullptr) * 1000);
    };
    for (const char* form : FORMS) {
        // A year that had a 29th of February.
        std::tm parts = {};
        parts.tm_year = 100;
        parts.tm_mday = 1;
        const char* rest = strptime(time.c_str(), form, &parts);
        if (rest != nullptr) {
            return timegm(&parts) * std::int64_t{1000} + (*rest == '.' ? milliseconds(rest) : 0);
        }
    }
    return time.empty() ? std::nullopt : Moment(milliseconds(time.c_str()));
}

bool ReadHead(const std::string& text, Line& line) {
    static const Cli::Pattern form(LineForm());
    const auto head = form.Find(text);
    const auto either = [&head](const char* name, const char* other) {
        const Text found = head[name];
        return found.empty() ? head[other] : found;
    };
    const Text tag = either("tag", "program");
    line.text = text;
    line.tag = tag.find("infosync") == Text::npos ? tag : TAG;
    line.place = head["place"];
    if (!head) {
        return false;
    }
    const Text time = head["time"];
    const Text priority = either("priority", "level");
    line.moment = time == line.time ? line.moment : MomentOf(std::string(time));
    line.time = time;
    line.pid = Cli::Number(either("pid", "process"));
    line.priority = priority.empty() ? '\0' : priority.front();
    line.message = head.Rest();
    const std::size_t begin = text.size() - line.message.size() - line.place.size();
    if (begin > 0 && text[begin - 1] == '"') {
        line.message = Unquoted(line.message);
    }
    return true;
}

void LineReader::Feed(Text piece) {
    while (!piece.empty()) {
        const std::size_t end = std::min(piece.find('\n'), piece.size());
        m_begun.append(piece.substr(0, std::min(end, LONGEST_LINE - m_begun.size())));
        if (end < piece.size()) {
            TakeLine();
        }
        piece.remove_prefix(std::min(end + 1, piece.size()));
    }
}

void LineReader::Finish() {
    if (!m_begun.empty()) {
        TakeLine();
    }
}

void LineReader::TakeLine() {
    // What came through another system's shell may be UTF-16, or have that system's line ends; what came
    // through a terminal, colours.
    const auto isOfShell = [](char c) { return c == '\0' || c == '\r'; };
    m_begun.erase(std::remove_if(m_begun.begin(), m_begun.end(), isOfShell), m_begun.end());
    if (m_begun.find('\x1b') != std::string::npos) {
        static const Cli::Pattern colour("(?<v>\x1b\\[[0-9;]*m)");
        m_begun = colour.Replace(m_begun, "");
    }
    ++m_line.number;
    if (m_begun.empty() || m_begun.front() != '{') {
        Read(m_begun);
    } else {
        std::istringstream lines(JournalText(m_begun));
        for (std::string line; std::getline(lines, line);) {
            Read(line);
        }
    }
    m_begun.clear();
}

void LineReader::Read(const std::string& text) {
    static const Cli::Pattern quote(QUOTE);
    if (!ReadHead(text, m_line)) {
        const bool isUnreadable = text.find(TAG) != Text::npos;
        firstUnreadable = isUnreadable && unreadableCount == 0 ? m_line.number : firstUnreadable;
        unreadableCount += isUnreadable ? 1 : 0;
        const auto own = quote.Find(text);
        m_line.message = own ? std::string(own.Rest()) : text;
    }
    m_onLine(m_line);
}

}  // namespace Log
