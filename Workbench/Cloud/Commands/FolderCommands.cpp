#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Service/Folder.h"
#include "Cloud/Service/Settings.h"
#include "Cloud/Util/Errors.h"
#include "Files.h"

namespace LocalCloud {

namespace {

// Far enough for any purpose, and short of where milliseconds since the epoch end.
constexpr std::int64_t LONGEST_LIFETIME = 1'000'000'000'000;

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
    std::cout << "The cloud is in " << folder.Path() << "\n"
              << "Its certificate authority, for ca_file in a television's tv.ini: " << folder.CaFile()
              << "\n";
}

void ShowLifetimes(bool json) {
    const Folder folder = Folder::Ready();
    const Settings settings(folder.SettingsFile());
    Json::Value value;
    Cli::Table table({"NAME", "SECONDS"});
    for (const auto& name : Settings::LifetimeNames()) {
        const std::int64_t seconds = settings.Lifetime(name);
        value[name] = Json::Int64(seconds);
        table.Add({name, std::to_string(seconds)});
    }
    std::cout << (json ? Cli::JsonText(value) : table.Text(Cli::Style(STDOUT_FILENO)));
}

void SetLifetime(const std::string& name, std::int64_t seconds) {
    const Folder folder = Folder::Ready();
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    Settings(folder.SettingsFile()).SetLifetime(name, seconds);
    std::cout << name << ": " << seconds << " s from the next one on\n";
}

void AddLifetime(Cli::Tool& tool) {
    struct Arguments {
        std::string name;
        std::int64_t seconds = -1;
        bool json = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App& command = tool.Command(
        "lifetime",
        "Show or set how long what the cloud hands out is valid: access, refresh, activation, app",
        R"(What was handed out before keeps its time.

Examples:
  infosync-cloud lifetime
  infosync-cloud lifetime access 60)");
    tool.OneOf(command.add_option("NAME", arguments->name), Settings::LifetimeNames());
    command.add_option("SECONDS", arguments->seconds)->check(CLI::Range(std::int64_t{0}, LONGEST_LIFETIME));
    command.add_flag("--json", arguments->json, JSON_HELP);
    command.callback([arguments] {
        if (arguments->name.empty()) {
            ShowLifetimes(arguments->json);
        } else if (arguments->seconds < 0) {
            throw UsageError("how many seconds? For example: infosync-cloud lifetime " + arguments->name +
                             " 60");
        } else {
            SetLifetime(arguments->name, arguments->seconds);
        }
    });
}

}  // namespace

void AddFolderCommands(Cli::Tool& tool) {
    AddJsonCommand(tool, "init", "Make the cloud's folder: users, certificates, settings",
                   "What is there stays.\n\nExample:\n  infosync-cloud init --dir /tmp/cloud", &Init);
    AddLifetime(tool);
}

}  // namespace LocalCloud
