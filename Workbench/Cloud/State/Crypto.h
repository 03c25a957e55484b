/** The few cryptographic operations that the protocol needs, on OpenSSL. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>

namespace LocalCloud {

std::string Sha256(const std::string& bytes);
std::string HmacSha256(const std::string& key, const std::string& bytes);

/** Cryptographically strong. @throws std::runtime_error */
std::string RandomBytes(std::size_t count);

/** RFC 4648, section 5, without padding. */
std::string Base64UrlEncode(const std::string& bytes);

/** @return nothing unless the text is what Base64UrlEncode makes of some bytes */
std::optional<std::string> Base64UrlDecode(const std::string& text);

/** Lower-case hexadecimal digits. */
std::string Hex(const std::string& bytes);

/** Compares secrets in a time that depends on their lengths only. */
bool SameSecret(const std::string& left, const std::string& right);

/** A JSON Web Token (RFC 7519) of the claims, signed with HMAC-SHA-256. @throws std::runtime_error */
std::string SignToken(const Json::Value& claims, const std::string& secret);

/** The claims of a token that this secret signed, whether it has expired or not; nothing for any other text.
 */
std::optional<Json::Value> VerifyToken(const std::string& token, const std::string& secret);

}  // namespace LocalCloud
