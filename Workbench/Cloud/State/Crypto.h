/** The few cryptographic operations that the cloud needs, on OpenSSL. */
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace LocalCloud {

std::string Sha256(const std::string& bytes);

/** In hexadecimal digits. */
std::string HmacSha256(const std::string& key, const std::string& bytes);

/** Cryptographically strong. @throws std::runtime_error */
std::string RandomBytes(std::size_t count);

/** RFC 4648, section 5, without padding. */
std::string Base64UrlEncode(const std::string& bytes);

/** @return nothing unless the text is what Base64UrlEncode makes of some bytes */
std::optional<std::string> Base64UrlDecode(const std::string& text);

/** Lower-case hexadecimal digits. */
std::string Hex(const std::string& bytes);

}  // namespace LocalCloud
