#include <algorithm>
#include <iostream>

#include "Cli/FileLock.h"
#include "Cloud/Commands/Command.h"
#include "Cloud/Service/CloudService.h"
#include "Cloud/Service/Settings.h"
#include "Cloud/Service/Users.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Terminal.h"

namespace LocalCloud {

namespace {

// Far enough for any purpose, and short of where milliseconds since the epoch end.
constexpr std::int64_t LONGEST_LIFETIME = 1'000'000'000'000;

void Init(CommandLine& line) {
    bool json = false;
    line.Flag("json", "print JSON", json);
    line.Parse();
    const Folder folder = line.CloudFolder();
    folder.Prepare();
    if (json) {
        Json::Value value;
        value["dir"] = folder.Path();
        value["ca_file"] = folder.CaFile();
        std::cout << ReadableJson(value);
        return;
    }
    std::cout << "The cloud is in " << folder.Path() << "\n"
              << "Its certificate authority, for ca_file in a television's tv.ini: " << folder.CaFile()
              << "\n";
}

void PrintLifetimes(const Settings& settings, bool json) {
    Json::Value value;
    std::vector<std::vector<std::string>> rows;
    for (const auto& name : Settings::LifetimeNames()) {
        const std::int64_t seconds = settings.Lifetime(name);
        value[name] = Json::Int64(seconds);
        rows.push_back({name, std::to_string(seconds)});
    }
    if (json) {
        std::cout << ReadableJson(value);
    } else {
        Terminal::PrintTable({"NAME", "SECONDS"}, rows);
    }
}

void Lifetime(CommandLine& line) {
    bool json = false;
    line.Flag("json", "print JSON", json);
    const auto words = line.Parse();
    const auto& names = Settings::LifetimeNames();
    if (!words.empty() && std::find(names.begin(), names.end(), words[0]) == names.end()) {
        throw UsageError("there is no lifetime \"" + words[0] +
                         "\"; there are access, refresh, activation and app");
    }
    if (words.size() == 1) {
        throw UsageError("how many seconds? For example: infosync-cloud lifetime " + words[0] + " 60");
    }
    const Folder folder = line.CloudFolder();
    folder.RequireReady();
    const Settings settings(folder.SettingsFile());
    if (words.empty()) {
        PrintLifetimes(settings, json);
        return;
    }
    const std::int64_t seconds = ParseInteger(words[1], "SECONDS", 0, LONGEST_LIFETIME);
    const Cli::FileLock oneAtATime(folder.StateFile("edit.lock"), Cli::FileLock::Wait::YES);
    settings.SetLifetime(words[0], seconds);
    std::cout << words[0] << ": " << seconds << " s from the next one on\n";
}

void ExpireMark(CommandLine& line) {
    const std::string tooOld = std::to_string(static_cast<int>(ResultCode::MarkTooOld));
    const std::string unknown = std::to_string(static_cast<int>(ResultCode::MarkUnknown));
    std::string code = tooOld;
    line.Option("code", "RCODE", "4009100 (too old, the default) or 4000002 (unknown)", code);
    const auto words = line.Parse();
    if (code != tooOld && code != unknown) {
        throw UsageError("--code must be " + tooOld + " or " + unknown);
    }
    const Folder folder = line.CloudFolder();
    folder.RequireReady();
    Users(folder).RequireExists(words[0]);
    ReplaceFile(folder.ExpiredMarkFile(words[0]), code + "\n", PRIVATE_FILE);
    std::cout << "The next download of " << words[0] << " that asks from a mark is refused with " << code
              << "\n";
}

}  // namespace

std::vector<Command> FolderCommands() {
    return {
        {{"init", "", "Make the cloud's folder: users, certificates, settings. What is there stays.",
          "Example:\n  infosync-cloud init --dir /tmp/cloud"},
         Init},
        {{"lifetime", "[NAME] [SECONDS]",
          "Show or set how long what the cloud hands out is valid: access, refresh, activation, app.",
          "What was handed out before keeps its time.\n\n"
          "Examples:\n  infosync-cloud lifetime\n  infosync-cloud lifetime access 60"},
         Lifetime},
        {{"mark expire", "USER", "Refuse the mark that the user's next download asks from, once.",
          "The client is then to forget its records and to download everything.\n\n"
          "Example:\n  infosync-cloud mark expire ann@example.com --code 4000002"},
         ExpireMark},
    };
}

}  // namespace LocalCloud
