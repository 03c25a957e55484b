#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Cloud.h"
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
    std::cout << (isThere ? "a television is there already and stays as it is: " : "made a television in ")
              << Cli::Escape(TvFolder::Path()) << "\n";
    if (!isThere) {
        Television::IniFile ini(TEMPLATE);
        // As the set's maker gives it: another one for each television.
        std::string id = Cli::Taken(g_uuid_string_random());
        id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
        ini.Set(TvKeys::TIZEN_ID, id);
        if (!cloud.empty()) {
            ini.Set(TvKeys::CLOUD, cloud);
        }
        ini.Save();
    }
    const Television::Cloud now = Television::Cloud::Find();
    std::cout << "Its cloud: " << Cli::Escape(now.words) << "\n"
              << (!cloud.empty() && cloud != now.folder
                      ? "To give it another one: infosync-tv set http.cloud '" + Cli::Escape(cloud) + "'\n"
                      : "")
              << (isThere ? "" : "Next: infosync-tv sign-in USER, then infosync-tv run\n");
}

struct SetArguments {
    std::string key;
    std::optional<std::string> value;
    bool unset = false;
};

std::vector<std::string> KeyNames() {
    std::vector<std::string> names;
    std::transform(std::begin(TvKeys::ALL), std::end(TvKeys::ALL), std::back_inserter(names),
                   std::mem_fn(&TvKey::FullName));
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
    const TvKey& key = *FindKey(arguments.key);
    Television::IniFile ini;
    try {
        arguments.unset ? ini.Unset(key) : ini.Set(key, *arguments.value);
    } catch (const std::invalid_argument& error) {
        throw Cli::UsageError(error.what());
    }
    ini.Save();
    std::cout << arguments.key
              << (arguments.unset ? " is no longer set" : " is now " + Cli::Escape(*arguments.value)) << "\n";
    Television::WarnOfIni();
}

struct UserArguments {
    std::string user;
};

void SignIn(const UserArguments& arguments) {
    const std::string user = Cli::Escape(arguments.user);
    Television::IniFile ini;
    ini.Set(TvKeys::SSO_STATE, "1");
    ini.Set(TvKeys::LOGIN_ID, arguments.user);
    ini.Save();
    std::cout << "signed in as " << user << "\n";
    const Television::Cloud cloud = Television::Cloud::Find();
    if (!cloud.Knows(arguments.user)) {
        const std::string folder = Cli::Escape(cloud.folder);
        std::cout << "The local cloud in " << folder << " does not know " << user
                  << ": infosync-cloud user add " << user << " --dir '" << folder << "'\n";
    }
}

void SignOut() {
    Television::IniFile ini;
    ini.Set(TvKeys::SSO_STATE, "0");
    ini.Unset(TvKeys::LOGIN_ID);
    ini.Save();
    std::cout << "signed out; what is stored for the user stays\n";
}

struct DeviceArguments {
    std::string address;
};

void ChangeBond(const std::string& address, bool bonded) {
    Television::IniFile ini;
    const auto television = TvFolder::ReadIni();
    std::vector<std::string> list = television->List(TvKeys::BONDED);
    const auto isIt = [&address](const std::string& item) {
        return Cli::CaseFolded(item) == Cli::CaseFolded(address);
    };
    list.erase(std::remove_if(list.begin(), list.end(), isIt), list.end());
    if (bonded) {
        list.push_back(address);
    }
    ini.Set(TvKeys::BONDED, Cli::Join(list, ";"));
    ini.Save();
    std::cout << address << (bonded ? " is bonded" : " is not bonded") << "\n";
    if (television->Text(TvKeys::BT_SOURCE) == "bluez") {
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
    tool.Add<UserArguments>(
        "sign-in", "Sign a user in on the television",
        R"(USER is the login id. A user who was signed in before is signed out; what is
stored for each stays.)",
        [](Cli::Command& command, UserArguments& arguments) {
            command.Operand("USER", arguments.user).Required().Must(&Cli::IsNotEmpty).Must(&Cli::IsUtf8);
        },
        &SignIn);
    tool.Add("sign-out", "Sign the user out", "", &SignOut);
    const auto declare = +[](Cli::Command& command, DeviceArguments& arguments) {
        command.Operand("ADDRESS", arguments.address).Required().Must(&Cli::IsBluetoothAddress);
    };
    tool.Add<DeviceArguments>("bond", "Pair a Bluetooth device with the television",
                              "A device that is paired is not taken into the device list.", declare,
                              [](const DeviceArguments& arguments) { ChangeBond(arguments.address, true); });
    tool.Add<DeviceArguments>("unbond", "Undo the pairing of a Bluetooth device", "", declare,
                              [](const DeviceArguments& arguments) { ChangeBond(arguments.address, false); });
    tool.Add("factory-reset", "Ask for a wipe at the next run",
             R"(Sets the flag that the service looks at when it starts: it then removes all that
it stored, and empties the device list.)",
             &FactoryReset);
}

}  // namespace Commands
