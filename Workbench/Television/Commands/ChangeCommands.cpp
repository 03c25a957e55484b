#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "TvFolder.h"
#include "Util/SettingsUtil.h"

namespace Commands {

namespace {

constexpr char TEMPLATE[] =
    R"(# A simulated television. It is read anew at each call of the platform, so changes take effect at once:
# with an editor, or with infosync-tv set GROUP.KEY VALUE. All keys: infosync-tv set --help
[system]
# What the set says of itself. Without a key, the platform has no such value.
model=SIM-TV-55
software_version=1001.2
tizen_version=8.0
tizen_id=
[sso]
# 1 while a user is signed in: infosync-tv sign-in USER
state=0
[bluetooth]
# Devices that are paired with the set: infosync-tv bond ADDRESS
bonded=
[http]
# The folder of the local cloud that the service's requests go to, on whatever port it listens.
[log]
# V, D, I, W, E or F. At I and below, the log holds tokens whole.
level=W
)";

void Change(const Television::IniChanges& changes) {
    Television::ChangeIni([&changes](const TvIni& /*ini*/) { return changes; });
}

struct InitArguments {
    std::string cloud;
    bool force = false;
};

void Init(const InitArguments& arguments) {
    // The default one only where there is one.
    const std::string usual = Cli::StateFolder("INFOSYNC_CLOUD_DIR", "infosync-cloud");
    const std::string& named = arguments.cloud.empty() ? usual : arguments.cloud;
    const bool isMeant = !arguments.cloud.empty() || std::filesystem::exists(usual);
    const std::string cloud = isMeant ? Television::RequireCloud(named) : "";
    const bool isThere = !arguments.force && std::filesystem::exists(TvFolder::IniPath());
    if (isThere) {
        Television::RequireSound();
    }
    for (const char* part : {"keys", "settings"}) {
        Files::MakeFolder(TvFolder::Resolve(part));
    }
    if (!isThere) {
        Files::Replace(TvFolder::IniPath(), TEMPLATE);
        // As the set's maker gives it: another one for each television.
        std::string id = Cli::Taken(g_uuid_string_random());
        id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
        Change({{&TvKeys::TIZEN_ID, id}, {&TvKeys::CLOUD, isMeant ? std::optional(cloud) : std::nullopt}});
    }
    const Television::Cloud now = Television::Cloud::Find();
    std::cout << (isThere ? "a television is there already and stays as it is: " : "made a television in ")
              << Cli::Escape(TvFolder::Path()) << "\nIts cloud: " << Cli::Escape(now.words) << "\n";
    if (isMeant && cloud != now.folder) {
        std::cout << "To give it another one: infosync-tv set http.cloud '" << Cli::Escape(cloud) << "'\n";
    }
    std::cout << (isThere ? "" : "Next: infosync-tv sign-in USER, then infosync-tv run\n");
}

struct SetArguments {
    std::string key;
    std::optional<std::string> value;
    bool unset = false;
};

std::vector<std::string> KeyNames() {
    std::vector<std::string> names;
    names.reserve(std::size(TvKeys::ALL));
    for (const TvKey* key : TvKeys::ALL) {
        names.push_back(key->FullName());
    }
    return names;
}

/** Null for a word that is none. */
const TvKey* FindKey(const std::string& word) {
    const auto dot = std::min(word.find('.'), word.size() - 1);
    return TvKeys::Find(word.substr(0, dot), word.substr(dot + 1));
}

std::string IsKey(const std::string& word) {
    return FindKey(word) != nullptr ? ""
                                    : "\"" + word + "\" is no key of tv.ini" + Cli::Nearest(word, KeyNames());
}

void Set(const SetArguments& arguments) {
    if (!arguments.unset && !arguments.value) {
        throw Cli::UsageError("VALUE is missing");
    }
    Change({{FindKey(arguments.key), arguments.value}});
    std::cout << arguments.key
              << (arguments.unset ? " is no longer set" : " is now " + Cli::Escape(*arguments.value)) << "\n";
    Television::WarnOfIni();
}

/** USER or ADDRESS. */
struct WordArgument {
    std::string word;
};

/** Whether the user can sign in to the cloud; also where that cannot be told. */
bool IsKnown(const Television::Cloud& cloud, const std::string& user) {
    std::error_code error;
    const std::filesystem::directory_iterator users(cloud.folder + "/users", error);
    return cloud.folder.empty() || error || std::any_of(begin(users), end(users), [&user](const auto& file) {
               return Cli::Taken(g_uri_unescape_string(file.path().stem().c_str(), nullptr)) == user;
           });
}

void SignIn(const WordArgument& argument) {
    Change({{&TvKeys::SSO_STATE, "1"}, {&TvKeys::LOGIN_ID, argument.word}});
    const std::string user = Cli::Escape(argument.word);
    std::cout << "signed in as " << user << "\n";
    const Television::Cloud cloud = Television::Cloud::Find();
    if (!IsKnown(cloud, argument.word)) {
        const std::string folder = Cli::Escape(cloud.folder);
        std::cout << "The local cloud in " << folder << " does not know " << user
                  << ": infosync-cloud user add " << user << " --dir '" << folder << "'\n";
    }
}

void SignOut() {
    Change({{&TvKeys::SSO_STATE, "0"}, {&TvKeys::LOGIN_ID, std::nullopt}});
    std::cout << "signed out; what is stored for the user stays\n";
}

void ChangeBond(const std::string& address, bool bonded) {
    Television::ChangeIni([&](const TvIni& ini) {
        std::vector<std::string> list = ini.List(TvKeys::BONDED);
        const auto isIt = [&address](const std::string& item) {
            return Cli::CaseFolded(item) == Cli::CaseFolded(address);
        };
        list.erase(std::remove_if(list.begin(), list.end(), isIt), list.end());
        if (bonded) {
            list.push_back(address);
        }
        return Television::IniChanges{{&TvKeys::BONDED, Cli::Join(list, ";")}};
    });
    std::cout << address << (bonded ? " is bonded" : " is not bonded") << "\n";
    if (TvFolder::ReadIni()->Text(TvKeys::BT_SOURCE) == "bluez") {
        std::cout << "This television asks BlueZ, not this list: see set bluetooth.source\n";
    }
}

void FactoryReset() {
    Television::Require();
    Files::Replace(TvFolder::SettingPath(InfoSyncUtil::KEY_FACTORY_RESET_FLAG).value(), "1");
    std::cout << "the next run wipes what is stored, then starts afresh\n";
}

}  // namespace

