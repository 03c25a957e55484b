/** What the values of options and operands may be: each check says what is wrong, and nothing where nothing
 * is. */
#pragma once

#include <string>
#include <vector>

namespace Cli {

std::string IsNotEmpty(const std::string& value);

/** Six pairs of hexadecimal digits. */
std::string IsBluetoothAddress(const std::string& value);

std::string IsUtf8(const std::string& value);

/** "; nearest: status, stop" with the words that a misspelt one may stand for; empty when none is near. */
std::string Nearest(const std::string& misspelt, const std::vector<std::string>& words);

}  // namespace Cli
