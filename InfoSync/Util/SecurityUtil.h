/** Secure storage, and the device id that is derived rather than stored. */
#pragma once

#include <string>

namespace InfoSyncUtil {

// The records that outlive a run, each under its own alias.
inline constexpr char ALIAS_ACCESS_TOKEN[] = "InfoSyncAccessToken";
inline constexpr char ALIAS_AUTH_CODE[] = "InfoSyncAuthCode";
inline constexpr char ALIAS_RECORDS[] = "InfoSyncRecords";
inline constexpr char ALIAS_JWT[] = "InfoSyncJWT";
inline constexpr char ALIAS_SERVICE_ACTIVATION_INFO[] = "InfoSyncServiceActivationInfo";

/**
 * Replaces data with the text stored under the alias, up to its first NUL.
 * @throws CInfoSyncException when there is none or it cannot be read; data is then unchanged
 */
void GetData(const std::string& alias, std::string& data);

/**
 * Replaces what is stored under the alias. The store cannot replace in one step: a failure between the
 * removal and the save leaves nothing under the alias.
 * @throws CInfoSyncException
 */
void SaveData(const std::string& alias, const std::string& data);

/** Deletes what is stored under the alias; does not report whether there was anything. */
void RemoveData(const std::string& alias);

/**
 * The id under which the cloud knows this set: 32 upper-case hexadecimal digits, always the same for one
 * Tizen ID (PBKDF2-HMAC-SHA1, RFC 8018).
 */
std::string GetCdid(const std::string& tizenId);

}  // namespace InfoSyncUtil