void AddChanges(Cli::Tool& tool) {
    tool.Add<InitArguments>(
        "init", "Make a television in the folder",
        R"(Writes tv.ini, with a Tizen ID of its own and the folder of the local cloud that
it belongs to. A television that is there stays as it is.

Example:
  infosync-tv --dir /tmp/tv init --cloud /tmp/cloud)",
        [](Cli::Command& command, InitArguments& arguments) {
            command.Option("--cloud", "DIR", arguments.cloud,
                           "the local cloud's folder (default: $INFOSYNC_CLOUD_DIR or infosync-cloud's own)");
            command.Flag("--force", arguments.force, "write tv.ini anew; what the service stored stays");
        },
        &Init);
    tool.Add<SetArguments>(
        "set", "Set a value of tv.ini",
        "Takes effect at once, also while the service runs. The items of a list are\n"
        "separated by ;.\n\n" +
            Cli::Wrap("Keys: " + Cli::Join(KeyNames(), ", "), 0, Cli::HELP_WIDTH) + R"(
Examples:
  infosync-tv set log.level D
  infosync-tv set bluetooth.known 'AA:BB:CC:00:11:22;AA:BB:CC:00:11:33'
  infosync-tv set sso.result -- -1
  infosync-tv set system.tizen_id --unset)",
        [](Cli::Command& command, SetArguments& arguments) {
            command.Operand("GROUP.KEY", arguments.key).Required().Must(&IsKey);
            const Cli::Parameter value = command.Operand("VALUE", arguments.value);
            command.Flag("--unset", arguments.unset, "remove the key instead").Excludes(value);
        },
        &Set);
    tool.Add<WordArgument>(
        "sign-in", "Sign a user in on the television",
        R"(USER is the login id. A user who was signed in before is signed out; what is
stored for each stays.)",
        [](Cli::Command& command, WordArgument& argument) {
            command.Operand("USER", argument.word).Required().Must(&Cli::IsNotEmpty).Must(&Cli::IsUtf8);
        },
        &SignIn);
    tool.Add("sign-out", "Sign the user out", "", &SignOut);
    const auto declare = +[](Cli::Command& command, WordArgument& argument) {
        command.Operand("ADDRESS", argument.word).Required().Must(&Cli::IsBluetoothAddress);
    };
    tool.Add<WordArgument>("bond", "Pair a Bluetooth device with the television",
                           "A device that is paired is not taken into the device list.", declare,
                           [](const WordArgument& argument) { ChangeBond(argument.word, true); });
    tool.Add<WordArgument>("unbond", "Undo the pairing of a Bluetooth device", "", declare,
                           [](const WordArgument& argument) { ChangeBond(argument.word, false); });
    tool.Add("factory-reset", "Ask for a wipe at the next run",
             R"(Sets the flag that the service looks at when it starts: it then removes all that
it stored, and empties the device list.)",
             &FactoryReset);
}

}  // namespace Commands
