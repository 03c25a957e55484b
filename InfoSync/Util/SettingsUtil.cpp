#include "Util/SettingsUtil.h"

#include <vconf.h>

#include <cstdlib>
#include <memory>

namespace InfoSyncUtil {

int GetFactoryResetFlag() {
    int flag = 0;
    vconf_get_int(KEY_FACTORY_RESET_FLAG, &flag);
    return flag;
}

void ClearFactoryResetFlag() {
    vconf_set_int(KEY_FACTORY_RESET_FLAG, 0);
}

void SetDeviceList(const std::string& text) {
    vconf_set_str(KEY_DEVICES, text.c_str());
}

std::string GetDeviceList() {
    const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(KEY_DEVICES), &std::free);
    return text ? std::string(text.get()) : std::string();
}

}  // namespace InfoSyncUtil
