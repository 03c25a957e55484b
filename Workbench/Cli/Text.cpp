#include "Cli/Text.h"

#include <glib.h>

#include <cstring>
#include <sstream>

#include "Cli/Pattern.h"

namespace Cli {

namespace {

constexpr gunichar INVALID =
    static_cast<gunichar>(-2);  // what GLib says of a bad or a cut sequence, or higher

bool IsHarmless(gunichar c) {
    const bool reorders = c == 0x061CU || (c >= 0x200EU && c <= 0x200FU) || (c >= 0x202AU && c <= 0x202EU) ||
                          (c >= 0x2066U && c <= 0x2069U);
    const bool endsLine = c == 0x2028U || c == 0x2029U;
    const bool isByteOrderMark = c == 0xFEFFU;
    return c >= 0x20U && (c < 0x7FU || c >= 0xA0U) && !reorders && !endsLine && !isByteOrderMark;
}

/** Of a byte that is no UTF-8, or of a character. */
std::string EscapeCode(gunichar c) {
    return Taken(c < 0x100U ? g_strdup_printf("\\x%02x", c) : g_strdup_printf("\\u%04x", c));
}

std::string EscapeCharacter(gunichar c) {
    return c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : EscapeCode(c);
}

/** Escapes all but what is harmless and these characters. */
std::string EscapeBut(const std::string& text, const char* kept) {
    std::string shown;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
        const gunichar c = *at == '\0' ? 0 : g_utf8_get_char_validated(at, end - at);
        if (c >= INVALID) {
            shown += EscapeCode(static_cast<unsigned char>(*at));
            ++at;
            continue;
        }
        const char* const next = g_utf8_next_char(at);
        if (IsHarmless(c) || (c < 0x80U && c != 0 && std::strchr(kept, static_cast<int>(c)) != nullptr)) {
            shown.append(at, next);
        } else {
            shown += EscapeCharacter(c);
        }
        at = next;
    }
    return shown;
}

std::vector<std::string> Characters(const std::string& text) {
    std::vector<std::string> characters;
    const char* next = nullptr;
    for (const char* at = text.c_str(); *at != '\0'; at = next) {
        next = g_utf8_next_char(at);
        characters.emplace_back(at, next);
    }
    return characters;
}

}  // namespace

std::string Escape(const std::string& text) {
    return EscapeBut(text, "");
}

std::string EscapeLines(const std::string& text) {
    return EscapeBut(text, "\n\t");
}

std::string OneLine(std::string lines) {
    const auto end = lines.find('\n');
    return end == std::string::npos ? lines : lines.replace(end, 1, ". ");
}

std::size_t DisplayWidth(const std::string& text) {
    std::size_t width = 0;
    for (const char* at = text.c_str(); *at != '\0'; at = g_utf8_next_char(at)) {
        const gunichar c = g_utf8_get_char(at);
        width += g_unichar_iszerowidth(c) != FALSE ? 0U : g_unichar_iswide(c) != FALSE ? 2U : 1U;
    }
    return width;
}

std::string Pad(const std::string& text, std::size_t width) {
    const std::size_t used = DisplayWidth(text);
    return used < width ? text + std::string(width - used, ' ') : text;
}

std::string Wrap(const std::string& paragraph, std::size_t indent, std::size_t width) {
    const std::string newLine = "\n" + std::string(indent, ' ');
    std::istringstream words(paragraph);
    std::string text;
    std::size_t column = indent;
    for (std::string word; words >> word;) {
        if (column > indent) {
            const bool fits = column + 1 + DisplayWidth(word) <= width;
            text += fits ? " " : newLine;
            column = fits ? column + 1 : indent;
        }
        for (const std::string& character : Characters(word)) {
            const std::size_t taken = DisplayWidth(character);
            if (column > indent && column + taken > width) {
                text += newLine;
                column = indent;
            }
            text += character;
            column += taken;
        }
    }
    return text + "\n";
}

std::string Shorten(const std::string& text, std::size_t width) {
    if (DisplayWidth(text) <= width) {
        return text;
    }
    std::string kept;
    std::size_t used = 1;
    for (const std::string& character : Characters(text)) {
        used += DisplayWidth(character);
        if (used > width) {
            break;
        }
        kept += character;
    }
    return kept + "…";
}

std::string CaseFolded(const std::string& text) {
    const std::string valid = Taken(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return Taken(g_utf8_casefold(valid.c_str(), -1));
}

std::string Taken(char* text) {
    std::string taken = text == nullptr ? "" : text;
    g_free(text);
    return taken;
}

std::string Join(const std::vector<std::string>& parts, const std::string& separator) {
    std::string joined;
    for (const std::string& part : parts) {
        joined += (joined.empty() ? "" : separator) + part;
    }
    return joined;
}

std::string Count(std::uint64_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

bool IsAbbreviated(std::string_view secret) {
    static const Pattern abbreviated(R"(^.{0,16}\.\.\. \(\d+ characters?\)\s*$)");
    return static_cast<bool>(abbreviated.Find(secret));
}

std::string Abbreviate(const std::string& secret) {
    if (IsAbbreviated(secret)) {
        return Escape(secret);
    }
    constexpr std::size_t SHOWN = 4;
    // Of a short one, its first characters would be most of it.
    const std::string start = secret.size() >= 4 * SHOWN ? Escape(secret.substr(0, SHOWN)) : "";
    return start + "... (" + Count(secret.size(), "character") + ")";
}

}  // namespace Cli
