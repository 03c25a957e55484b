#include <unistd.h>

#include <ctime>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Status.h"
#include "Television/Stored.h"
#include "Television/Why.h"
#include "TvFolder.h"

namespace Commands {

namespace {

void Devices(bool json) {
    Television::Require();
    const Television::DeviceList list = Television::ReadDeviceList();
    if (!list.problem.empty()) {
        throw std::runtime_error(list.problem);
    }
    if (json) {
        std::cout << Cli::JsonText(Television::ToJson(list));
        return;
    }
    if (list.devices.empty()) {
        std::cout << "no devices\n";
        return;
    }
    Cli::Table table({"NAME", "ADDRESS", "USERS", "DELETED", "ID"});
    for (const auto& [id, device] : list.devices) {
        table.Add({device.name, device.address, Cli::Join(device.users, ", "),
                   device.deletedOnTv ? "yes" : "no", id});
    }
    std::cout << table.Text(Cli::Style(STDOUT_FILENO));
}

std::string RecordsText(const Television::UserRecords& user, const Television::DeviceList& list,
                        const Cli::Style& style) {
    std::string text = style(Cli::Colour::BOLD, Cli::Escape(user.user)) + ": " +
                       Cli::Count(user.records.size(), "record") + ", " +
                       (user.mark > 0 ? "mark " + std::to_string(user.mark) : "no mark") + "\n";
    if (!user.problem.empty()) {
        return text + style(Cli::Colour::RED, "  damaged: ") + user.problem + "\n";
    }
    Cli::Table table({"ID", "NAME", "ADDRESS", "LISTED", "WHY"});
    for (const Json::Value& verdict : Television::Judge(user, list)) {
        table.Add({verdict["id"].asString(), verdict["name"].asString(), verdict["address"].asString(),
                   Television::ListedWord(verdict), verdict["why"].asString()});
    }
    return user.records.empty() ? text : text + table.Text(style, "  ");
}

void ShowRecords(const std::string& onlyUser, bool json) {
    Television::Require();
    const std::vector<Television::UserRecords> all = Television::ReadRecords(onlyUser);
    if (json) {
        std::cout << Cli::JsonText(Television::ToJson(all));
        return;
    }
    if (all.empty()) {
        std::cout << "no records\n";
    }
    const Cli::Style style(STDOUT_FILENO);
    const Television::DeviceList list = Television::ReadDeviceList();
    for (const Television::UserRecords& user : all) {
        std::cout << (&user == &all.front() ? "" : "\n") << RecordsText(user, list, style);
    }
}

void Status(bool json, bool showSecrets) {
    Television::Require();
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const Json::Value status = Television::Status(now, showSecrets);
    std::cout << (json ? Cli::JsonText(status)
                       : Television::StatusText(status, now, Cli::Style(STDOUT_FILENO)));
    if (!status["forbidden"].empty()) {
        throw std::runtime_error("not all of the television is yours to read");
    }
}

}  // namespace

void AddShow(Cli::Tool& tool) {
    tool.AddReading("devices", "List the device list, as the set's components read it",
                    R"(With --json: an array of objects with id, name, address, users and deleted_on_tv.

Examples:
  infosync-tv devices
  infosync-tv devices --json)",
                    &Devices);
    const auto user = std::make_shared<std::string>();
    Cli::Command records = tool.AddReading(
        "records", "List the records that were downloaded, for each user",
        R"(The mark is what the next run asks from. LISTED is yes, no, others (for the record of another
user) or ? (the list cannot be read); `why` says more of WHY.

Examples:
  infosync-tv records
  infosync-tv records ann@example.com --json)",
        [user](bool json) { ShowRecords(*user, json); });
    records.Operand("USER", *user);
    const auto showSecrets = std::make_shared<bool>(false);
    Cli::Command status = tool.AddReading(
        "status", "Show who is signed in, what is stored and how long it holds",
        R"(A document that cannot be read is shown as damaged, with the reason; one that may not be
read as forbidden, and the exit status is then 1. What is wrong in tv.ini is shown with
its line.

Examples:
  infosync-tv status
  infosync-tv status --json)",
        [showSecrets](bool json) { Status(json, *showSecrets); });
    status.Flag("--show-secrets", *showSecrets, "show tokens whole");
}

}  // namespace Commands
