/** The platform's Bluetooth stack. */
#pragma once

#include <string>

namespace BluetoothUtil {

/** @return whether the stack is up */
bool Initialize();

/** Its outcome does not matter: the process is about to end. */
void Deinitialize();

/** Whether the device is paired with this set; a device that the adapter knows nothing of is not. */
bool IsBondedDevice(const std::string& address);

}  // namespace BluetoothUtil
