/** Text from elsewhere, made fit to be shown. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Cli {

/** With everything escaped that could move the cursor, reorder the line or pass for a line of its own:
 * control characters, line separators, bidirectional controls and bytes that are not UTF-8. */
std::string Escape(const std::string& text);

/** The same for a text that may have lines and tabs of its own. */
std::string EscapeLines(const std::string& text);

// Of an escaped text, in columns of a terminal: 2 for a wide character, none for a combining one.

std::size_t DisplayWidth(const std::string& text);
/** Filled up with blanks. */
std::string Pad(const std::string& text, std::size_t width);
/** Cut, with an ellipsis where something is left out. */
std::string Shorten(const std::string& text, std::size_t width);
/** In lines, all but the first behind the indent; with a newline at its end. A word that is longer than a
 * line is broken, too. */
std::string Wrap(const std::string& paragraph, std::size_t indent, std::size_t width);

/** Columns that help takes, whatever it is shown on. */
inline constexpr std::size_t HELP_WIDTH = 80;

inline bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/** For comparisons that tell no upper case from lower, of any bytes. */
std::string CaseFolded(const std::string& text);

/** The text that GLib made, which is freed here; empty for null. */
std::string Taken(char* text);

std::string Join(const std::vector<std::string>& parts, const std::string& separator);

/** "1 device", "2 devices". */
std::string Count(std::uint64_t number, const std::string& noun);

// What the values of options and operands may be: what is wrong, or nothing.

std::string IsNotEmpty(const std::string& value);
/** Six pairs of hexadecimal digits. */
std::string IsBluetoothAddress(const std::string& value);
std::string IsUtf8(const std::string& value);

/** "; nearest: status, stop" with the words that a misspelt one may stand for; empty when none is near. */
std::string Nearest(const std::string& misspelt, const std::vector<std::string>& words);

}  // namespace Cli
