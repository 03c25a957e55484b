#include <unistd.h>

#include <ctime>
#include <exception>
#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Table.h"
#include "Television/Bonds.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Inquiry.h"

namespace Commands {

namespace {

/** Every record by its id, with its name beside it. */
Cli::Candidates RecordIds() {
    Cli::Candidates candidates;
    for (const Television::UserRecords& user : Television::ReadRecords("")) {
        for (const Json::Value& record : user.records) {
            candidates.push_back({Cli::TextMember(record, "record_id"), Cli::TextMember(record, "name")});
        }
    }
    return candidates;
}

void Why(const std::string& device, bool json) {
    Television::Require();
    const Television::Inquiry inquiry = Television::Inquire(device, std::time(nullptr));
    std::cout << (json ? Cli::JsonText(Television::ToJson(inquiry))
                       : Television::InquiryText(inquiry, Cli::Style(STDOUT_FILENO)));
    if (!device.empty() && inquiry.verdicts.empty()) {
        throw CLI::RuntimeError(Cli::EXIT_FAILED);
    }
}

void AddWhy(Cli::Tool& tool) {
    const auto device = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    CLI::App& command =
        tool.Command("why", "Say why a device is on the device list, or is not",
                     R"(For each record of the user who is signed in, or for the records of any user that the
argument names by address, id or a part of the name. The service's own rules are asked
against what is stored now; nothing is run or changed. The exit status is 1 when no record
is of the device.

Examples:
  infosync-tv why
  infosync-tv why kitchen
  infosync-tv why AA:BB:CC:00:11:22 --json)");
    tool.Offer(command.add_option("ADDRESS|ID|NAME", *device), &RecordIds);
    command.add_flag("--json", *json, "write JSON for scripts");
    command.callback([device, json] { Why(*device, *json); });
}

void Bonds(bool json) {
    Television::Require();
    const std::vector<Television::Bond> bonds = Television::ReadBonds();
    Json::Value all(Json::arrayValue);
    Cli::Table table({"ADDRESS", "PAIRED", "NAME"});
    for (const Television::Bond& bond : bonds) {
        table.Add({bond.address, bond.isPaired ? "yes" : "no", bond.name});
        Json::Value entry;
        entry["address"] = bond.address;
        entry["paired"] = bond.isPaired;
        entry["name"] = bond.name.empty() ? Json::Value() : Json::Value(bond.name);
        all.append(std::move(entry));
    }
    std::cout << (json            ? Cli::JsonText(all)
                  : bonds.empty() ? "no devices are known to the set's Bluetooth adapter\n"
                                  : table.Text(Cli::Style(STDOUT_FILENO)));
}

void AddBonds(Cli::Tool& tool) {
    const auto json = std::make_shared<bool>(false);
    CLI::App& command =
        tool.Command("bonds", "List the Bluetooth devices that the set is paired with or knows",
                     R"(NAME is that of a record of the device, where there is one.

Examples:
  infosync-tv bonds
  infosync-tv bonds --json)");
    command.add_flag("--json", *json, "write JSON for scripts");
    command.callback([json] { Bonds(*json); });
}

}  // namespace

void AddWhyCommands(Cli::Tool& tool) {
    AddWhy(tool);
    AddBonds(tool);
}

}  // namespace Commands
