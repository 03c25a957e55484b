#include "Util/SystemUtil.h"

#include <system_info.h>

#include <cstdlib>
#include <memory>

#include "HttpMessage/IHttpMessage.h"
#include "Util/CInfoSyncException.h"
#include "Util/ClientIdentity.h"
#include "Util/Log.h"

namespace SystemUtil {

namespace {

constexpr char KEY_TIZEN_ID[] = "http://tizen.org/system/tizenid";

/** Takes over the platform's text; a null pointer is the platform's only sign of a missing value. */
std::string TakeValue(char* value) {
    const std::unique_ptr<char, decltype(&std::free)> owned(value, &std::free);
    if (!owned) {
        throw CInfoSyncException("fail to get Tizen version ");
    }
    return owned.get();
}

}  // namespace

std::string GetSystemInfoString(int key) {
    char* value = nullptr;
    system_info_get_value_string(static_cast<system_info_key_e>(key), &value);
    std::string text = TakeValue(value);
    INFOSYNC_LOG(DLOG_INFO, "value : %s", text.c_str());
    return text;
}

std::string GetPlatformInfoString(const std::string& key) {
    char* value = nullptr;
    system_info_get_platform_string(key.c_str(), &value);
    std::string text = TakeValue(value);
    INFOSYNC_LOG(DLOG_INFO, "value : %s", text.c_str());
    return text;
}

std::string GetTizenVersion() {
    INFOSYNC_LOG(DLOG_INFO, "Get SYSTEM_INFO_KEY_TIZEN_VERSION");
    return GetSystemInfoString(SYSTEM_INFO_KEY_TIZEN_VERSION);
}

std::string GetModelName() {
    INFOSYNC_LOG(DLOG_INFO, "Get SYSTEM_INFO_KEY_MODEL");
    return GetSystemInfoString(SYSTEM_INFO_KEY_MODEL);
}

std::string GetBuildVersion() {
    INFOSYNC_LOG(DLOG_INFO, "Get SYSTEM_INFO_KEY_SW_VERSION");
    return GetSystemInfoString(SYSTEM_INFO_KEY_SW_VERSION);
}

std::string GetTizenID() {
    INFOSYNC_LOG(DLOG_INFO, "Get Tizen ID");
    return GetPlatformInfoString(KEY_TIZEN_ID);
}

void AddClientIdentity(IHttpMessage& message) {
    message.AddHttpMessageData("model", GetModelName());
    message.AddHttpMessageData("build", GetBuildVersion());
    message.AddHttpMessageData("client", std::string("bt-orbmanager=") + ClientIdentity::PACKAGE_VERSION);
    // The cloud messages look this entry up by the same spelling.
    message.AddHttpMessageData("platfom", "Tizen=" + GetTizenVersion());
}

}  // namespace SystemUtil
