/** The service's two keys in the platform's settings store. */
#pragma once

#include <string>

namespace InfoSyncUtil {

/** 1 when another party asked for a wipe; 0 when the flag cannot be read. */
int GetFactoryResetFlag();

/** Failures of either write are of no consequence to a run and are not reported. */
void ClearFactoryResetFlag();
void SetDeviceList(const std::string& text);

/** The stored device list, or the empty text when there is none. */
std::string GetDeviceList();

}  // namespace InfoSyncUtil
