#include <NxCurl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Tool.h"
#include "GateSite.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Status.h"
#include "Television/Stored.h"
#include "Television/Why.h"

namespace Commands {

namespace {

struct ShowArguments {
    /** Of why. */
    std::string device;
    /** Of status. */
    bool check = false;
    bool json = false;
};

void ShowDevices(const bool& json) {
    Television::Require();
    const Television::DeviceList list = Television::ReadDeviceList();
    if (!list.problem.empty()) {
        throw std::runtime_error(list.problem);
    }
    Cli::Table table({"NAME", "ADDRESS", "USERS", "DELETED", "ID"});
    Json::Value devices(Json::arrayValue);
    for (const auto& [id, device] : list.devices) {
        devices.append(Television::ToJson(device));
        table.Add({device.name, device.address, Cli::Join(device.users, ", "),
                   device.deletedOnTv ? "yes" : "no", id});
    }
    std::cout << (json              ? Cli::JsonText(devices)
                  : devices.empty() ? "no devices\n"
                                    : table.Lines(Cli::Style(STDOUT_FILENO)));
}

void Why(const ShowArguments& arguments) {
    Television::Require();
    const Television::Inquiry inquiry = Television::Inquire(arguments.device);
    std::cout << (arguments.json ? Cli::JsonText(Television::ToJson(inquiry))
                                 : Television::InquiryText(inquiry, Cli::Style(STDOUT_FILENO)));
    if (!arguments.device.empty() && inquiry.devices.empty()) {
        throw Cli::ToldAlready();
    }
}

/** Asks the authorisation server for nothing in particular, by the way that the service's requests take.
 * @return what is wrong */
std::string AskCloud() {
    constexpr long LONGEST_WAIT_SECONDS = 10;
    try {
        NxCurlEasy client;
        client.Initialize();
        client.setTimeout(LONGEST_WAIT_SECONDS, LONGEST_WAIT_SECONDS);
        client.setQuorlenGatesiteSSLContext();
        client.setOption(NXCURL_OPTION_URL, GateSite::Read().origin + "/");
        client.setOption(
            NXCURL_OPTION_WRITEFUNCTION, +[](char* /*data*/, std::size_t size, std::size_t count,
                                             void* /*unused*/) { return size * count; });
        return client.send() ? "" : Cli::LastLoggedError();
    } catch (const std::exception& error) {
        return error.what();
    }
}

void ShowStatus(const ShowArguments& arguments) {
    Television::Require();
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    Television::Status status = Television::ReadStatus(now);
    if (arguments.check) {
        Television::AddProblem(status.problems, "cloud", AskCloud());
    }
    std::cout << (arguments.json ? Cli::JsonText(Television::ToJson(status))
                                 : Television::StatusText(status, now, Cli::Style(STDOUT_FILENO)));
    for (const std::filesystem::path& path : Television::TelevisionPaths()) {
        if (access(path.c_str(), R_OK) != 0 && errno == EACCES) {
            throw std::runtime_error("not all of the television is yours to read");
        }
    }
    if (arguments.check && !status.problems.empty()) {
        throw Cli::ToldAlready();
    }
}

}  // namespace

void AddShow(Cli::Tool& tool) {
    tool.AddView("devices", "List the device list, as the set's components read it", "", &ShowDevices);
    tool.Add<ShowArguments>(
        "why", "Say why a device is on the device list, or is not",
        R"(For the records of all users, or for those that the argument names by address,
id or a part of the name. The service's own rules are asked against what is
stored now; nothing is run or changed. The exit status is 1 when no record is of
the device.

Examples:
  infosync-tv why
  infosync-tv why kitchen)",
        [](Cli::Command& command, ShowArguments& arguments) {
            command.Operand("ADDRESS|ID|NAME", arguments.device);
            command.Json(arguments.json);
        },
        &Why);
    tool.Add<ShowArguments>(
        "status", "Show who is signed in, what is stored, and what is wrong",
        R"(What is wrong with tv.ini, the folder, the certificates, the clock or a stored
document stands at the end; the exit status is 1 when something is not yours to
read. With --check the cloud is asked by the service's own way.)",
        [](Cli::Command& command, ShowArguments& arguments) {
            command.Flag("--check", arguments.check,
                         "ask the cloud, too; exit status 1 when anything is wrong");
            command.Json(arguments.json);
        },
        &ShowStatus);
}

}  // namespace Commands
