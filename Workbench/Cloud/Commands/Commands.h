/** The commands of infosync-cloud. They work on the folder that is named when they run. */
#pragma once

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

}  // namespace LocalCloud
