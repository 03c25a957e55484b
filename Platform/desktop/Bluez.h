/** The machine's own Bluetooth, asked over the system D-Bus. */
#pragma once

#include <string>
#include <unordered_map>

namespace Bluez {

/** Bonded or not, by address in upper case. */
using Devices = std::unordered_map<std::string, bool>;

/** The module, in a folder of its own below the libraries, and its one function. */
inline constexpr char MODULE[] = "infosync-bluez.so";
inline constexpr char READ_DEVICES[] = "infosync_bluez_read_devices";
using ReadDevices = void(Devices&);

}  // namespace Bluez

/**
 * Gives the devices that the adapters of this machine know. Takes at most 5 seconds for each of its two
 * steps, to reach the bus and to be answered.
 * @throws std::runtime_error that says what is missing: the bus, BlueZ, an adapter, or an answer
 */
extern "C" void infosync_bluez_read_devices(Bluez::Devices& devices);
