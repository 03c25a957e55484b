#include <system_info.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <string_view>

#include "TvFolder.h"
#include "TvIni.h"

namespace {

const TvKey* KeyFor(system_info_key_e key) {
    switch (key) {
        case SYSTEM_INFO_KEY_MODEL:
            return &TvKeys::MODEL;
        case SYSTEM_INFO_KEY_TIZEN_VERSION:
            return &TvKeys::TIZEN_VERSION;
        case SYSTEM_INFO_KEY_SW_VERSION:
            return &TvKeys::SOFTWARE_VERSION;
    }
    return nullptr;
}

const TvKey* KeyFor(const char* key) {
    const bool isTizenId = key != nullptr && std::string_view(key) == "http://tizen.org/system/tizenid";
    return isTizenId ? &TvKeys::TIZEN_ID : nullptr;
}

int Get(const TvKey* key, char** value) {
    if (key == nullptr || value == nullptr) {
        return -EINVAL;
    }
    try {
        const auto text = TvFolder::ReadIni()->Text(*key);
        *value = text ? strdup(text->c_str()) : nullptr;
        return *value != nullptr ? 0 : -EIO;
    } catch (const std::exception&) {
        return -ENOMEM;
    }
}

}  // namespace

int system_info_get_value_string(system_info_key_e key, char** value) {
    return Get(KeyFor(key), value);
}

int system_info_get_platform_string(const char* key, char** value) {
    return Get(KeyFor(key), value);
}
