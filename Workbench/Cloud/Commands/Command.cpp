#include "Cloud/Commands/Command.h"

namespace LocalCloud {

const std::vector<Command>& AllCommands() {
    static const std::vector<Command> commands = [] {
        std::vector<Command> all;
        for (auto&& group :
             {FolderCommands(), ServerCommands(), UserCommands(), DeviceCommands(), FaultCommands()}) {
            all.insert(all.end(), group.begin(), group.end());
        }
        all.push_back(CompletionCommand());
        return all;
    }();
    return commands;
}

}  // namespace LocalCloud
