#include "Cli/Tool.h"
#include "Television/Commands/Commands.h"

int main(int argc, char** argv) {
    Cli::Tool tool("infosync-tv", "A simulated television to run the Bluetooth synchronisation service on",
                   R"(Examples:
  infosync-tv init                     # a television of the local cloud
  infosync-tv sign-in ann@example.com  # a user whom that cloud knows
  infosync-tv run                      # one synchronisation, with its log
  infosync-tv devices                  # what came out
  infosync-tv why                      # why a device is listed, or is not

Exit status: 0 fine, 1 the operation failed, 2 wrong usage.

Environment: INFOSYNC_TV_DIR (folder), INFOSYNC_SERVICE (the service's
executable), INFOSYNC_CLOUD_DIR (the local cloud's folder), NO_COLOR (no
colours).

More on a command: infosync-tv COMMAND --help)");
    tool.AddFolder(
        "INFOSYNC_TV_DIR", "infosync-tv",
        "the television's folder (default: $INFOSYNC_TV_DIR, else infosync-tv in the state folder)");
    for (const auto add : {&Commands::AddChanges, &Commands::AddRuns, &Commands::AddShow,
                           &Commands::AddExplain, &Commands::AddReport}) {
        add(tool);
    }
    return tool.Run(argc, argv);
}
