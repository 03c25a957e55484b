/** The commands of infosync-cloud. They work on the folder that is named when they run. */
#pragma once

#include "Cli/Tool.h"

namespace LocalCloud {

/** init, lifetime */
void AddFolderCommands(Cli::Tool& tool);

/** serve, status, stop */
void AddServerCommands(Cli::Tool& tool);

void AddUserCommands(Cli::Tool& tool);
void AddDeviceCommands(Cli::Tool& tool);
void AddFaultCommands(Cli::Tool& tool);
void AddRequestCommands(Cli::Tool& tool);
void AddExpireCommands(Cli::Tool& tool);

inline constexpr char JSON_HELP[] = "write JSON for scripts";

/** For completion. */
Cli::Candidates LoginCandidates();

}  // namespace LocalCloud
