/** The commands of infosync-cloud. They work on the folder that is named when they run, and make what is
 * missing in it. */
#pragma once

#include "Cli/Tool.h"

namespace LocalCloud {

/** user, device, list, expire */
void AddUserCommands(Cli::Tool& tool);

/** serve, status, stop */
void AddServerCommands(Cli::Tool& tool);

void AddFaultCommands(Cli::Tool& tool);
void AddRequestsCommand(Cli::Tool& tool);

}  // namespace LocalCloud
