#include "Cli/Display.h"

#include <glib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <string_view>
#include <utility>

#include "Cli/Text.h"

namespace Cli {

namespace {

constexpr std::size_t USUAL_WIDTH = 80;
// On a narrower one, columns and indents leave no room: its own wrapping does better.
constexpr std::size_t NARROWEST_TERMINAL = 40;

constexpr std::string_view GAP = "  ";
// A column is not made narrower than this, so that it still says something.
constexpr std::size_t NARROWEST = 10;

/** Makes the widest columns narrower until the line is no longer than it may be. */
void Fit(std::vector<std::size_t>& widths, std::size_t lineWidth) {
    auto total = std::accumulate(widths.begin(), widths.end(), (widths.size() - 1) * GAP.size());
    for (; total > lineWidth; --total) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= NARROWEST) {
            return;
        }
        --*widest;
    }
}

}  // namespace

Style::Style(int fileDescriptor) : Style(false, std::numeric_limits<int>::max()) {
    if (isatty(fileDescriptor) == 1) {
        const char* plain = g_getenv("NO_COLOR");
        m_coloured = (plain == nullptr || *plain == '\0') && g_strcmp0(g_getenv("TERM"), "dumb") != 0;
        struct winsize size = {};
        const bool isKnown =
            ioctl(fileDescriptor, TIOCGWINSZ, &size) == 0 && size.ws_col >= NARROWEST_TERMINAL;
        m_width = isKnown ? size.ws_col : USUAL_WIDTH;
    }
}

std::string Style::operator()(Colour colour, const std::string& text) const {
    const std::string code = std::to_string(static_cast<int>(colour));
    return m_coloured && colour != Colour::PLAIN ? "\033[" + code + "m" + text + "\033[0m" : text;
}

Table::Table(std::vector<std::string> header) {
    m_rows.push_back(std::move(header));
}

void Table::Add(const std::vector<std::string>& cells) {
    std::vector<std::string> row;
    std::transform(cells.begin(), cells.end(), std::back_inserter(row), Escape);
    row.resize(m_rows.front().size());
    m_rows.push_back(std::move(row));
}

std::string Table::Lines(const Style& style, const std::string& indent) const {
    std::vector<std::size_t> widths(m_rows.front().size(), 0);
    for (const auto& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], DisplayWidth(row[i]));
        }
    }
    Fit(widths, style.Width() - indent.size());
    std::string text;
    for (const auto& row : m_rows) {
        std::string line = indent;
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            line.append(Pad(Shorten(row[i], widths[i]), widths[i])).append(GAP);
        }
        line += Wrap(row.back(), std::min(DisplayWidth(line), style.Width() - NARROWEST), style.Width());
        line.erase(line.find_last_not_of(" \n") + 1);
        text += style(&row == &m_rows.front() ? Colour::BOLD : Colour::PLAIN, line) + "\n";
    }
    return text;
}

}  // namespace Cli
