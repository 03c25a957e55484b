/** The service's two keys in the platform's settings store. */
#pragma once

#include <string>

namespace InfoSyncUtil {

inline constexpr char KEY_FACTORY_RESET_FLAG[] =
    "db/com.quorlen.tv.bt-orbmanager/btinfosync/factory_reset_flag";
inline constexpr char KEY_DEVICES[] = "db/com.quorlen.tv.bt-orbmanager/btinfosync/devices";

/** 1 when another party asked for a wipe; 0 when the flag cannot be read. */
int GetFactoryResetFlag();

/** A failure of either write is ignored. */
void ClearFactoryResetFlag();
void SetDeviceList(const std::string& text);

/** The stored device list, or the empty text when there is none. */
std::string GetDeviceList();

}  // namespace InfoSyncUtil
