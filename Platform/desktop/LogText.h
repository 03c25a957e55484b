/** From a printf-style call to the lines that the log shows. */
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace LogText {

/** The longest message that the platform log takes, in bytes. */
inline constexpr std::size_t LONGEST_MESSAGE = 4076;

/** The local time as "MM-DD HH:MM:SS.mmm+ZZZZ". */
std::string Now();

/**
 * What stands before the message: "E/TAG     ( 1234): " as the log viewer's form brief has it, and the local
 * time before it in its other forms, time and threadtime.
 */
std::string Head(std::string_view form, char priority, const char* tag);

/** The message as lines, each after the head and ending in a newline, with what could pass for a line
 * escaped. */
std::string Split(const std::string& head, std::string_view message);

/**
 * The entry as lines, each with the head ("E/TAG( 1234): "), ending in a newline. The message is cut at the
 * longest length between two characters; control characters and bytes that are no UTF-8 are shown escaped. A
 * message that starts with "FILE: FUNCTION(LINE) > " has that start on each line.
 */
std::string Lines(const std::string& head, const char* format, std::va_list values);

}  // namespace LogText
