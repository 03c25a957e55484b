/** The set's device list, as its components read it, and what a run changed in it. */
#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

namespace Television {

struct Device {
    std::string name;
    std::string address;
    std::vector<std::string> users;
    bool deletedOnTv = false;
};

struct DeviceList {
    /** By record id. */
    std::map<std::string, Device> devices;
    /** Why the list cannot be read, and what to do; empty when it can. */
    std::string problem;
};

DeviceList ReadDeviceList();

struct DeviceChange {
    enum class Kind { ADDED, RENAMED, CHANGED, REMOVED };

    Kind kind;
    std::string id;
    /** Before, except for an added device. */
    Device before;
    /** After, except for a removed device. */
    Device after;
};

/** In the order of record ids. */
std::vector<DeviceChange> Compare(const DeviceList& before, const DeviceList& after);

Json::Value ToJson(const DeviceList& list);

}  // namespace Television
