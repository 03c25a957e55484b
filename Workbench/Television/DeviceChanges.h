/** What a run changed in the device list. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cli/Display.h"
#include "Television/Stored.h"

namespace Television {

/**
 * An array of "change" ("added", "removed", "renamed" or, for its users and the rest, "changed"), "id",
 * "name" and "address" as they are now or were last, "was" for the former name, and "users".
 */
Json::Value Compare(const DeviceList& before, const DeviceList& after);

/** The same for people, below how long the list is now. */
std::string ChangesText(const DeviceList& after, const Json::Value& changes, const Cli::Style& style);

}  // namespace Television
