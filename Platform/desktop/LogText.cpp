#include "LogText.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace LogText {

namespace {

constexpr char LOCATION_FORMAT[] = "%s: %s(%d) > ";

/**
 * Gives every plain "%s" a precision: without one the whole text is scanned for its end, and texts of many
 * megabytes are logged. One byte above the longest message, so that a cut still shows in the length.
 */
std::string Bounded(const char* format) {
    const std::string precision = "." + std::to_string(LONGEST_MESSAGE + 1);
    std::string bounded;
    while (*format != '\0') {
        const std::size_t text = std::strcspn(format, "%");
        bounded.append(format, text);
        format += text;
        if (*format == '\0') {
            break;
        }
        const std::size_t specification = 1 + std::strspn(format + 1, "-+ #0'I$123456789*");
        bounded.append(format, specification);
        format += specification;
        if (*format == 's') {
            bounded += precision;
        }
        if (*format != '\0') {
            bounded += *format++;
        }
    }
    return bounded;
}

/** Drops the character that the cut at the end of the text went through, if it did. */
void DropCutCharacter(std::string& text) {
    std::size_t start = text.size();
    for (int i = 0; i < 4 && start > 0; ++i) {
        --start;
        if ((static_cast<unsigned char>(text[start]) & 0xC0U) != 0x80U) {
            break;
        }
    }
    constexpr auto INCOMPLETE = static_cast<gunichar>(-2);
    if (g_utf8_get_char_validated(text.data() + start, static_cast<gssize>(text.size() - start)) ==
        INCOMPLETE) {
        text.resize(start);
    }
}

std::string Message(const char* format, std::va_list values) {
    std::array<char, LONGEST_MESSAGE + 1> buffer;
    const int length = std::vsnprintf(buffer.data(), buffer.size(), Bounded(format).c_str(), values);
    if (length < 0) {
        return format;
    }
    std::string message = buffer.data();
    if (static_cast<std::size_t>(length) > LONGEST_MESSAGE) {
        DropCutCharacter(message);
    }
    return message;
}

bool IsShownEscaped(gunichar character) {
    if (character == '\t') {
        return false;
    }
    const GUnicodeType type = g_unichar_type(character);
    return type == G_UNICODE_CONTROL || type == G_UNICODE_LINE_SEPARATOR ||
           type == G_UNICODE_PARAGRAPH_SEPARATOR;
}

void AppendEscaped(std::string& line, std::string_view text) {
    constexpr auto INVALID = static_cast<gunichar>(-1);
    constexpr auto INCOMPLETE = static_cast<gunichar>(-2);
    std::array<char, 16> escape;
    while (!text.empty()) {
        std::size_t length = 1;
        const auto byte = static_cast<unsigned char>(text.front());
        if (byte >= 0x20 && byte < 0x7F) {
            line += text.front();
            text.remove_prefix(1);
            continue;
        }
        const gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
        if (character == INVALID || character == INCOMPLETE || (byte < 0x80 && IsShownEscaped(byte))) {
            std::snprintf(escape.data(), escape.size(), "\\x%02x", byte);
            line += escape.data();
        } else {
            length = static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
            if (IsShownEscaped(character)) {
                std::snprintf(escape.data(), escape.size(), "\\u%04x", character);
                line += escape.data();
            } else {
                line += text.substr(0, length);
            }
        }
        text.remove_prefix(length);
    }
}

/** The start of the message that says where it comes from; empty for a message without one. */
std::string Location(const char* format, std::va_list values) {
    const bool hasLocation = std::strncmp(format, LOCATION_FORMAT, std::strlen(LOCATION_FORMAT)) == 0;
    return hasLocation ? Message(LOCATION_FORMAT, values) : std::string();
}

}  // namespace

std::string Split(const std::string& head, std::string_view message) {
    if (!message.empty() && message.back() == '\n') {
        message.remove_suffix(1);
    }
    std::string lines;
    for (;;) {
        const auto end = message.find('\n');
        lines += head;
        AppendEscaped(lines, message.substr(0, end));
        lines += '\n';
        if (end == std::string_view::npos) {
            return lines;
        }
        message.remove_prefix(end + 1);
    }
}

std::string Lines(const std::string& head, const char* format, std::va_list values) {
    std::va_list again;
    va_copy(again, values);
    const std::string location = Location(format, again);
    va_end(again);
    const std::string message = Message(format, values);

    std::string start = head;
    AppendEscaped(start, location);
    return Split(start, std::string_view(message).substr(std::min(location.size(), message.size())));
}

}  // namespace LogText
