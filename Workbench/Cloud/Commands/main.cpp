#include "Cloud/Commands/Commands.h"
#include "Cloud/State/Folder.h"

int main(int argc, char** argv) {
    Cli::Tool tool("infosync-cloud", "The authorisation server and the cloud service, on this machine",
                   R"(Begin with:
  infosync-cloud user add ann@example.com
  infosync-cloud device add ann@example.com 'Kitchen speaker' AA:BB:CC:00:11:22
  infosync-cloud serve

Exit status: 0 fine, 1 the operation failed, 2 wrong usage.

Environment: INFOSYNC_CLOUD_DIR (folder), NO_COLOR (no colours).

More on a command: infosync-cloud COMMAND --help)");
    tool.AddFolder(
        LocalCloud::FOLDER_VARIABLE, LocalCloud::FOLDER_NAME,
        "the cloud's folder (default: $INFOSYNC_CLOUD_DIR, else infosync-cloud in the state folder)");
    LocalCloud::AddServerCommands(tool);
    LocalCloud::AddUserCommands(tool);
    LocalCloud::AddRequestsCommand(tool);
    LocalCloud::AddFaultCommands(tool);
    return tool.Run(argc, argv);
}
