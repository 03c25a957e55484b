#include "Cli/Table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "Cli/Text.h"

namespace Cli {

Table::Table(std::vector<std::string> header) {
    m_rows.push_back(std::move(header));
}

void Table::Add(const std::vector<std::string>& cells) {
    std::vector<std::string> row;
    std::transform(cells.begin(), cells.end(), std::back_inserter(row), Escape);
    row.resize(m_rows.front().size());
    m_rows.push_back(std::move(row));
}

std::string Table::Text(const Style& style, const std::string& indent) const {
    constexpr char GAP[] = "  ";
    std::vector<std::size_t> widths(m_rows.front().size(), 0);
    for (const auto& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], DisplayWidth(row[i]));
        }
    }
    std::string text;
    for (const auto& row : m_rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += i + 1 == row.size() ? row[i] : Pad(row[i], widths[i]) + GAP;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += indent + style(&row == &m_rows.front() ? Colour::BOLD : Colour::PLAIN, line) + "\n";
    }
    return text;
}

}  // namespace Cli
