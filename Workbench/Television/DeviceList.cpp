#include "Television/DeviceList.h"

#include <tuple>

#include "Cli/Json.h"
#include "Television/Document.h"
#include "Util/JsonUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

Device ReadDevice(const Json::Value& entry) {
    Device device;
    device.name = Cli::TextMember(entry, "name");
    device.address = Cli::TextMember(entry, "address");
    if (!entry.isObject()) {
        return device;
    }
    const Json::Value& deleted = entry["deleted_on_tv"];
    device.deletedOnTv = deleted.isBool() && deleted.asBool();
    const Json::Value& users = entry["users"];
    for (Json::ArrayIndex i = 0; users.isArray() && i < users.size(); ++i) {
        if (InfoSyncUtil::HasTextForm(users[i])) {
            device.users.push_back(users[i].asString());
        }
    }
    return device;
}

bool SameButForName(const Device& a, const Device& b) {
    return std::tie(a.address, a.users, a.deletedOnTv) == std::tie(b.address, b.users, b.deletedOnTv);
}

}  // namespace

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

std::vector<DeviceChange> Compare(const DeviceList& before, const DeviceList& after) {
    std::map<std::string, DeviceChange> changes;
    for (const auto& [id, device] : before.devices) {
        if (after.devices.count(id) == 0) {
            changes.insert({id, {DeviceChange::Kind::REMOVED, id, device, {}}});
        }
    }
    for (const auto& [id, device] : after.devices) {
        const auto old = before.devices.find(id);
        if (old == before.devices.end()) {
            changes.insert({id, {DeviceChange::Kind::ADDED, id, {}, device}});
        } else if (old->second.name != device.name) {
            changes.insert({id, {DeviceChange::Kind::RENAMED, id, old->second, device}});
        } else if (!SameButForName(old->second, device)) {
            changes.insert({id, {DeviceChange::Kind::CHANGED, id, old->second, device}});
        }
    }
    std::vector<DeviceChange> sorted;
    sorted.reserve(changes.size());
    for (auto& [id, change] : changes) {
        sorted.push_back(std::move(change));
    }
    return sorted;
}

Json::Value ToJson(const DeviceList& list) {
    Json::Value devices(Json::arrayValue);
    for (const auto& [id, device] : list.devices) {
        Json::Value entry;
        entry["id"] = id;
        entry["name"] = device.name;
        entry["address"] = device.address;
        entry["deleted_on_tv"] = device.deletedOnTv;
        entry["users"] = Json::Value(Json::arrayValue);
        for (const std::string& user : device.users) {
            entry["users"].append(user);
        }
        devices.append(std::move(entry));
    }
    return devices;
}

}  // namespace Television
