#include "Cloud/Util/Terminal.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace LocalCloud::Terminal {

namespace {

constexpr std::size_t GAP = 2;

std::size_t Width(const std::string& text) {
    return static_cast<std::size_t>(g_utf8_strlen(text.data(), static_cast<gssize>(text.size())));
}

std::string Line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += cells[i];
        if (i + 1 < cells.size()) {
            line.append(widths[i] + GAP - Width(cells[i]), ' ');
        }
    }
    return line;
}

std::string Escape(unsigned char byte) {
    constexpr char DIGITS[] = "0123456789abcdef";
    return {'\\', 'x', DIGITS[byte >> 4U], DIGITS[byte & 0xFU]};
}

}  // namespace

bool HasColours(Output output) {
    const char* refused = g_getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') &&
           ::isatty(output == Output::Standard ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

std::string Paint(const std::string& text, Colour colour) {
    const char* code = colour == Colour::Bold ? "1" : colour == Colour::Green ? "32" : "31";
    return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

std::string Printable(const std::string& text) {
    std::string printable;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
        const gunichar character = g_utf8_get_char_validated(at, end - at);
        const bool valid = (character & 0x80000000U) == 0;
        const char* const next = valid ? g_utf8_next_char(at) : at + 1;
        if (valid && g_unichar_iscntrl(character) == FALSE) {
            printable.append(at, next);
        } else {
            for (; at < next; ++at) {
                printable += Escape(static_cast<unsigned char>(*at));
            }
        }
        at = next;
    }
    return printable;
}

void PrintTable(const std::vector<std::string>& header, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; column < header.size(); ++column) {
        std::size_t width = Width(header[column]);
        for (const auto& row : rows) {
            width = std::max(width, Width(row[column]));
        }
        widths.push_back(width);
    }
    const std::string top = Line(header, widths);
    std::cout << (HasColours(Output::Standard) ? Paint(top, Colour::Bold) : top) << "\n";
    for (const auto& row : rows) {
        std::cout << Line(row, widths) << "\n";
    }
}

}  // namespace LocalCloud::Terminal
