#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/State/Users.h"

namespace LocalCloud {

namespace {

void Init(bool json) {
    const Folder folder;
    folder.Prepare();
    if (json) {
        Json::Value value;
        value["dir"] = folder.Path();
        value["ca_file"] = folder.CaFile();
        std::cout << Cli::JsonText(value);
        return;
    }
    std::cout << "The cloud is in " << Cli::Escape(folder.Path()) << "\n"
              << "Its certificate authority, for ca_file in a television's tv.ini: "
              << Cli::Escape(folder.CaFile()) << "\n";
}

void AddUser(const std::string& login) {
    const Folder folder = Folder::Ready();
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    const bool added = Users(folder).Add(login);
    std::cout << (added ? "added " : "there already: ") << Cli::Escape(login) << ", devices in "
              << Cli::Escape(folder.RecordsFile(login)) << "\n";
}

void ListUsers(bool json) {
    const Folder folder = Folder::Ready();
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
    const Folder folder = Folder::Ready();
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    Users(folder).Remove(login);
    std::cout << "removed " << Cli::Escape(login) << "\n";
}

}  // namespace

void AddFolderCommands(Cli::Tool& tool) {
    tool.AddReading("init", "Make the cloud's folder: users, certificates, settings",
                    "What is there stays.\n\nExample:\n  infosync-cloud init --dir /tmp/cloud", &Init);

    const auto login = std::make_shared<std::string>();
    tool.Add("user add", "Add a user, so that the cloud accepts the sign-in",
             "Example:\n  infosync-cloud user add ann@example.com", [login] { AddUser(*login); })
        .Operand("LOGIN", *login)
        .Required();

    tool.AddReading("user list", "Show the users", "Example:\n  infosync-cloud user list --json", &ListUsers);

    tool.Add("user remove", "Remove a user with all devices",
             "The user's tokens are refused from then on.\n\nExample:\n  infosync-cloud user remove "
             "ann@example.com",
             [login] { RemoveUser(*login); })
        .Operand("LOGIN", *login)
        .Required();
}

}  // namespace LocalCloud
