#include <unistd.h>

#include <functional>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"
#include "Files.h"

namespace LocalCloud {

namespace {

/** What the commands take, each a part of it. */
struct RecordArguments {
    std::string login;
    std::string id;
    std::string name;
    std::string address;
    std::string uuids = CDeviceInfo::AUDIO_SINK_UUID;
    bool noAudioSink = false;
    bool json = false;
};

void AddUser(const RecordArguments& arguments) {
    const Folder folder;
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    const bool added = Users(folder).Add(arguments.login);
    std::cout << (added ? "added " : "there already: ") << Cli::Escape(arguments.login) << ", devices in "
              << Cli::Escape(folder.RecordsFile(arguments.login)) << "\n";
}

using Change = std::function<void(Json::Value& records, Json::ArrayIndex index)>;

/** Changes a user's file, as one step for other commands and for the server, at the place of the device,
 * which must be there, or must not. */
void Edit(const RecordArguments& arguments, bool mustBeThere, const Change& change) {
    const Folder folder;
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    const Users users(folder);
    Json::Value document = users.Load(arguments.login);
    Json::Value& records = document[CDeviceInfo::RECORDS];
    Json::ArrayIndex index = 0;
    while (index < records.size() && records[index][CDeviceInfo::RECORD_ID] != arguments.id) {
        ++index;
    }
    if (mustBeThere && index == records.size()) {
        throw std::runtime_error(arguments.login + " has no device " + arguments.id +
                                 "; see: infosync-cloud list '" + arguments.login + "'");
    }
    if (!mustBeThere && index < records.size()) {
        throw std::runtime_error(arguments.login + " has a device " + arguments.id +
                                 " already; choose another --id");
    }
    change(records, index);
    users.Save(arguments.login, document);
}

void AddDevice(const RecordArguments& arguments) {
    constexpr char HANDS_FREE_UUID[] = "0000111e-0000-1000-8000-00805f9b34fb";
    constexpr std::size_t ID_DIGITS = 12;
    Json::Value record;
    record[CDeviceInfo::RECORD_ID] =
        arguments.id.empty() ? RandomDigits().substr(0, ID_DIGITS) : arguments.id;
    record[CDeviceInfo::NAME] = arguments.name;
    record[CDeviceInfo::ADDRESS] = arguments.address;
    record[CDeviceInfo::UUIDS] = arguments.noAudioSink ? HANDS_FREE_UUID : arguments.uuids;
    Edit(arguments, false, [&](Json::Value& records, Json::ArrayIndex /*index*/) { records.append(record); });
    std::cout << record[CDeviceInfo::RECORD_ID].asString() << "\n";
}

void RenameDevice(const RecordArguments& arguments) {
    Edit(arguments, true, [&](Json::Value& records, Json::ArrayIndex index) {
        records[index][CDeviceInfo::NAME] = arguments.name;
    });
}

void RemoveDevice(const RecordArguments& arguments) {
    Edit(arguments, true,
         [](Json::Value& records, Json::ArrayIndex index) { records.removeIndex(index, nullptr); });
}

std::string UserText(const Json::Value& user, const Cli::Style& style) {
    const Json::Value& records = user[CDeviceInfo::RECORDS];
    Cli::Table table({"ID", "NAME", "ADDRESS", "AUDIO SINK"});
    for (const auto& record : records) {
        Json::Value services;
        services[CDeviceInfo::UUIDS] = Cli::StringMember(record, CDeviceInfo::UUIDS);
        table.Add({Cli::StringMember(record, CDeviceInfo::RECORD_ID),
                   Cli::StringMember(record, CDeviceInfo::NAME),
                   Cli::StringMember(record, CDeviceInfo::ADDRESS),
                   CDeviceInfo::IsAudioSink(services) ? "yes" : "no"});
    }
    return style(Cli::Colour::BOLD, Cli::Escape(user["user"].asString())) + ", " +
           Cli::Count(records.size(), "device") + ", " + Cli::Escape(user["file"].asString()) + "\n" +
           (records.empty() ? "" : table.Lines(style, "  "));
}

void List(const RecordArguments& arguments) {
    const Folder folder;
    const Users users(folder);
    Json::Value list = Json::arrayValue;
    std::string text;
    for (const auto& login : arguments.login.empty() ? users.List() : std::vector{arguments.login}) {
        Json::Value& user = list.append(Json::objectValue);
        user["user"] = login;
        user["file"] = folder.RecordsFile(login);
        user[CDeviceInfo::RECORDS] = users.Load(login)[CDeviceInfo::RECORDS];
        text += UserText(user, Cli::Style(STDOUT_FILENO));
    }
    std::cout << (arguments.json ? Cli::JsonText(list)
                  : text.empty() ? "no users yet; add one with: infosync-cloud user add LOGIN\n"
                                 : text);
}

void DeclareAdd(Cli::Command& command, RecordArguments& arguments) {
    command.Operand("USER", arguments.login).Required();
    command.Operand("NAME", arguments.name).Required().Must(&Cli::IsUtf8);
    command.Operand("ADDRESS", arguments.address).Required().Must(&Cli::IsBluetoothAddress);
    command.Option("--id", "ID", arguments.id, "the record's id (default: a new one)").Must(&Cli::IsUtf8);
    const Cli::Parameter uuids = command
                                     .Option("--uuids", "LIST", arguments.uuids,
                                             "service UUIDs, separated by commas (default: Audio Sink)")
                                     .Must(&Cli::IsUtf8);
    command.Flag("--no-audio-sink", arguments.noAudioSink, "a hands-free device, which no television lists")
        .Excludes(uuids);
}

void DeclareDevice(Cli::Command& command, RecordArguments& arguments) {
    command.Operand("USER", arguments.login).Required();
    command.Operand("ID", arguments.id).Required();
}

struct ExpireArguments {
    std::string what;
    std::string login;
    std::string code = TextOf(ResultCode::MARK_TOO_OLD);
};

void Expire(const ExpireArguments& arguments) {
    const Folder folder;
    Users(folder).RequireExists(arguments.login);
    for (const Holding* holding : HOLDINGS) {
        if (arguments.what == holding->name) {
            const std::uint64_t expired = TokenStore(folder).Expire(*holding, arguments.login);
            std::cout << "expired: " << Cli::Count(expired, holding->noun) << "\n"
                      << (expired > 0 ? std::string("It shows ") + holding->shows + ".\n" : "");
            return;
        }
    }
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    Files::Replace(folder.ExpiredMarkFile(arguments.login), arguments.code + "\n");
    std::cout << "The next download of " << Cli::Escape(arguments.login)
              << " that asks from a mark is refused with " << arguments.code << "\n";
}

void DeclareExpire(Cli::Command& command, ExpireArguments& arguments) {
    std::vector<std::string> words;
    words.reserve(std::size(HOLDINGS) + 1);
    for (const Holding* holding : HOLDINGS) {
        words.emplace_back(holding->name);
    }
    words.emplace_back("mark");
    const std::string tooOld = TextOf(ResultCode::MARK_TOO_OLD);
    const std::string unknown = TextOf(ResultCode::MARK_UNKNOWN);
    command.Operand("WHAT", arguments.what, Cli::Join(words, ", ")).Required().OneOf(words);
    command.Operand("USER", arguments.login).Required();
    command
        .Option("--code", "RCODE", arguments.code,
                "of a mark: " + tooOld + " (too old, the default) or " + unknown + " (unknown)")
        .OneOf({tooOld, unknown});
}

}  // namespace

void AddUserCommands(Cli::Tool& tool) {
    tool.Add<RecordArguments>(
        "user add", "Add a user, so that the cloud accepts the sign-in",
        "A user goes away with the file that the command names.\n\n"
        "Example:\n  infosync-cloud user add ann@example.com",
        [](Cli::Command& command, RecordArguments& arguments) {
            command.Operand("LOGIN", arguments.login).Required();
        },
        &AddUser);
    tool.Add("device add", "Add a device; prints its record id",
             R"(Works with and without a running server.

Examples:
  infosync-cloud device add ann@example.com 'Kitchen speaker' AA:BB:CC:00:11:22
  infosync-cloud device add ann@example.com Headset AA:BB:CC:00:11:23 \
      --id headset --no-audio-sink)",
             &DeclareAdd, &AddDevice);
    tool.Add<RecordArguments>(
        "device rename", "Give a device another name",
        "Example:\n  infosync-cloud device rename ann@example.com headset 'Old headset'",
        [](Cli::Command& command, RecordArguments& arguments) {
            DeclareDevice(command, arguments);
            command.Operand("NAME", arguments.name).Required().Must(&Cli::IsUtf8);
        },
        &RenameDevice);
    tool.Add("device remove", "Remove a device; clients learn of it with their next download",
             "Example:\n  infosync-cloud device remove ann@example.com headset", &DeclareDevice,
             &RemoveDevice);
    tool.Add<RecordArguments>(
        "list", "Show the users with their devices, or one of them",
        "Examples:\n  infosync-cloud list\n"
        "  infosync-cloud list ann@example.com --json | jq '.[0].records[].name'",
        [](Cli::Command& command, RecordArguments& arguments) {
            command.Operand("USER", arguments.login);
            command.Json(arguments.json);
        },
        &List);
    tool.Add("expire", "End what a user holds now, whatever its lifetime",
             R"(The cloud refuses the user's access tokens, refresh tokens, device ids
(activation) or application tokens from now on; the client believes that it may
still use them. A mark is refused once, with the next download that asks from
one: the client is then to forget its records and to download everything.

Works with and without a running server.

Examples:
  infosync-cloud expire app ann@example.com
  infosync-cloud expire mark ann@example.com --code 4000002)",
             &DeclareExpire, &Expire);
}

}  // namespace LocalCloud
