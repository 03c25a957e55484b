/** Looking around in the commands that CLI11 holds. */
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

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

}  // namespace Cli
