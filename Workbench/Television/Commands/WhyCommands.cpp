#include <glib.h>
#include <unistd.h>

#include <ctime>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <set>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Stored.h"
#include "Television/Why.h"
#include "TvFolder.h"
#include "Util/BluetoothUtil.h"

namespace Commands {

namespace {

void Why(const std::string& device, bool json) {
    Television::Require();
    const Json::Value inquiry = Television::Inquire(device, std::time(nullptr));
    std::cout << (json ? Cli::JsonText(inquiry)
                       : Television::InquiryText(inquiry, Cli::Style(STDOUT_FILENO)));
    if (!device.empty() && inquiry["devices"].empty()) {
        throw Cli::ToldAlready();
    }
}

std::string UpperCase(const std::string& text) {
    return Cli::Taken(g_ascii_strup(text.c_str(), -1));
}

std::map<std::string, std::string> NamesByAddress() {
    std::map<std::string, std::string> names;
    try {
        for (const Television::UserRecords& user : Television::ReadRecords()) {
            for (const Json::Value& record : user.records) {
                names[UpperCase(Cli::TextMember(record, "address"))] = Cli::TextMember(record, "name");
            }
        }
    } catch (const std::exception&) {
        // Records that cannot be read name nothing.
    }
    names.erase("");
    return names;
}

/** By address; of the devices of BlueZ, those that a record is of. */
Json::Value ReadBonds() {
    const auto ini = TvFolder::ReadIni();
    const bool isFromBluez = ini->Text(TvKeys::BT_SOURCE) == "bluez";
    std::map<std::string, std::string> names = NamesByAddress();
    std::set<std::string> addresses;
    for (const TvKey* key : {&TvKeys::BONDED, &TvKeys::KNOWN}) {
        for (const std::string& address : isFromBluez ? std::vector<std::string>() : ini->List(*key)) {
            addresses.insert(UpperCase(address));
        }
    }
    for (const auto& [address, name] : names) {
        if (isFromBluez) {
            addresses.insert(address);
        }
    }
    BluetoothUtil::Initialize();
    Json::Value bonds(Json::arrayValue);
    for (const std::string& address : addresses) {
        Json::Value bond;
        bond["address"] = address;
        bond["paired"] = BluetoothUtil::IsBondedDevice(address);
        bond["name"] = names[address].empty() ? Json::Value() : Json::Value(names[address]);
        if (bond["paired"].asBool() || !isFromBluez) {
            bonds.append(std::move(bond));
        }
    }
    return bonds;
}

void Bonds(bool json) {
    Television::Require();
    const Json::Value bonds = ReadBonds();
    Cli::Table table({"ADDRESS", "PAIRED", "NAME"});
    for (const Json::Value& bond : bonds) {
        table.Add(
            {bond["address"].asString(), bond["paired"].asBool() ? "yes" : "no", bond["name"].asString()});
    }
    std::cout << (json            ? Cli::JsonText(bonds)
                  : bonds.empty() ? "no devices are known to the set's Bluetooth adapter\n"
                                  : table.Text(Cli::Style(STDOUT_FILENO)));
}

}  // namespace

void AddWhyCommands(Cli::Tool& tool) {
    const auto device = std::make_shared<std::string>();
    Cli::Command why = tool.AddReading(
        "why", "Say why a device is on the device list, or is not",
        R"(For each record of the user who is signed in, or for the records of any user that the
argument names by address, id or a part of the name. The service's own rules are asked
against what is stored now; nothing is run or changed. The exit status is 1 when no record
is of the device.

Examples:
  infosync-tv why
  infosync-tv why kitchen
  infosync-tv why AA:BB:CC:00:11:22 --json)",
        [device](bool json) { Why(*device, json); });
    why.Operand("ADDRESS|ID|NAME", *device);
    tool.AddReading("bonds", "List the Bluetooth devices that the set is paired with or knows",
                    R"(NAME is that of a record of the device, where there is one.

Examples:
  infosync-tv bonds
  infosync-tv bonds --json)",
                    &Bonds);
}

}  // namespace Commands
