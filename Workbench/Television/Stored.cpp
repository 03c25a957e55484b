#include "Television/Stored.h"

#include <exception>
#include <optional>
#include <system_error>

#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "AuthData/CDeviceInfo.h"
#include "AuthData/CJsonWebToken.h"
#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Time.h"
#include "Files.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

namespace fs = std::filesystem;
namespace Limits = InfoSyncUtil::Limits;

/** The empty text and null stand for no document. */
Document Read(const std::optional<std::string>& path, const InfoSyncUtil::JsonLimits& limits) {
    try {
        const std::string text = Files::ReadIfThere(path.value()).value_or("");
        Json::Value value = text.empty() ? Json::Value() : InfoSyncUtil::ParseStoredObject(text, limits);
        return value.isNull() ? Document() : Document{{STORED}, std::move(value)};
    } catch (const std::exception& error) {
        const auto* failure = dynamic_cast<const std::system_error*>(&error);
        const bool isForbidden = failure != nullptr && failure->code() == std::errc::permission_denied;
        return {{isForbidden ? FORBIDDEN : DAMAGED, error.what()}};
    }
}

Device ReadDevice(const std::string& id, const Json::Value& entry) {
    Device device = {id,
                     Cli::TextMember(entry, CDeviceInfo::NAME),
                     Cli::TextMember(entry, CDeviceInfo::ADDRESS),
                     {},
                     entry[CDeviceInfo::DELETED_ON_TV] == true};
    for (const Json::Value& user : entry[CDeviceInfo::USERS]) {
        if (InfoSyncUtil::HasTextForm(user)) {
            device.users.push_back(user.asString());
        }
    }
    return device;
}

}  // namespace

std::string State::Words() const {
    const std::string length = Cli::DurationText(secondsLeft);
    return kind == VALID     ? "valid, " + length + " left"
           : kind == EXPIRED ? "ran out " + length + " ago"
                             : std::string(kind);
}

std::string State::Complaint() const {
    return (kind == FORBIDDEN ? "not yours to read: " : "damaged: ") + problem;
}

Json::Value ToJson(const State& state) {
    Json::Value json;
    json["state"] = std::string(state.kind);
    if (!state.problem.empty()) {
        json["problem"] = state.problem;
    }
    if (state.kind == VALID || state.kind == EXPIRED) {
        json["seconds_left"] = Json::Int64{state.secondsLeft};
        json["begins"] = state.begins;
    }
    return json;
}

Document ReadKey(const char* alias) {
    const bool isOfRecords = alias == std::string(InfoSyncUtil::ALIAS_RECORDS);
    return Read(TvFolder::KeyPath(alias), isOfRecords ? Limits::RECORDS : Limits::TOKENS);
}

UserRecords RecordsOf(const Document& document, const std::string& user) {
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user);
    const Json::Value& records = entry[CDeviceInfo::RECORDS];
    UserRecords of = {document.state};
    if (document.value.isMember(user) && (!entry.isObject() || !(records.isArray() || records.isNull()))) {
        of.state = {DAMAGED, "the user's entry is no object with an array of records"};
    } else if (!document.value.isMember(user) && of.state.kind == STORED) {
        of.state = {NONE};
    }
    of.mark = InfoSyncUtil::ToInt64(
        InfoSyncUtil::ObjectMember(entry, CDeviceInfo::META)[CDeviceInfo::SYNCED_TIMESTAMP]);
    of.records = records.isArray() ? records : of.records;
    return of;
}

Json::Value ToJson(const Device& device) {
    Json::Value json;
    json["id"] = device.id;
    json["name"] = device.name;
    json["address"] = device.address;
    json["users"] = Cli::JsonArray(device.users);
    json["deleted_on_tv"] = device.deletedOnTv;
    return json;
}

DeviceList ReadDeviceList() {
    const Document document = Read(TvFolder::SettingPath(InfoSyncUtil::KEY_DEVICES), Limits::DEVICE_LIST);
    DeviceList list = {document.state, {}, ""};
    if (!list.state.problem.empty()) {
        list.problem =
            "the device list is " + list.state.Complaint() +
            (list.state.kind == DAMAGED ? ". A factory reset clears it: infosync-tv factory-reset" : "");
    }
    for (const std::string& id : document.value.getMemberNames()) {
        list.devices[id] = ReadDevice(id, InfoSyncUtil::ObjectMember(document.value, id));
    }
    return list;
}

std::vector<std::string> StoredSecrets() {
    std::vector<std::string> secrets;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT}) {
        // Also those of a document that is too heavy for the service.
        for (const Json::Value& entry : Read(TvFolder::KeyPath(alias), Limits::NO_WEIGHT).value) {
            for (const char* name :
                 {CAccessToken::ACCESS_TOKEN, CAccessToken::REFRESH_TOKEN, CJsonWebToken::TOKEN}) {
                secrets.push_back(Cli::TextMember(entry, name));
            }
        }
    }
    try {
        const auto path = TvFolder::KeyPath(InfoSyncUtil::ALIAS_AUTH_CODE);
        const Cli::Pattern elements(std::string("<(?:") + CAuthCode::AUTH_CODE + "|" +
                                    CAuthCode::CODE_VERIFIER + ")>(?<secret>[^<]*)");
        const std::string text = Files::ReadIfThere(path.value()).value_or("");
        elements.ForEach(text, [&secrets](const auto& match) { secrets.emplace_back(match["secret"]); });
    } catch (const std::exception&) {
        // What cannot be read is not shown either.
    }
    return secrets;
}

std::vector<fs::path> TelevisionPaths() {
    const fs::path folder(TvFolder::Path());
    std::vector<fs::path> paths = {folder};
    for (const char* part : {"tv.ini", "keys", "settings", RUNS_FOLDER}) {
        std::error_code error;
        if (fs::exists(fs::symlink_status(folder / part, error))) {
            paths.push_back(folder / part);
        }
        for (fs::recursive_directory_iterator at(folder / part, error); !error && at != fs::end(at);
             at.increment(error)) {
            paths.push_back(at->path());
        }
    }
    return paths;
}

}  // namespace Television
