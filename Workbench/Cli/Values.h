/** What the values of options and operands may be. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace Cli {

CLI::Validator NotEmpty();

/** Six pairs of hexadecimal digits. */
CLI::Validator BluetoothAddress();

CLI::Validator Utf8();

/** One of the words, named with the nearest ones where it is none. */
CLI::Validator OneOf(const std::vector<std::string>& words);

/** "; nearest: status, stop" with the words that a misspelt one may stand for; empty when none is near. */
std::string Nearest(const std::string& misspelt, const std::vector<std::string>& words);

}  // namespace Cli
