/** The few cryptographic operations that the cloud needs. */
#pragma once

#include <string>

namespace LocalCloud {

/** 64 lower-case hexadecimal digits each; the random ones are cryptographically strong. */
std::string Sha256(const std::string& text);
std::string HmacSha256(const std::string& key, const std::string& text);
std::string RandomDigits();

/** What a code says of the verifier that belongs to it (RFC 7636, S256). */
std::string ChallengeOf(const std::string& verifier);

/** RFC 4648, section 5, without padding. @return the empty text for what is not spelt so */
std::string Base64UrlDecode(const std::string& text);

}  // namespace LocalCloud
