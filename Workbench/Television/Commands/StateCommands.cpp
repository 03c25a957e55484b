#include <algorithm>
#include <iostream>

#include "Cli/Text.h"
#include "Files.h"
#include "Television/Cloud.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "TvFolder.h"
#include "Util/SettingsUtil.h"

namespace Commands {

namespace {

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
    const auto others = std::remove_if(list.begin(), list.end(), [&address](const std::string& item) {
        return Cli::CaseFolded(item) == Cli::CaseFolded(address);
    });
    const bool wasBonded = others != list.end();
    list.erase(others, list.end());
    if (bonded) {
        list.push_back(address);
    }
    ini.Set(TvKeys::BONDED, Cli::Join(list, ";"));
    ini.Save();
    std::cout << address
              << (wasBonded == bonded ? (bonded ? " was bonded already" : " was not bonded")
                                      : (bonded ? " is bonded now" : " is no longer bonded"))
              << "\n";
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

void AddState(Cli::Tool& tool) {
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
