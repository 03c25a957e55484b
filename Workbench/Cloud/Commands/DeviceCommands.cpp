#include <algorithm>
#include <functional>
#include <iostream>

#include "Cli/FileLock.h"
#include "Cloud/Commands/Command.h"
#include "Cloud/Service/Users.h"
#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Terminal.h"

namespace LocalCloud {

namespace {

constexpr char AUDIO_SINK_UUID[] = "0000110b-0000-1000-8000-00805f9b34fb";
constexpr char HANDS_FREE_UUID[] = "0000111e-0000-1000-8000-00805f9b34fb";
constexpr std::size_t ID_BYTES = 6;

/** Changes a user's file, as one step for other commands and for the server. */
void Edit(const Folder& folder, const std::string& login,
          const std::function<void(Json::Value& records)>& change) {
    folder.RequireReady();
    const Cli::FileLock oneAtATime(folder.StateFile("edit.lock"), Cli::FileLock::Wait::YES);
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

Json::ArrayIndex RequireDevice(const Json::Value& records, const std::string& login, const std::string& id) {
    const Json::ArrayIndex index = IndexOf(records, id);
    if (index == records.size()) {
        throw CloudError(login + " has no device " + id + "; see: infosync-cloud device list '" + login +
                         "'");
    }
    return index;
}

void CheckAddress(const std::string& address) {
    constexpr std::size_t ADDRESS_SIZE = 17;
    bool good = address.size() == ADDRESS_SIZE;
    for (std::size_t i = 0; good && i < address.size(); ++i) {
        good = i % 3 == 2 ? address[i] == ':' : g_ascii_isxdigit(address[i]) != FALSE;
    }
    if (!good) {
        throw UsageError("\"" + address + "\" is no Bluetooth address; one looks like AA:BB:CC:00:11:22");
    }
}

void CheckUtf8(const std::string& text, const char* name) {
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        throw UsageError(std::string(name) + " must be UTF-8");
    }
}

void AddDevice(CommandLine& line) {
    std::string id;
    std::string uuids;
    bool noAudioSink = false;
    line.Option("id", "ID", "the record's id (default: a new one)", id);
    line.Option("uuids", "LIST", "service UUIDs, separated by commas (default: Audio Sink)", uuids);
    line.Flag("no-audio-sink", "a hands-free device, which no television lists", noAudioSink);
    const auto words = line.Parse();
    if (noAudioSink && !uuids.empty()) {
        throw UsageError("--uuids and --no-audio-sink exclude each other");
    }
    CheckUtf8(words[1], "NAME");
    CheckUtf8(id, "ID");
    CheckUtf8(uuids, "LIST");
    CheckAddress(words[2]);
    Json::Value record;
    record["record_id"] = id.empty() ? Hex(RandomBytes(ID_BYTES)) : id;
    record["name"] = words[1];
    record["address"] = words[2];
    record["uuids"] = noAudioSink ? HANDS_FREE_UUID : uuids.empty() ? AUDIO_SINK_UUID : uuids;
    Edit(line.CloudFolder(), words[0], [&](Json::Value& records) {
        if (IndexOf(records, TextMember(record, "record_id")) < records.size()) {
            throw CloudError(words[0] + " has a device " + id + " already; choose another --id");
        }
        records.append(record);
    });
    std::cout << TextMember(record, "record_id") << "\n";
}

void RenameDevice(CommandLine& line) {
    const auto words = line.Parse();
    CheckUtf8(words[2], "NAME");
    Edit(line.CloudFolder(), words[0], [&](Json::Value& records) {
        records[RequireDevice(records, words[0], words[1])]["name"] = words[2];
    });
}

void RemoveDevice(CommandLine& line) {
    const auto words = line.Parse();
    Edit(line.CloudFolder(), words[0], [&](Json::Value& records) {
        records.removeIndex(RequireDevice(records, words[0], words[1]), nullptr);
    });
}

void ListDevices(CommandLine& line) {
    bool json = false;
    line.Flag("json", "print the records as JSON", json);
    const auto words = line.Parse();
    const Folder folder = line.CloudFolder();
    folder.RequireReady();
    const Json::Value document = Users(folder).Load(words[0]);
    if (json) {
        std::cout << ReadableJson(document["records"]);
        return;
    }
    std::vector<std::vector<std::string>> rows;
    for (const auto& record : document["records"]) {
        const bool audioSink = TextMember(record, "uuids").find(AUDIO_SINK_UUID) != std::string::npos;
        rows.push_back({Terminal::Printable(TextMember(record, "record_id")),
                        Terminal::Printable(TextMember(record, "name")),
                        Terminal::Printable(TextMember(record, "address")), audioSink ? "yes" : "no"});
    }
    Terminal::PrintTable({"ID", "NAME", "ADDRESS", "AUDIO SINK"}, rows);
}

}  // namespace

std::vector<Command> DeviceCommands() {
    return {
        {{"device add", "USER NAME ADDRESS", "Add a device; prints its record id.",
          "Works with and without a running server.\n\nExamples:\n"
          "  infosync-cloud device add ann@example.com 'Kitchen speaker' AA:BB:CC:00:11:22\n"
          "  infosync-cloud device add ann@example.com Headset AA:BB:CC:00:11:23 --id headset "
          "--no-audio-sink"},
         AddDevice},
        {{"device rename", "USER ID NAME", "Give a device another name.",
          "Example:\n  infosync-cloud device rename ann@example.com headset 'Old headset'"},
         RenameDevice},
        {{"device remove", "USER ID", "Remove a device; clients learn of it with their next download.",
          "Example:\n  infosync-cloud device remove ann@example.com headset"},
         RemoveDevice},
        {{"device list", "USER", "Show a user's devices.",
          "Example:\n  infosync-cloud device list ann@example.com --json"},
         ListDevices},
    };
}

}  // namespace LocalCloud
