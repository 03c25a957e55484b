#include "LogText.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

namespace LogText {

namespace {

/**
 * Gives every plain "%s" a precision: without one the whole text is scanned for its end, and texts of many
 * megabytes are logged. One byte above the longest message, so that a cut still shows in the length.
 */
std::string Bounded(const char* format) {
    static const std::string precision = "." + std::to_string(LONGEST_MESSAGE + 1);
    std::string bounded;
    bool inConversion = false;
    for (; *format != '\0'; ++format) {
        if (!inConversion) {
            inConversion = *format == '%';
        } else if (std::strchr("-+ #0'I$123456789*", *format) == nullptr) {
            inConversion = false;
            if (*format == 's') {
                bounded += precision;
            }
        }
        bounded += *format;
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
    const GUnicodeType type = g_unichar_type(character);
    return character != '\t' && (type == G_UNICODE_CONTROL || type == G_UNICODE_LINE_SEPARATOR ||
                                 type == G_UNICODE_PARAGRAPH_SEPARATOR);
}

std::string Escape(char kind, gunichar value, int digits) {
    constexpr std::string_view HEX_DIGITS = "0123456789abcdef";
    std::string escape = {'\\', kind};
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        escape += HEX_DIGITS[(value >> static_cast<unsigned>(shift)) & 0xFU];
    }
    return escape;
}

/** Appends the character that the text starts with. @return its length in bytes */
std::size_t AppendSpecial(std::string& line, std::string_view text) {
    const auto byte = static_cast<unsigned char>(text.front());
    const gunichar character =
        byte < 0x80 ? byte : g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
    if (g_unichar_validate(character) == FALSE) {
        line += Escape('x', byte, 2);
        return 1;
    }
    const auto length = static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
    if (IsShownEscaped(character)) {
        line += byte < 0x80 ? Escape('x', byte, 2) : Escape('u', character, 4);
    } else {
        line += text.substr(0, length);
    }
    return length;
}

void AppendEscaped(std::string& line, std::string_view text) {
    const auto isPlain = [](char byte) { return byte >= ' ' && byte <= '~'; };
    while (!text.empty()) {
        const auto special = std::find_if_not(text.begin(), text.end(), isPlain);
        const auto plain = static_cast<std::size_t>(special - text.begin());
        line += text.substr(0, plain);
        text.remove_prefix(plain);
        if (!text.empty()) {
            text.remove_prefix(AppendSpecial(line, text));
        }
    }
}

/** The start of the message that says where it comes from; empty for a message without one. */
std::string_view Location(const char* format, std::string_view message) {
    constexpr std::string_view LOCATION_FORMAT = "%s: %s(%d) > ";
    constexpr std::string_view END = ") > ";
    if (std::string_view(format).substr(0, LOCATION_FORMAT.size()) != LOCATION_FORMAT) {
        return {};
    }
    const auto end = message.find(END);
    return message.substr(0, end == std::string_view::npos ? 0 : end + END.size());
}

/** A process's or thread's number in its column of five. */
std::string Number(pid_t id) {
    const std::string digits = std::to_string(id);
    return std::string(5 - std::min(digits.size(), std::size_t{5}), ' ') + digits;
}

}  // namespace

std::string Now() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local = {};
    localtime_r(&now.tv_sec, &local);
    const std::string thousandths = std::to_string(1000 + now.tv_nsec / 1'000'000).substr(1);
    std::array<char, 40> text;
    text[std::strftime(text.data(), text.size(), ("%m-%d %H:%M:%S." + thousandths + "%z").c_str(), &local)] =
        '\0';
    return text.data();
}

std::string Head(std::string_view form, char priority, const char* tag) {
    static const std::string process = Number(getpid());
    std::string text = {priority, '/'};
    text += tag;
    text.resize(std::max(text.size(), std::size_t{10}), ' ');
    if (form == "threadtime") {
        return Now() + " " + text + "(P" + process + ", T" + Number(gettid()) + "): ";
    }
    text += "(" + process + "): ";
    return form == "time" ? Now() + " " + text : text;
}

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
    const std::string message = Message(format, values);
    const std::string_view location = Location(format, message);
    std::string start = head;
    AppendEscaped(start, location);
    return Split(start, std::string_view(message).substr(location.size()));
}

}  // namespace LogText
