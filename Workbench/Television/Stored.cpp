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
#include "Television/KeptRun.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

namespace fs = std::filesystem;
using Kind = State::Kind;

UserRecords ReadUser(const Json::Value& entry) {
    const Json::Value& records =
        entry.isObject() ? entry[CDeviceInfo::RECORDS] : Json::Value::nullSingleton();
    if (!entry.isObject() || !(records.isArray() || records.isNull())) {
        return {{Kind::DAMAGED, "the user's entry is no object with an array of records"}};
    }
    UserRecords found = {{Kind::STORED}};
    found.mark = InfoSyncUtil::ToInt64(
        InfoSyncUtil::ObjectMember(entry, CDeviceInfo::META)[CDeviceInfo::SYNCED_TIMESTAMP]);
    if (records.isArray()) {
        found.records = records;
    }
    return found;
}

Device ReadDevice(const std::string& id, const Json::Value& entry) {
    Device device;
    device.id = id;
    if (!entry.isObject()) {
        return device;
    }
    device.name = Cli::TextMember(entry, CDeviceInfo::NAME);
    device.address = Cli::TextMember(entry, CDeviceInfo::ADDRESS);
    device.deletedOnTv = entry[CDeviceInfo::DELETED_ON_TV] == true;
    const Json::Value& users = entry[CDeviceInfo::USERS];
    for (Json::ArrayIndex i = 0; users.isArray() && i < users.size(); ++i) {
        if (InfoSyncUtil::HasTextForm(users[i])) {
            device.users.push_back(users[i].asString());
        }
    }
    return device;
}

}  // namespace

const char* State::Name() const {
    constexpr const char* NAMES[] = {"none", "stored", "valid", "expired", "damaged", "forbidden"};
    return NAMES[static_cast<int>(kind)];
}

std::string State::Words() const {
    const std::string length = Cli::DurationText(secondsLeft);
    return kind == Kind::VALID     ? "valid, " + length + " left"
           : kind == Kind::EXPIRED ? "ran out " + length + " ago"
                                   : Name();
}

std::string State::Complaint() const {
    return (kind == Kind::FORBIDDEN ? "not yours to read: " : "damaged: ") + problem;
}

Document ReadDocument(const std::optional<std::string>& path, const InfoSyncUtil::JsonLimits& limits) {
    try {
        const std::string text = Files::ReadIfThere(path.value()).value_or("");
        Json::Value value = text.empty() ? Json::Value() : InfoSyncUtil::ParseStoredObject(text, limits);
        return value.isNull() ? Document() : Document{{Kind::STORED}, std::move(value)};
    } catch (const std::system_error& error) {
        const bool isForbidden = error.code() == std::errc::permission_denied;
        return {{isForbidden ? Kind::FORBIDDEN : Kind::DAMAGED, error.what()}};
    } catch (const std::exception& error) {
        return {{Kind::DAMAGED, error.what()}};
    }
}

RecordStore ReadRecords() {
    const Document document =
        ReadDocument(TvFolder::KeyPath(InfoSyncUtil::ALIAS_RECORDS), InfoSyncUtil::Limits::RECORDS);
    RecordStore store = {document.state, {}};
    for (const std::string& name : document.value.getMemberNames()) {
        store.users[name] = ReadUser(document.value[name]);
    }
    return store;
}

DeviceList ReadDeviceList() {
    const Document document = ReadDocument(TvFolder::SettingPath(InfoSyncUtil::KEY_DEVICES));
    DeviceList list = {document.state, {}, ""};
    if (!list.state.IsReadable()) {
        list.problem = "the device list is " + list.state.Complaint();
        list.problem +=
            list.state.kind == Kind::DAMAGED ? ". A factory reset clears it: infosync-tv factory-reset" : "";
    }
    for (const std::string& id : document.value.getMemberNames()) {
        list.devices.emplace(id, ReadDevice(id, document.value[id]));
    }
    return list;
}

Json::Value ToJson(const Device& device) {
    Json::Value json;
    json["id"] = device.id;
    json["name"] = device.name;
    json["address"] = device.address;
    json["deleted_on_tv"] = device.deletedOnTv;
    json["users"] = Cli::JsonArray(device.users);
    return json;
}

std::vector<std::string> StoredSecrets() {
    std::vector<std::string> secrets;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT}) {
        // Also those of a document that is too heavy for the service.
        for (const Json::Value& entry :
             ReadDocument(TvFolder::KeyPath(alias), InfoSyncUtil::Limits::NO_WEIGHT).value) {
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
