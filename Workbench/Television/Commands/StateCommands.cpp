#include <glib.h>
#include <strings.h>

#include <algorithm>
#include <stdexcept>

#include "Cli/Text.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "TvFolder.h"
#include "Util/SettingsUtil.h"

namespace Commands {

namespace {

using Cli::Arguments;
using Cli::Print;

int SignIn(const Arguments& arguments) {
    const std::string user = arguments.Operand(0);
    if (user.empty()) {
        throw Cli::UsageError("USER is empty");
    }
    Television::IniFile ini;
    ini.Set(TvKeys::SSO_STATE, "1");
    ini.Set(TvKeys::LOGIN_ID, user);
    ini.Save();
    Print("signed in as " + Cli::Escape(user) + "\n");
    return Cli::EXIT_FINE;
}

int SignOut(const Arguments& /*arguments*/) {
    Television::IniFile ini;
    ini.Set(TvKeys::SSO_STATE, "0");
    ini.Unset(TvKeys::LOGIN_ID);
    ini.Save();
    Print("signed out; what is stored for the user stays\n");
    return Cli::EXIT_FINE;
}

/** @throws UsageError unless the operand is six pairs of hexadecimal digits */
std::string AddressOperand(const Arguments& arguments) {
    constexpr std::size_t LENGTH = 17;
    std::string address = arguments.Operand(0);
    bool fits = address.size() == LENGTH;
    for (std::size_t i = 0; fits && i < LENGTH; ++i) {
        fits = i % 3 == 2 ? address[i] == ':' : g_ascii_isxdigit(address[i]) != FALSE;
    }
    if (!fits) {
        throw Cli::UsageError("\"" + address + "\" is no Bluetooth address, such as AA:BB:CC:00:11:22");
    }
    return address;
}

/** Takes the address out of the list, in whatever case. @return whether it was there */
bool Remove(std::vector<std::string>& list, const std::string& address) {
    const auto end = std::remove_if(list.begin(), list.end(), [&address](const std::string& item) {
        return strcasecmp(item.c_str(), address.c_str()) == 0;
    });
    const bool wasThere = end != list.end();
    list.erase(end, list.end());
    return wasThere;
}

int ChangeBond(const Arguments& arguments, bool bonded) {
    const std::string address = AddressOperand(arguments);
    Television::IniFile ini;
    std::vector<std::string> list = ini.List(TvKeys::BONDED);
    const bool wasBonded = Remove(list, address);
    if (bonded) {
        list.push_back(address);
    }
    ini.SetList(TvKeys::BONDED, list);
    ini.Save();
    Print(address +
          (wasBonded == bonded ? (bonded ? " was bonded already" : " was not bonded")
                               : (bonded ? " is bonded now" : " is no longer bonded")) +
          "\n");
    if (TvFolder::ReadIni()->Text(TvKeys::BT_SOURCE) == "bluez") {
        Print("This television asks BlueZ, not this list: see set bluetooth.source\n");
    }
    return Cli::EXIT_FINE;
}

int FactoryReset(const Arguments& /*arguments*/) {
    Television::Require();
    TvFolder::WriteFile(TvFolder::SettingPath(InfoSyncUtil::KEY_FACTORY_RESET_FLAG).value(), "1");
    Print("the next run wipes what is stored, then starts afresh\n");
    return Cli::EXIT_FINE;
}

}  // namespace

std::vector<Cli::Command> StateCommands() {
    return {
        {"sign-in",
         {"USER"},
         "Sign a user in on the television",
         "USER is the login id. A user who was signed in before is signed out; what is stored for each "
         "stays.",
         {"infosync-tv sign-in ann@example.com"},
         {},
         {},
         &SignIn},
        {"sign-out", {}, "Sign the user out", "", {}, {}, {}, &SignOut},
        {"bond",
         {"ADDRESS"},
         "Pair a Bluetooth device with the television",
         "A device that is paired is not taken into the device list.",
         {"infosync-tv bond AA:BB:CC:00:11:22"},
         {},
         {},
         [](const Arguments& arguments) { return ChangeBond(arguments, true); }},
        {"unbond",
         {"ADDRESS"},
         "Undo the pairing of a Bluetooth device",
         "",
         {"infosync-tv unbond AA:BB:CC:00:11:22"},
         {},
         {},
         [](const Arguments& arguments) { return ChangeBond(arguments, false); }},
        {"factory-reset",
         {},
         "Ask for a wipe at the next run",
         "Sets the flag that the service looks at when it starts: it then removes all that it stored, and "
         "empties "
         "the\ndevice list.",
         {},
         {},
         {},
         &FactoryReset},
    };
}

}  // namespace Commands
