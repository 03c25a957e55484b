/** Completion scripts for shells, made from a tool's table. */
#pragma once

#include <string>

#include "Cli/Tool.h"

namespace Cli {

/** @throws UsageError for a shell other than bash and zsh */
std::string CompletionScript(const Tool& tool, const std::string& shell);

}  // namespace Cli
