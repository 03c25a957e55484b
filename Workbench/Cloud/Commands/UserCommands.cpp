#include <iostream>

#include "Cli/FileLock.h"
#include "Cloud/Commands/Command.h"
#include "Cloud/Service/Users.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Terminal.h"

namespace LocalCloud {

namespace {

void AddUser(CommandLine& line) {
    const auto words = line.Parse();
    const Folder folder = line.CloudFolder();
    folder.RequireReady();
    const Cli::FileLock oneAtATime(folder.StateFile("edit.lock"), Cli::FileLock::Wait::YES);
    const bool added = Users(folder).Add(words[0]);
    std::cout << (added ? "added " : "there already: ") << words[0] << ", devices in "
              << folder.RecordsFile(words[0]) << "\n";
}

void ListUsers(CommandLine& line) {
    bool json = false;
    line.Flag("json", "print JSON", json);
    line.Parse();
    const Folder folder = line.CloudFolder();
    folder.RequireReady();
    Json::Value value = Json::arrayValue;
    std::vector<std::vector<std::string>> rows;
    for (const auto& login : Users(folder).List()) {
        Json::Value entry;
        entry["login"] = login;
        entry["file"] = folder.RecordsFile(login);
        value.append(entry);
        rows.push_back({login, Terminal::Printable(folder.RecordsFile(login))});
    }
    if (json) {
        std::cout << ReadableJson(value);
    } else {
        Terminal::PrintTable({"USER", "FILE"}, rows);
    }
}

void RemoveUser(CommandLine& line) {
    const auto words = line.Parse();
    const Folder folder = line.CloudFolder();
    folder.RequireReady();
    const Cli::FileLock oneAtATime(folder.StateFile("edit.lock"), Cli::FileLock::Wait::YES);
    Users(folder).Remove(words[0]);
    std::cout << "removed " << words[0] << "\n";
}

}  // namespace

std::vector<Command> UserCommands() {
    return {
        {{"user add", "LOGIN", "Add a user, so that the cloud accepts the sign-in.",
          "Example:\n  infosync-cloud user add ann@example.com"},
         AddUser},
        {{"user list", "", "Show the users.", "Example:\n  infosync-cloud user list --json"}, ListUsers},
        {{"user remove", "LOGIN",
          "Remove a user with all devices; the user's tokens are refused from then on.",
          "Example:\n  infosync-cloud user remove ann@example.com"},
         RemoveUser},
    };
}

}  // namespace LocalCloud
