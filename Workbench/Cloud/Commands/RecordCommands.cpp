#include <dlog.h>
#include <unistd.h>

#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Values.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/State/Users.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/Util/Json.h"

/** The service's rule is asked here, not run: what it would log says nothing to whoever asked. */
int __dlog_print(log_id_t /*log_id*/, int /*prio*/, const char* /*tag*/, const char* /*fmt*/, ...) {
    return 0;
}

namespace LocalCloud {

namespace {

constexpr char AUDIO_SINK_UUID[] = "0000110b-0000-1000-8000-00805f9b34fb";
constexpr char HANDS_FREE_UUID[] = "0000111e-0000-1000-8000-00805f9b34fb";
constexpr std::size_t ID_BYTES = 6;

/** Changes a user's file, as one step for other commands and for the server. */
void Edit(const std::string& login, const std::function<void(Json::Value& records)>& change) {
    const Folder folder = Folder::Ready();
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    const Users users(folder);
    Json::Value document = users.Load(login);
    change(document["records"]);
    users.Save(login, document);
}

Json::ArrayIndex IndexOf(const Json::Value& records, const std::string& id) {
    Json::ArrayIndex index = 0;
    while (index < records.size() && TextMember(records[index], "record_id") != id) {
        ++index;
    }
    return index;
}

/** What the commands take, each a part of it. */
struct DeviceArguments {
    std::string login;
    std::string id;
    std::string name;
    std::string address;
    std::string uuids = AUDIO_SINK_UUID;
    bool noAudioSink = false;
};
using Arguments = std::shared_ptr<DeviceArguments>;

void AddDevice(const DeviceArguments& arguments) {
    Json::Value record;
    record["record_id"] = arguments.id.empty() ? Hex(RandomBytes(ID_BYTES)) : arguments.id;
    record["name"] = arguments.name;
    record["address"] = arguments.address;
    record["uuids"] = arguments.noAudioSink ? HANDS_FREE_UUID : arguments.uuids;
    Edit(arguments.login, [&](Json::Value& records) {
        if (IndexOf(records, TextMember(record, "record_id")) < records.size()) {
            throw std::runtime_error(arguments.login + " has a device " + arguments.id +
                                     " already; choose another --id");
        }
        records.append(record);
    });
    std::cout << TextMember(record, "record_id") << "\n";
}

/** Changes the records at the place of one that is there. */
void EditDevice(const DeviceArguments& arguments,
                const std::function<void(Json::Value& records, Json::ArrayIndex index)>& change) {
    Edit(arguments.login, [&](Json::Value& records) {
        const Json::ArrayIndex index = IndexOf(records, arguments.id);
        if (index == records.size()) {
            throw std::runtime_error(arguments.login + " has no device " + arguments.id +
                                     "; see: infosync-cloud device list '" + arguments.login + "'");
        }
        change(records, index);
    });
}

void ListDevices(const std::string& login, bool json) {
    const Json::Value document = Users(Folder::Ready()).Load(login);
    if (json) {
        std::cout << Cli::JsonText(document["records"]);
        return;
    }
    Cli::Table table({"ID", "NAME", "ADDRESS", "AUDIO SINK"});
    for (const auto& record : document["records"]) {
        Json::Value services;
        services["uuids"] = TextMember(record, "uuids");
        const bool audioSink = CDeviceInfo::IsAudioSink(services);
        table.Add({TextMember(record, "record_id"), TextMember(record, "name"), TextMember(record, "address"),
                   audioSink ? "yes" : "no"});
    }
    std::cout << table.Text(Cli::Style(STDOUT_FILENO));
}

void AddAdd(Cli::Tool& tool, const Arguments& arguments) {
    Cli::Command command = tool.Add("device add", "Add a device; prints its record id",
                                    R"(Works with and without a running server.

Examples:
  infosync-cloud device add ann@example.com 'Kitchen speaker' AA:BB:CC:00:11:22
  infosync-cloud device add ann@example.com Headset AA:BB:CC:00:11:23 \
      --id headset --no-audio-sink)",
                                    [arguments] { AddDevice(*arguments); });
    command.Operand("USER", arguments->login).Required();
    command.Operand("NAME", arguments->name).Required().Must(&Cli::IsUtf8);
    command.Operand("ADDRESS", arguments->address).Required().Must(&Cli::IsBluetoothAddress);
    command.Option("--id", "ID", arguments->id, "the record's id (default: a new one)").Must(&Cli::IsUtf8);
    const Cli::Parameter uuids = command
                                     .Option("--uuids", "LIST", arguments->uuids,
                                             "service UUIDs, separated by commas (default: Audio Sink)")
                                     .Must(&Cli::IsUtf8);
    command.Flag("--no-audio-sink", arguments->noAudioSink, "a hands-free device, which no television lists")
        .Excludes(uuids);
}

}  // namespace

void AddDeviceCommands(Cli::Tool& tool) {
    const auto arguments = std::make_shared<DeviceArguments>();
    AddAdd(tool, arguments);

    Cli::Command rename = tool.Add(
        "device rename", "Give a device another name",
        "Example:\n  infosync-cloud device rename ann@example.com headset 'Old headset'", [arguments] {
            EditDevice(*arguments, [&arguments](Json::Value& records, Json::ArrayIndex index) {
                records[index]["name"] = arguments->name;
            });
        });
    rename.Operand("USER", arguments->login).Required();
    rename.Operand("ID", arguments->id).Required();
    rename.Operand("NAME", arguments->name).Required().Must(&Cli::IsUtf8);

    Cli::Command remove =
        tool.Add("device remove", "Remove a device; clients learn of it with their next download",
                 "Example:\n  infosync-cloud device remove ann@example.com headset", [arguments] {
                     EditDevice(*arguments, [](Json::Value& records, Json::ArrayIndex index) {
                         records.removeIndex(index, nullptr);
                     });
                 });
    remove.Operand("USER", arguments->login).Required();
    remove.Operand("ID", arguments->id).Required();

    tool.AddReading("device list", "Show a user's devices",
                    "Example:\n  infosync-cloud device list ann@example.com --json",
                    [arguments](bool json) { ListDevices(arguments->login, json); })
        .Operand("USER", arguments->login)
        .Required();
}

}  // namespace LocalCloud
