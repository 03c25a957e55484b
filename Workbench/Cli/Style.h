/** What an output stream can show: colour and a number of columns. */
#pragma once

#include <cstddef>
#include <string>

namespace Cli {

enum class Colour { PLAIN, BOLD, DIM, RED, GREEN, YELLOW };

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

}  // namespace Cli
