#include "Cli/Text.h"

#include <glib.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <sstream>
#include <utility>

#include "Cli/Pattern.h"

namespace Cli {

namespace {

// What GLib says of a bad or a cut sequence, or higher.
constexpr auto INVALID = static_cast<gunichar>(-2);

bool IsHarmless(gunichar c) {
    const bool reorders = c == 0x061CU || (c >= 0x200EU && c <= 0x200FU) || (c >= 0x202AU && c <= 0x202EU) ||
                          (c >= 0x2066U && c <= 0x2069U);
    const bool endsLine = c == 0x2028U || c == 0x2029U;
    const bool isByteOrderMark = c == 0xFEFFU;
    return c >= 0x20U && (c < 0x7FU || c >= 0xA0U) && !reorders && !endsLine && !isByteOrderMark;
}

/** @param c a character, or a byte that is no UTF-8 */
std::string EscapeCode(gunichar c) {
    return c == '\n'   ? "\\n"
           : c == '\r' ? "\\r"
           : c == '\t' ? "\\t"
                       : Taken(g_strdup_printf(c < 0x100U ? "\\x%02x" : "\\u%04x", c));
}

std::string EscapeAll(const std::string& text, bool butLines) {
    std::string shown;
    const char* next = nullptr;
    for (const char *at = text.data(), *end = at + text.size(); at < end; at = next) {
        const gunichar c = *at == '\0' ? 0 : g_utf8_get_char_validated(at, end - at);
        next = c < INVALID ? g_utf8_next_char(at) : at + 1;
        if (c < INVALID && (IsHarmless(c) || (butLines && (c == '\n' || c == '\t')))) {
            shown.append(at, next);
        } else {
            shown += EscapeCode(c < INVALID ? c : static_cast<unsigned char>(*at));
        }
    }
    return shown;
}

struct Extent {
    std::size_t bytes;
    std::size_t columns;
};

/** How much of an escaped text has room in a number of columns, which is at least one character. */
Extent Measure(std::string_view text, std::size_t room) {
    Extent taken = {0, 0};
    while (taken.bytes < text.size()) {
        const char* at = text.data() + taken.bytes;
        const gunichar c = g_utf8_get_char(at);
        const std::size_t width = g_unichar_iszerowidth(c) != FALSE ? 0U
                                  : g_unichar_iswide(c) != FALSE    ? 2U
                                                                    : 1U;
        if (taken.bytes > 0 && taken.columns + width > room) {
            break;
        }
        taken.bytes += static_cast<std::size_t>(g_utf8_next_char(at) - at);
        taken.columns += width;
    }
    return taken;
}

/** How many characters must be put in, taken out or replaced. */
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::string Escape(const std::string& text) {
    return EscapeAll(text, false);
}

std::string EscapeLines(const std::string& text) {
    return EscapeAll(text, true);
}

std::size_t DisplayWidth(const std::string& text) {
    return Measure(text, std::numeric_limits<std::size_t>::max()).columns;
}

std::string Pad(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, DisplayWidth(text)), ' ');
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
        std::string_view rest = word;
        Extent piece = Measure(rest, width - column);
        for (; piece.bytes < rest.size(); piece = Measure(rest, width - indent)) {
            text.append(rest.substr(0, piece.bytes)).append(newLine);
            rest.remove_prefix(piece.bytes);
            column = indent;
        }
        text += rest;
        column += piece.columns;
    }
    return text + "\n";
}

std::string Shorten(const std::string& text, std::size_t width) {
    const bool fits = DisplayWidth(text) <= width;
    return fits ? text : text.substr(0, Measure(text, width - 1).bytes) + "…";
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

std::string IsNotEmpty(const std::string& value) {
    return value.empty() ? "it is empty" : "";
}

std::string IsBluetoothAddress(const std::string& value) {
    static const Pattern address("^(?:[[:xdigit:]]{2}:){5}[[:xdigit:]]{2}\\z");
    const auto fits = address.Find(value);
    return fits ? "" : "\"" + value + "\" is no Bluetooth address, such as AA:BB:CC:00:11:22";
}

std::string IsUtf8(const std::string& value) {
    const bool fits = g_utf8_validate(value.data(), static_cast<gssize>(value.size()), nullptr) != FALSE;
    return fits ? "" : "it is not UTF-8";
}

std::string Nearest(const std::string& misspelt, const std::vector<std::string>& words) {
    constexpr std::size_t MOST_SHOWN = 3;
    std::vector<std::string> near;
    for (const std::string& word : words) {
        const bool isBeginning = !misspelt.empty() && StartsWith(word, misspelt);
        if (near.size() < MOST_SHOWN && (isBeginning || Distance(misspelt, word) <= word.size() / 3)) {
            near.push_back(word);
        }
    }
    return near.empty() ? "" : "; nearest: " + Join(near, ", ");
}

}  // namespace Cli
