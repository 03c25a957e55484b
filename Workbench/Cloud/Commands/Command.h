/** All that infosync-cloud can be told to do. */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Cloud/Commands/CommandLine.h"

namespace LocalCloud {

struct Command {
    CommandText text;
    /** @throws CloudError, UsageError */
    std::function<void(CommandLine&)> run;
};

/** In the order in which they are shown. */
const std::vector<Command>& AllCommands();

std::vector<Command> FolderCommands();
std::vector<Command> ServerCommands();
std::vector<Command> UserCommands();
std::vector<Command> DeviceCommands();
std::vector<Command> FaultCommands();
Command CompletionCommand();

}  // namespace LocalCloud
