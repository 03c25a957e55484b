#include "Cli/Style.h"

#include <unistd.h>

#include <cstdlib>

namespace Cli {

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/** In the order of Colour. */
constexpr const char* CODES[] = {"", "\033[1m", "\033[2m", "\033[31m", "\033[32m", "\033[33m"};

}  // namespace

Style::Style(int fileDescriptor)
    : m_coloured(isatty(fileDescriptor) == 1 && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb") {}

std::string Style::operator()(Colour colour, const std::string& text) const {
    return m_coloured && colour != Colour::PLAIN ? CODES[static_cast<int>(colour)] + text + "\033[0m" : text;
}

}  // namespace Cli
