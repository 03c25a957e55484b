/** The commands of infosync-cloud. They work on the folder that is named when they run, and make what is
 * missing in it. */
#pragma once

#include "Cli/Tool.h"

namespace LocalCloud {

/** Of a command that has no other argument. */
struct Shown {
    bool json = false;
};
inline void DeclareShown(Cli::Command& command, Shown& shown) {
    command.Json(shown.json);
}

/** user, device, list, expire */
void AddUserCommands(Cli::Tool& tool);

/** serve, status, stop */
void AddServerCommands(Cli::Tool& tool);

void AddFaultCommands(Cli::Tool& tool);
void AddRequestsCommand(Cli::Tool& tool);

}  // namespace LocalCloud
