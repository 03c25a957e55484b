#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/FileLock.h"
#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Service/Users.h"

namespace LocalCloud {

namespace {

void AddUser(const std::string& login) {
    const Folder folder;
    folder.RequireReady();
    const Cli::FileLock oneAtATime(folder.StateFile("edit.lock"), Cli::FileLock::Wait::YES);
    const bool added = Users(folder).Add(login);
    std::cout << (added ? "added " : "there already: ") << login << ", devices in "
              << folder.RecordsFile(login) << "\n";
}

void ListUsers(bool json) {
    const Folder folder;
    folder.RequireReady();
    Json::Value value = Json::arrayValue;
    Cli::Table table({"USER", "FILE"});
    for (const auto& login : Users(folder).List()) {
        Json::Value entry;
        entry["login"] = login;
        entry["file"] = folder.RecordsFile(login);
        value.append(entry);
        table.Add({login, folder.RecordsFile(login)});
    }
    std::cout << (json ? Cli::JsonText(value) : table.Text(Cli::Style(STDOUT_FILENO)));
}

void RemoveUser(const std::string& login) {
    const Folder folder;
    folder.RequireReady();
    const Cli::FileLock oneAtATime(folder.StateFile("edit.lock"), Cli::FileLock::Wait::YES);
    Users(folder).Remove(login);
    std::cout << "removed " << login << "\n";
}

}  // namespace

Cli::Candidates LoginCandidates() {
    Cli::Candidates candidates;
    for (const auto& login : Users(Folder()).List()) {
        candidates.push_back({login, ""});
    }
    return candidates;
}

void AddUserCommands(Cli::Tool& tool) {
    const auto login = std::make_shared<std::string>();
    CLI::App& add = tool.Command("user add", "Add a user, so that the cloud accepts the sign-in",
                                 "Example:\n  infosync-cloud user add ann@example.com");
    add.add_option("LOGIN", *login)->required();
    add.callback([login] { AddUser(*login); });

    const auto json = std::make_shared<bool>(false);
    CLI::App& list =
        tool.Command("user list", "Show the users", "Example:\n  infosync-cloud user list --json");
    list.add_flag("--json", *json, JSON_HELP);
    list.callback([json] { ListUsers(*json); });

    CLI::App& remove = tool.Command("user remove", "Remove a user with all devices",
                                    "The user's tokens are refused from then on.\n\n"
                                    "Example:\n  infosync-cloud user remove ann@example.com");
    tool.Offer(remove.add_option("LOGIN", *login), &LoginCandidates)->required();
    remove.callback([login] { RemoveUser(*login); });
}

}  // namespace LocalCloud
