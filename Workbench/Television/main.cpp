#include <glib.h>

#include <utility>

#include "Cli/Tool.h"
#include "Television/Commands/Commands.h"

namespace {

/** Where the folder is named on the command line, everything below, and the service, finds it the usual way.
 */
Cli::Command InFolder(Cli::Command command) {
    command.run = [run = std::move(command.run)](const Cli::Arguments& arguments) {
        if (arguments.Has("dir")) {
            if (arguments.Value("dir").empty()) {
                throw Cli::UsageError("--dir: DIR is empty");
            }
            g_setenv("INFOSYNC_TV_DIR", arguments.Value("dir").c_str(), TRUE);
        }
        return run(arguments);
    };
    return command;
}

Cli::Tool MakeTool() {
    Cli::Tool tool;
    tool.name = "infosync-tv";
    tool.version = INFOSYNC_VERSION;
    tool.summary = "A simulated television to run the Bluetooth synchronisation service on.";
    tool.options = {{"dir", "DIR",
                     "the television's folder (default: $INFOSYNC_TV_DIR, else infosync-tv in the "
                     "state folder)"}};
    tool.examples = {"infosync-tv init                        # a television, connected to the local cloud",
                     "infosync-tv sign-in ann@example.com     # a user whom that cloud knows",
                     "infosync-tv run                         # one synchronisation, with its log",
                     "infosync-tv devices                     # what came out"};
    tool.details =
        "Exit status: 0 fine, 1 the operation failed, 2 wrong usage.\n"
        "Environment: INFOSYNC_TV_DIR (folder), INFOSYNC_SERVICE (the service's executable),\n"
        "             INFOSYNC_CLOUD_DIR (the local cloud's folder), NO_COLOR (no colours).\n"
        "More on a command: infosync-tv COMMAND --help";
    const auto add = [&tool](std::vector<Cli::Command> commands) {
        for (Cli::Command& command : commands) {
            tool.commands.push_back(InFolder(std::move(command)));
        }
    };
    add(Commands::SetUpCommands());
    add(Commands::StateCommands());
    add({Commands::RunCommand()});
    add(Commands::ShowCommands());
    add(Commands::BundleCommands());
    return tool;
}

}  // namespace

int main(int argc, char** argv) {
    return Cli::Run(MakeTool(), argc, argv);
}
