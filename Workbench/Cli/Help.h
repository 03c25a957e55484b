/** The commands that CLI11 holds, and what --help shows of them. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "Cli/Style.h"

namespace Cli {

/** "infosync-cloud device add" */
std::string FullName(const CLI::App& command);

/** The commands of a group, or of the whole tool, one level down. */
std::vector<const CLI::App*> Subcommands(const CLI::App& group);

/** The command that the words so far have led to. */
const CLI::App& Selected(const CLI::App& tool);

/** "USER", "[NAME]", "[WORD...]" */
std::vector<std::string> Operands(const CLI::App& command);

/** The command's own options, then those that it takes from the tool, then --help. */
std::vector<const CLI::Option*> Options(const CLI::App& command);

/** "-h", "--help" */
std::vector<std::string> Names(const CLI::Option& option);

/** What --help shows for a command, a group or the whole tool; at most 80 columns wide but for words that are
 * longer. */
std::string HelpText(const CLI::App& command, const Style& style);

}  // namespace Cli
