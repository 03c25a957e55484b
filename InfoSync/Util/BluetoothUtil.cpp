#include "Util/BluetoothUtil.h"

#include <bluetooth.h>

#include "Util/Log.h"

namespace BluetoothUtil {

bool Initialize() {
    return bt_initialize() == BT_ERROR_NONE;
}

void Deinitialize() {
    bt_deinitialize();
}

bool IsBondedDevice(const std::string& address) {
    ApiTracker tracker("bool BluetoothUtil::IsBondedDevice(const string&)", __LINE__);
    bt_device_info_s* info = nullptr;
    bt_adapter_get_bonded_device_info(address.c_str(), &info);
    if (info == nullptr) {
        INFOSYNC_LOG(DLOG_WARN, "fail to get info");
        return false;
    }
    const bool bonded = info->is_bonded;
    bt_adapter_free_device_info(info);
    INFOSYNC_LOG(DLOG_INFO, "%s - Bonded : %d", address.c_str(), bonded ? 1 : 0);
    return bonded;
}

}  // namespace BluetoothUtil
