/** What a run changed in the device list. */
#pragma once

#include <json/json.h>

#include <map>
#include <string>

#include "Cli/Display.h"
#include "Television/Stored.h"

namespace Television {

struct DeviceChange {
    /** "added", "removed", "renamed" or, for its users and the rest, "changed". */
    std::string kind;
    /** As it is now, or as it was last. */
    Device device;
    std::string formerName;
};

/** By record id. */
using DeviceChanges = std::map<std::string, DeviceChange>;

DeviceChanges Compare(const DeviceList& before, const DeviceList& after);

Json::Value ToJson(const DeviceChanges& changes);

/** The same for people, below how long the list is now. */
std::string ChangesText(const DeviceList& after, const DeviceChanges& changes, const Cli::Style& style);

}  // namespace Television
