#include "Cli/Style.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <limits>

namespace Cli {

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

constexpr std::size_t USUAL_WIDTH = 80;
// On a narrower one, columns and indents leave no room: its own wrapping does better.
constexpr std::size_t NARROWEST_TERMINAL = 40;

/** In the order of Colour. */
constexpr const char* CODES[] = {"", "\033[1m", "\033[2m", "\033[31m", "\033[32m", "\033[33m"};

}  // namespace

Style::Style(int fileDescriptor) : Style(false, std::numeric_limits<int>::max()) {
    if (isatty(fileDescriptor) == 1) {
        m_coloured = Variable("NO_COLOR").empty() && Variable("TERM") != "dumb";
        struct winsize size = {};
        const bool isKnown =
            ioctl(fileDescriptor, TIOCGWINSZ, &size) == 0 && size.ws_col >= NARROWEST_TERMINAL;
        m_width = isKnown ? size.ws_col : USUAL_WIDTH;
    }
}

std::string Style::operator()(Colour colour, const std::string& text) const {
    return m_coloured && colour != Colour::PLAIN ? CODES[static_cast<int>(colour)] + text + "\033[0m" : text;
}

}  // namespace Cli
