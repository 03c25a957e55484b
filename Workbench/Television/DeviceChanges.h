/** What a run changed in the device list. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "Cli/Style.h"
#include "Television/Stored.h"

namespace Television {

struct DeviceChange {
    /** "added", "removed", "renamed" or, for its users and the rest, "changed". */
    std::string kind;
    std::string id;
    /** Before, except for an added device. */
    Device before;
    /** After, except for a removed device. */
    Device after;
};

/** In the order of record ids. */
std::vector<DeviceChange> Compare(const DeviceList& before, const DeviceList& after);

Json::Value ToJson(const std::vector<DeviceChange>& changes);

/** The same for people, below how long the list is now. */
std::string ChangesText(const DeviceList& after, const std::vector<DeviceChange>& changes,
                        const Cli::Style& style);

}  // namespace Television
