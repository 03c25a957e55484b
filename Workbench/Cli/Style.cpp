#include "Cli/Style.h"

#include <unistd.h>

#include <cstdlib>

namespace Cli {

namespace {

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

const char* Code(Colour colour) {
    switch (colour) {
        case Colour::BOLD:
            return "\033[1m";
        case Colour::DIM:
            return "\033[2m";
        case Colour::RED:
            return "\033[31m";
        case Colour::GREEN:
            return "\033[32m";
        case Colour::YELLOW:
            return "\033[33m";
        default:
            return "";
    }
}

}  // namespace

Style::Style(int fileDescriptor)
    : m_coloured(isatty(fileDescriptor) == 1 && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb") {}

std::string Style::operator()(Colour colour, const std::string& text) const {
    return m_coloured && colour != Colour::PLAIN ? Code(colour) + text + "\033[0m" : text;
}

}  // namespace Cli
