/** Colour, where the output is a terminal and nobody asked to go without (NO_COLOR, TERM=dumb). */
#pragma once

#include <string>

namespace Cli {

enum class Colour { PLAIN, BOLD, DIM, RED, GREEN, YELLOW };

/** What one output stream can show. */
class Style {
public:
    /** fileDescriptor: of the stream that the text goes to. */
    explicit Style(int fileDescriptor);

    std::string operator()(Colour colour, const std::string& text) const;

private:
    bool m_coloured;
};

}  // namespace Cli
