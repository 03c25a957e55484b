/** The commands of infosync-tv. */
#pragma once

#include <vector>

#include "Cli/Tool.h"

namespace Commands {

/** init, connect, set */
std::vector<Cli::Command> SetUpCommands();

/** sign-in, sign-out, bond, unbond, factory-reset */
std::vector<Cli::Command> StateCommands();

Cli::Command RunCommand();

/** devices, records, status */
std::vector<Cli::Command> ShowCommands();

/** export, import */
std::vector<Cli::Command> BundleCommands();

}  // namespace Commands
