#include "Television/Bonds.h"

#include <glib.h>

#include <exception>
#include <map>
#include <memory>
#include <set>

#include "Cli/Json.h"
#include "Television/Records.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/BluetoothUtil.h"

namespace Television {

namespace {

std::string UpperCase(const std::string& text) {
    const std::unique_ptr<char, decltype(&g_free)> upper(g_ascii_strup(text.c_str(), -1), &g_free);
    return upper.get();
}

std::map<std::string, std::string> NamesByAddress() {
    std::map<std::string, std::string> names;
    try {
        for (const UserRecords& user : ReadRecords("")) {
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

}  // namespace

std::vector<Bond> ReadBonds() {
    const auto ini = TvFolder::ReadIni();
    const bool isFromBluez = ini->Text(TvKeys::BT_SOURCE) == "bluez";
    const std::map<std::string, std::string> names = NamesByAddress();
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
    std::vector<Bond> bonds;
    for (const std::string& address : addresses) {
        const bool isPaired = BluetoothUtil::IsBondedDevice(address);
        if (isPaired || !isFromBluez) {
            const auto name = names.find(address);
            bonds.push_back({address, isPaired, name == names.end() ? "" : name->second});
        }
    }
    return bonds;
}

}  // namespace Television
