#include "Util/SecurityUtil.h"

#include <ckmc/ckmc-manager.h>
#include <openssl/evp.h>

#include <cstring>
#include <memory>

#include "Util/CInfoSyncException.h"
#include "Util/Log.h"

namespace InfoSyncUtil {

namespace {

constexpr char CDID_SALT[] = "MERVAL";
constexpr int CDID_SALT_LENGTH = 6;
constexpr int CDID_ITERATIONS = 30;
constexpr int CDID_DERIVED_BYTES = 128;
constexpr std::size_t CDID_USED_BYTES = 16;

}  // namespace

void GetData(const std::string& alias, std::string& data) {
    ApiTracker tracker("void InfoSyncUtil::GetData(const string&, std::string&)", __LINE__);
    ckmc_raw_buffer_s* raw = nullptr;
    if (ckmc_get_data(alias.c_str(), nullptr, &raw) != CKMC_ERROR_NONE) {
        throw CInfoSyncException("CKMC error, fail to get data");
    }
    const std::unique_ptr<ckmc_raw_buffer_s, decltype(&ckmc_buffer_free)> buffer(raw, &ckmc_buffer_free);
    if (!buffer) {
        throw CInfoSyncException("CKMC error, buffer is null");
    }
    if (buffer->data == nullptr) {
        throw CInfoSyncException("CKMC error,data is null");
    }
    const char* text = reinterpret_cast<const char*>(buffer->data);
    data.assign(text, strnlen(text, buffer->size));
}

void SaveData(const std::string& alias, const std::string& data) {
    ApiTracker tracker("void InfoSyncUtil::SaveData(const string&, const string&)", __LINE__);
    // The key manager takes the bytes as mutable but only reads them.
    ckmc_raw_buffer_s buffer = {};
    buffer.data = reinterpret_cast<unsigned char*>(const_cast<char*>(data.data()));
    buffer.size = data.size();

    const int removed = ckmc_remove_alias(alias.c_str());
    if (removed != CKMC_ERROR_NONE && removed != CKMC_ERROR_DB_ALIAS_UNKNOWN) {
        INFOSYNC_LOG(DLOG_ERROR, "CKMC error, fail to remove previous data ");
        throw CInfoSyncException("CKMC error, fail to remove previous data");
    }
    ckmc_policy_s policy = {};
    policy.password = nullptr;
    policy.extractable = true;
    if (ckmc_save_data(alias.c_str(), buffer, policy) != CKMC_ERROR_NONE) {
        INFOSYNC_LOG(DLOG_ERROR, "CKMC error, fail to write new data ");
        throw CInfoSyncException("CKMC error, fail to write new data");
    }
}

void RemoveData(const std::string& alias) {
    INFOSYNC_LOG(DLOG_INFO, "remove %s", alias.c_str());
    ckmc_remove_alias(alias.c_str());
}

std::string GetCdid(const std::string& tizenId) {
    ApiTracker tracker("std::string InfoSyncUtil::GetCdid(const string&)", __LINE__);
    std::string derived(CDID_DERIVED_BYTES, '\0');
    if (PKCS5_PBKDF2_HMAC_SHA1(tizenId.data(), static_cast<int>(tizenId.size()),
                               reinterpret_cast<const unsigned char*>(CDID_SALT), CDID_SALT_LENGTH,
                               CDID_ITERATIONS, CDID_DERIVED_BYTES,
                               reinterpret_cast<unsigned char*>(derived.data())) != 1) {
        throw CInfoSyncException("fail to derive the cloud device id");
    }
    constexpr char HEX_DIGITS[] = "0123456789ABCDEF";
    std::string cdid;
    for (std::size_t i = 0; i < CDID_USED_BYTES; ++i) {
        const auto byte = static_cast<unsigned char>(derived[i]);
        cdid += HEX_DIGITS[byte >> 4U];
        cdid += HEX_DIGITS[byte & 0x0FU];
    }
    return cdid;
}

}  // namespace InfoSyncUtil
