#include <dlog.h>
#include <glib.h>
#include <vconf.h>

#include <cerrno>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "Files.h"
#include "TvFolder.h"

namespace {

constexpr char TAG[] = "VCONF";

std::string PathOf(const char* key) {
    const auto path = key == nullptr ? std::nullopt : TvFolder::SettingPath(key);
    if (!path) {
        throw std::runtime_error("no settings key");
    }
    return *path;
}

void LogFailure(const char* key, const std::exception& error) {
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, TAG, "%s: %s", key == nullptr ? "(null)" : key, error.what());
}

/** The key's text; nothing where there is none, and, with a line in the log, where it cannot be read. */
std::optional<Files::Bytes> Read(const char* key) {
    try {
        return Files::ReadBytes(PathOf(key));
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory) {
            LogFailure(key, error);
        }
    } catch (const std::exception& error) {
        LogFailure(key, error);
    }
    return std::nullopt;
}

int Write(const char* key, std::string_view text) {
    try {
        Files::Replace(PathOf(key), text);
        return 0;
    } catch (const std::exception& error) {
        LogFailure(key, error);
        return -1;
    }
}

}  // namespace

int vconf_get_int(const char* in_key, int* intval) {
    auto text = Read(in_key);
    if (!text || intval == nullptr) {
        return -1;
    }
    // Whoever writes the file by hand ends it with a newline.
    gint64 number = 0;
    if (g_ascii_string_to_signed(g_strchomp(text->data.get()), 10, std::numeric_limits<int>::min(),
                                 std::numeric_limits<int>::max(), &number, nullptr) == FALSE) {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, TAG, "%s: not an integer", in_key);
        return -1;
    }
    *intval = static_cast<int>(number);
    return 0;
}

int vconf_set_int(const char* in_key, int intval) {
    return Write(in_key, std::to_string(intval));
}

char* vconf_get_str(const char* in_key) {
    auto text = Read(in_key);
    return text ? text->data.release() : nullptr;
}

int vconf_set_str(const char* in_key, const char* strval) {
    return strval == nullptr ? -1 : Write(in_key, strval);
}
