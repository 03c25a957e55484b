#include "Television/Stored.h"

#include <exception>
#include <functional>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Files.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

Document Read(const std::optional<std::string>& path,
              const std::function<Json::Value(const std::string&)>& parse) {
    Document document;
    try {
        Json::Value value = parse(Files::Read(path.value()));
        if (!value.isNull()) {
            document.value = std::move(value);
            document.condition = Document::Condition::FINE;
        }
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory) {
            document.condition = error.code() == std::errc::permission_denied ? Document::Condition::FORBIDDEN
                                                                              : Document::Condition::DAMAGED;
            document.problem = error.what();
        }
    } catch (const std::exception& error) {
        document.condition = Document::Condition::DAMAGED;
        document.problem = error.what();
    }
    return document;
}

UserRecords ReadUser(const std::string& user, const Json::Value& entry) {
    UserRecords found;
    found.user = user;
    if (!entry.isObject()) {
        found.problem = "the user's entry is no object";
        return found;
    }
    found.mark = InfoSyncUtil::ToInt64(
        InfoSyncUtil::ObjectMember(entry, CDeviceInfo::META)[CDeviceInfo::SYNCED_TIMESTAMP]);
    const Json::Value& records = entry[CDeviceInfo::RECORDS];
    if (records.isArray()) {
        found.records = records;
    } else if (!records.isNull()) {
        found.problem = "the user's records are no array";
    }
    return found;
}

Device ReadDevice(const Json::Value& entry) {
    Device device;
    device.name = Cli::TextMember(entry, CDeviceInfo::NAME);
    device.address = Cli::TextMember(entry, CDeviceInfo::ADDRESS);
    if (!entry.isObject()) {
        return device;
    }
    const Json::Value& deleted = entry[CDeviceInfo::DELETED_ON_TV];
    device.deletedOnTv = deleted.isBool() && deleted.asBool();
    const Json::Value& users = entry[CDeviceInfo::USERS];
    for (Json::ArrayIndex i = 0; users.isArray() && i < users.size(); ++i) {
        if (InfoSyncUtil::HasTextForm(users[i])) {
            device.users.push_back(users[i].asString());
        }
    }
    return device;
}

}  // namespace

std::string Document::Complaint(const std::string& name, const std::string& remedy) const {
    return condition == Condition::FORBIDDEN ? name + " not yours to read: " + Cli::Escape(problem) +
                                                   "\nSee the owner and the mode of the file"
                                             : name + " damaged: " + Cli::Escape(problem) + "\n" + remedy;
}

Document ReadKey(const std::string& alias) {
    const InfoSyncUtil::JsonLimits& limits =
        alias == InfoSyncUtil::ALIAS_RECORDS ? InfoSyncUtil::Limits::RECORDS : InfoSyncUtil::Limits::TOKENS;
    return Read(TvFolder::KeyPath(alias),
                [&limits](const std::string& text) { return InfoSyncUtil::ParseStoredObject(text, limits); });
}

Document ReadAuthCode() {
    return Read(TvFolder::KeyPath(InfoSyncUtil::ALIAS_AUTH_CODE),
                [](const std::string& /*text*/) { return Json::Value(Json::objectValue); });
}

Document ReadSetting(const std::string& key) {
    return Read(TvFolder::SettingPath(key), [](const std::string& text) {
        return text.empty() || text == "null" ? Json::Value() : InfoSyncUtil::ParseStoredObject(text);
    });
}

std::vector<UserRecords> ReadRecords() {
    const Document document = ReadKey(InfoSyncUtil::ALIAS_RECORDS);
    if (!document.IsReadable()) {
        throw std::runtime_error(
            document.Complaint("the records are", "The next good run replaces them: infosync-tv run"));
    }
    std::vector<UserRecords> users;
    for (const std::string& name : document.value.getMemberNames()) {
        users.push_back(ReadUser(name, document.value[name]));
    }
    return users;
}

DeviceList ReadDeviceList() {
    DeviceList list;
    const Document document = ReadSetting(InfoSyncUtil::KEY_DEVICES);
    if (!document.IsReadable()) {
        list.problem =
            document.Complaint("the device list is", "A factory reset clears it: infosync-tv factory-reset");
    }
    for (const std::string& id : document.value.getMemberNames()) {
        list.devices.emplace(id, ReadDevice(document.value[id]));
    }
    return list;
}

Json::Value ToJson(const DeviceList& list) {
    Json::Value devices(Json::arrayValue);
    for (const auto& [id, device] : list.devices) {
        Json::Value entry;
        entry["id"] = id;
        entry["name"] = device.name;
        entry["address"] = device.address;
        entry["deleted_on_tv"] = device.deletedOnTv;
        entry["users"] = ToJson(device.users);
        devices.append(std::move(entry));
    }
    return devices;
}

Json::Value ToJson(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts) {
        array.append(text);
    }
    return array;
}

}  // namespace Television
