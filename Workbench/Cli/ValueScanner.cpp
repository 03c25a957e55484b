#include "Cli/ValueScanner.h"

#include <glib.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "Cli/SecretNames.h"

namespace Cli {

namespace {

constexpr std::size_t NONE = std::string_view::npos;
constexpr std::size_t LONGEST_NAME = 64;
constexpr std::size_t DEEPEST = 64;
constexpr char BLANKS[] = " \t\r\n";
constexpr char FIELD_ENDS[] = "& \t\r\n\"<>";
constexpr char REST_OF_ENTRY[] = "\n";
constexpr std::string_view BEARER = "Bearer ";

bool IsBearer(std::string_view text) {
    return text.size() > BEARER.size() && g_ascii_strncasecmp(text.data(), BEARER.data(), BEARER.size()) == 0;
}

bool IsNameCharacter(char c) {
    return g_ascii_isalnum(c) || c == '_' || c == '-' || c == '.';
}

}  // namespace

std::vector<FoundValue> ValueScanner::Scan(std::string_view text, const std::string& entry) {
    if (entry.empty() || entry != m_entry) {
        m_context = {};
        m_entry = entry;
    }
    m_text = text;
    m_found.clear();
    for (std::size_t at = Resume(); at < m_text.size();) {
        at = ScanAt(at);
    }
    return std::exchange(m_found, {});
}

/** Goes on with what the last line left open. @return where to go on */
std::size_t ValueScanner::Resume() {
    const std::string awaited = std::exchange(m_context.awaited, {});
    if (awaited == "\"") {
        const std::size_t quote = ClosingQuote(0);
        // A quote before a word opens: that is the first line of another entry.
        if (quote == NONE || quote + 1 == m_text.size() || !IsNameCharacter(m_text[quote + 1])) {
            if (quote == NONE && IsHarmlessName(m_context.name)) {
                m_context.name.clear();  // nothing tells that this is not another entry
            }
            return TakeUntil("\"", 0);
        }
        m_context = {};
    } else if (awaited == REST_OF_ENTRY) {
        const std::size_t start = ScanStart();
        return start != 0 ? start : TakeUntil(REST_OF_ENTRY, 0);
    } else if (!awaited.empty()) {
        return TakeUntil(awaited, 0);
    }
    if (m_context.isMarkup) {
        return TakeUntil("<", 0);
    }
    const std::size_t first = SkipBlanks(0);
    if (StartsAt(first, ":") && !m_context.lastText.empty()) {
        m_context.name = m_context.lastText;
        return ScanColon(first);
    }
    return ScanStart();
}

/** Takes a header line or the service's naming of a value, which lasts to the end of the entry. */
std::size_t ValueScanner::ScanStart() {
    const std::size_t colon = m_text.find(':');
    if (colon == NONE) {
        return 0;
    }
    const std::size_t start = SkipBlanks(0);
    std::string_view name = m_text.substr(start, colon - start);
    name = name.substr(0, name.find_last_not_of(BLANKS) + 1);
    std::size_t value = SkipBlanks(colon + 1);
    if (name == "key" || name == "name") {
        for (const std::string_view separator : {". value : ", ", value : ", ", vlaue : ", ", text : "}) {
            const std::size_t end = m_text.find(separator, value);
            if (end != NONE) {
                name = m_text.substr(value, end - value);
                value = end + separator.size();
                m_context.name = name == "code" ? "auth_code" : name.substr(0, LONGEST_NAME);
                return TakeUntil(REST_OF_ENTRY, value);
            }
        }
        return 0;
    }
    const bool isDocument = value < m_text.size() && std::string_view("{[<").find(m_text[value]) != NONE;
    if (!IsSecretName(name) || isDocument) {
        return 0;
    }
    m_context.name = name;
    return TakeUntil(REST_OF_ENTRY, value);
}

std::size_t ValueScanner::ScanAt(std::size_t at) {
    Context& context = m_context;
    switch (m_text[at]) {
        case '"':
            return ScanText(at);
        case '{':
        case '[':
            if (context.containers.size() == DEEPEST) {
                context.containers.clear();
            }
            context.containers.push_back(context.name);
            if (m_text[at] == '{') {
                context.name.clear();
            }
            return at + 1;
        case '}':
        case ']':
            context.name.clear();
            if (!context.containers.empty()) {
                context.name = std::move(context.containers.back());
                context.containers.pop_back();
            }
            return at + 1;
        case '=':
            return ScanField(at);
        case 'B':
        case 'b':
            return ScanBearer(at);
        case '<':
            return ScanMarkup(at);
        case '>':
            return context.isMarkup ? TakeUntil("<", at + 1) : at + 1;
        default:
            return at + 1;
    }
}

/** A text of JSON, which is a name or a value. */
std::size_t ValueScanner::ScanText(std::size_t quote) {
    const std::size_t before = quote == 0 ? NONE : m_text.find_last_not_of(BLANKS, quote - 1);
    const bool isExpected = before == NONE || std::string_view(":,[{").find(m_text[before]) != NONE;
    std::size_t end = ClosingQuote(quote + 1);
    while (end != NONE && end + 1 < m_text.size() && IsNameCharacter(m_text[end + 1])) {
        if (!isExpected) {
            return quote + 1;  // a quote of some prose, or the end of a text whose beginning was cut off
        }
        end = ClosingQuote(end + 1);
    }
    if (end == NONE) {
        return TakeUntil("\"", quote + 1);
    }
    const std::string_view text = m_text.substr(quote + 1, std::min(end - quote - 1, LONGEST_NAME));
    const std::size_t next = SkipBlanks(end + 1);
    if (StartsAt(next, ":")) {
        m_context.name = text;
        return ScanColon(next);
    }
    m_context.lastText = text;
    Take(quote + 1, end, m_context.name);
    return end + 1;
}

/** What comes after a name; a number is taken where the name says that it is a secret. */
std::size_t ValueScanner::ScanColon(std::size_t colon) {
    const std::size_t value = SkipBlanks(colon + 1);
    const std::size_t end = std::min(m_text.find_first_not_of("+-.0123456789eE", value), m_text.size());
    if (value < end && IsSecretName(m_context.name)) {
        constexpr bool IS_BARE = true;
        Take(value, end, m_context.name, IS_BARE);
    }
    return end;
}

/** A field of a form or of a query, NAME=VALUE, or an attribute of XML, NAME="VALUE". */
std::size_t ValueScanner::ScanField(std::size_t equals) {
    const std::string_view name = NameBefore(equals);
    const bool isQuoted = StartsAt(equals + 1, "\"");
    const std::size_t value = equals + (isQuoted ? 2 : 1);
    if (name.empty() || value > m_text.size()) {
        return equals + 1;
    }
    const std::size_t end =
        std::min(isQuoted ? ClosingQuote(value) : m_text.find_first_of(FIELD_ENDS, value), m_text.size());
    Take(value, end, name == "code" ? "auth_code" : name);
    return isQuoted ? end + 1 : end;
}

std::size_t ValueScanner::ScanBearer(std::size_t at) {
    if (!IsBearer(m_text.substr(at))) {
        return at + 1;
    }
    const std::size_t end = std::min(m_text.find_first_of(FIELD_ENDS, at + BEARER.size()), m_text.size());
    Take(at, end, "Authorization");
    return end;
}

std::size_t ValueScanner::ScanMarkup(std::size_t bracket) {
    Context& context = m_context;
    if (!context.isMarkup) {
        // Elsewhere the character means less than, or stands in the name of a C++ type.
        const auto starts = {"<?xml", "<rsp", "<auth_code", "<code_verifier"};
        if (std::none_of(starts.begin(), starts.end(),
                         [&](auto start) { return StartsAt(bracket, start); })) {
            return bracket + 1;
        }
        context = {};
        context.isMarkup = true;
    }
    if (StartsAt(bracket, "<![CDATA[")) {
        return TakeUntil("]]>", bracket + sizeof("<![CDATA[") - 1);
    }
    const std::size_t name = bracket + 1;
    context.name.clear();
    if (StartsAt(bracket, "<!--")) {
        return TakeUntil("-->", name + 3);
    }
    if (StartsAt(bracket, "<!") || (StartsAt(bracket, "<?") && !StartsAt(bracket, "<?xml"))) {
        return TakeUntil(">", name + 1);
    }
    std::size_t end = name;
    while (end < m_text.size() && end - name < LONGEST_NAME && IsNameCharacter(m_text[end])) {
        ++end;
    }
    context.name = m_text.substr(name, end - name);  // empty for an end tag
    return end;
}

/** Takes a value up to its end mark, or to the end of the line with the rest of it in the lines that follow.
 */
std::size_t ValueScanner::TakeUntil(const std::string& end, std::size_t begin) {
    const bool isQuote = end == "\"";
    const std::size_t found = isQuote ? ClosingQuote(begin) : m_text.find(end, begin);
    Take(begin, std::min(found, m_text.size()), m_context.name);
    if (end == "<") {
        return std::min(found,
                        m_text.size());  // the tag is looked at next; without one, markup goes on as such
    }
    if (found == NONE) {
        m_context.awaited = end;
        return m_text.size();
    }
    return found + end.size();
}

void ValueScanner::Take(std::size_t begin, std::size_t end, std::string_view name, bool isBare) {
    begin = SkipBlanks(begin);
    while (begin < end && std::strchr(BLANKS, m_text[end - 1]) != nullptr) {
        --end;
    }
    if (begin < end && IsBearer(m_text.substr(begin, end - begin))) {
        begin += BEARER.size();
    }
    if (begin < end && !IsHarmlessName(name)) {
        m_found.push_back({begin, end, IsSecretName(name), isBare});
    }
}

std::size_t ValueScanner::ClosingQuote(std::size_t from) const {
    for (std::size_t at = from; at < m_text.size(); ++at) {
        if (m_text[at] == '\\') {
            ++at;
        } else if (m_text[at] == '"') {
            return at;
        }
    }
    return NONE;
}

std::size_t ValueScanner::SkipBlanks(std::size_t at) const {
    return std::min(m_text.find_first_not_of(BLANKS, at), m_text.size());
}

std::string_view ValueScanner::NameBefore(std::size_t at) const {
    std::size_t begin = at;
    while (begin > 0 && at - begin < LONGEST_NAME && IsNameCharacter(m_text[begin - 1])) {
        --begin;
    }
    return m_text.substr(begin, at - begin);
}

bool ValueScanner::StartsAt(std::size_t at, std::string_view start) const {
    return at <= m_text.size() && m_text.compare(at, start.size(), start) == 0;
}

}  // namespace Cli
