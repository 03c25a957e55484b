#include <unistd.h>

#include <ctime>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Television/Commands/Commands.h"
#include "Television/DeviceList.h"
#include "Television/IniFile.h"
#include "Television/Records.h"
#include "Television/Status.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Cli::Arguments;
using Cli::Print;

const Cli::Option JSON{"json", "", "write JSON for scripts"};

int Devices(const Arguments& arguments) {
    Television::Require();
    const Television::DeviceList list = Television::ReadDeviceList();
    if (!list.problem.empty()) {
        throw std::runtime_error("the device list is damaged: " + Cli::Escape(list.problem) +
                                 "\nA factory reset clears it: infosync-tv factory-reset");
    }
    if (arguments.Has(JSON.name)) {
        Print(Cli::JsonText(Television::ToJson(list)));
        return Cli::EXIT_FINE;
    }
    if (list.devices.empty()) {
        Print("no devices\n");
        return Cli::EXIT_FINE;
    }
    Cli::Table table({"NAME", "ADDRESS", "USERS", "DELETED", "ID"});
    for (const auto& [id, device] : list.devices) {
        table.Add({device.name, device.address, Cli::Join(device.users, ", "),
                   device.deletedOnTv ? "yes" : "no", id});
    }
    Print(table.Text(Cli::Style(STDOUT_FILENO)));
    return Cli::EXIT_FINE;
}

int Records(const Arguments& arguments) {
    Television::Require();
    const std::vector<Television::UserRecords> all = Television::ReadRecords(arguments.Operand(0));
    if (arguments.Has(JSON.name)) {
        Print(Cli::JsonText(Television::ToJson(all)));
        return Cli::EXIT_FINE;
    }
    if (all.empty()) {
        Print("no records\n");
    }
    const Cli::Style style(STDOUT_FILENO);
    for (const Television::UserRecords& user : all) {
        Print((&user == &all.front() ? "" : "\n") + Television::RecordsText(user, style));
    }
    return Cli::EXIT_FINE;
}

int Status(const Arguments& arguments) {
    Television::Require();
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const Json::Value status = Television::Status(now, arguments.Has("show-secrets"));
    Print(arguments.Has(JSON.name) ? Cli::JsonText(status)
                                   : Television::StatusText(status, now, Cli::Style(STDOUT_FILENO)));
    return Cli::EXIT_FINE;
}

}  // namespace

std::vector<Cli::Command> ShowCommands() {
    return {
        {"devices",
         {},
         "List the device list, as the set's components read it",
         "With --json: an array of objects with id, name, address, users and deleted_on_tv.",
         {"infosync-tv devices", "infosync-tv devices --json"},
         {JSON},
         {},
         &Devices},
        {"records",
         {"[USER]"},
         "List the records that were downloaded, for each user",
         "The mark is what the next run asks from. A record without an address says that the device was "
         "deleted. Of "
         "the\nservices, those of the Bluetooth SIG are shown by their short number; 110b is an audio sink.",
         {"infosync-tv records", "infosync-tv records ann@example.com --json"},
         {JSON},
         {},
         &Records},
        {"status",
         {},
         "Show who is signed in, what is stored and how long it holds",
         "A document that cannot be read is shown as damaged, with the reason.",
         {"infosync-tv status", "infosync-tv status --json"},
         {JSON, {"show-secrets", "", "show tokens whole"}},
         {},
         &Status},
    };
}

}  // namespace Commands
