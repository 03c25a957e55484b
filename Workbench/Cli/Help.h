/** What --help shows. */
#pragma once

#include <string>

#include "Cli/Style.h"
#include "Cli/Tool.h"

namespace Cli {

std::string ToolHelp(const Tool& tool, const Style& style);

/** The commands whose names begin with a word that several share, such as "device". */
std::string GroupHelp(const Tool& tool, const std::string& word, const Style& style);

std::string CommandHelp(const Tool& tool, const Command& command, const Style& style);

/** "TOOL COMMAND [options] OPERAND..." */
std::string Usage(const Tool& tool, const Command& command);

}  // namespace Cli
