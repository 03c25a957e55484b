#include <ckmc/ckmc-manager.h>
#include <dlog.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <system_error>

#include "Files.h"
#include "TvFolder.h"

namespace {

/** Runs an operation on the alias's file; what goes wrong ends in the log and as the key manager's error. */
template <typename Operation>
int OnRecord(const char* alias, const Operation& operation) {
    try {
        const auto path = alias == nullptr ? std::nullopt : TvFolder::KeyPath(alias);
        return path ? operation(*path) : CKMC_ERROR_INVALID_PARAMETER;
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory) {
            return CKMC_ERROR_DB_ALIAS_UNKNOWN;
        }
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "CKMC", "%s", error.what());
    } catch (const std::exception& error) {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "CKMC", "%s", error.what());
    }
    return CKMC_ERROR_DB_ERROR;
}

}  // namespace

int ckmc_save_data(const char* alias, const ckmc_raw_buffer_s data, const ckmc_policy_s policy) {
    // A file can keep neither a password nor that a record must not be read back.
    if ((data.data == nullptr && data.size != 0) || policy.password != nullptr || !policy.extractable) {
        return CKMC_ERROR_INVALID_PARAMETER;
    }
    return OnRecord(alias, [&](const std::string& path) -> int {
        namespace fs = std::filesystem;
        if (fs::exists(fs::symlink_status(path))) {
            return CKMC_ERROR_DB_ALIAS_EXISTS;
        }
        const auto* bytes = reinterpret_cast<const char*>(data.data);
        Files::Replace(path, {bytes, data.size});
        // The folder may have been made by hand, or copied.
        fs::permissions(fs::path(path).parent_path(), fs::perms::owner_all);
        return CKMC_ERROR_NONE;
    });
}

int ckmc_get_data(const char* alias, const char* password, ckmc_raw_buffer_s** data) {
    if (data == nullptr || password != nullptr) {
        return CKMC_ERROR_INVALID_PARAMETER;
    }
    return OnRecord(alias, [&](const std::string& path) -> int {
        Files::Bytes content = Files::ReadBytes(path);
        *data = static_cast<ckmc_raw_buffer_s*>(std::calloc(1, sizeof(ckmc_raw_buffer_s)));
        if (*data == nullptr) {
            throw std::bad_alloc();
        }
        **data = {reinterpret_cast<unsigned char*>(content.data.release()), content.size};
        return CKMC_ERROR_NONE;
    });
}

int ckmc_remove_alias(const char* alias) {
    return OnRecord(alias, [](const std::string& path) -> int {
        return Files::Remove(path) ? CKMC_ERROR_NONE : CKMC_ERROR_DB_ALIAS_UNKNOWN;
    });
}

void ckmc_buffer_free(ckmc_raw_buffer_s* buffer) {
    if (buffer != nullptr) {
        std::free(buffer->data);
        std::free(buffer);
    }
}
