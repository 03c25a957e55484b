/** What is shown: colour, lines of a width, and tables. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Cli {

/** As terminals number them. */
enum class Colour { PLAIN = 0, BOLD = 1, DIM = 2, RED = 31, GREEN = 32, YELLOW = 33 };

class Style {
public:
    /** Of a terminal its width, and colour where nobody asked to go without (NO_COLOR, TERM=dumb); of
     * anything else no colour and lines of any length, since a program that reads them wants them whole. */
    explicit Style(int fileDescriptor);
    Style(bool coloured, std::size_t width) : m_coloured(coloured), m_width(width) {}

    std::string operator()(Colour colour, const std::string& text) const;

    /** Columns that a line may take. */
    std::size_t Width() const {
        return m_width;
    }

private:
    bool m_coloured;
    std::size_t m_width;
};

class Table {
public:
    explicit Table(std::vector<std::string> header);

    /** One cell for each column; their text is escaped here. */
    void Add(const std::vector<std::string>& cells);

    /** A line for each row. What is longer than the style's width is cut, in the widest columns first; in the
     * last one it goes on in the next line. */
    std::string Lines(const Style& style, const std::string& indent = "") const;

private:
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace Cli
