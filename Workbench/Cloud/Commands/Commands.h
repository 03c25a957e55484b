/** The commands of infosync-cloud. They work on the folder that is named when they run. */
#pragma once

#include <functional>
#include <string>

#include "Cli/Tool.h"

namespace LocalCloud {

/** init, user */
void AddFolderCommands(Cli::Tool& tool);

/** serve, status, stop */
void AddServerCommands(Cli::Tool& tool);

void AddDeviceCommands(Cli::Tool& tool);
void AddFaultCommands(Cli::Tool& tool);
void AddRequestCommands(Cli::Tool& tool);

/** lifetime, expire */
void AddLifetimeCommands(Cli::Tool& tool);

inline constexpr char JSON_HELP[] = "write JSON for scripts";

/** A command that takes nothing but --json. */
void AddJsonCommand(Cli::Tool& tool, const std::string& name, const std::string& summary,
                    const std::string& details, const std::function<void(bool json)>& run);

/** The operand that names a user, with those that there are for completion. */
void AddLogin(Cli::Tool& tool, CLI::App& command, std::string& login, const std::string& name = "USER");

}  // namespace LocalCloud
