/** Text for people: colours, tables, and nothing that could play tricks on a terminal. */
#pragma once

#include <string>
#include <vector>

namespace LocalCloud::Terminal {

enum class Output { Standard, Error };
enum class Colour { Bold, Green, Red };

/** Only on a terminal, and not where NO_COLOR is set. */
bool HasColours(Output output);

std::string Paint(const std::string& text, Colour colour);

/** Control characters, and bytes that are not UTF-8, shown as escapes. */
std::string Printable(const std::string& text);

/** Columns that are as wide as needed; the header row is bold where there are colours. */
void PrintTable(const std::vector<std::string>& header, const std::vector<std::vector<std::string>>& rows);

}  // namespace LocalCloud::Terminal
