/** What --help shows. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "Cli/Style.h"

namespace Cli {

/** For a command, a group or the whole tool; at most 80 columns wide but for words that are longer. */
std::string HelpText(const CLI::App& command, const Style& style);

}  // namespace Cli
