/** What the set's Bluetooth adapter knows, which the platform's own interface tells of one device at a time.
 */
#pragma once

#include <map>
#include <string>

/** Paired or not, by address in upper case; none where the adapter is not up. */
std::map<std::string, bool> AdapterDevices();
