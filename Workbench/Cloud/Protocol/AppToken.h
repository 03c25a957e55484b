/** The application token: a JSON Web Token (RFC 7519), signed with HMAC-SHA-256. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace LocalCloud {

/** What the cloud reads in its own token. */
struct AppToken {
    std::string login;
    /** What the token store knows the token by. */
    std::string id;
};

/** @param expires in seconds since the epoch, for whoever looks @throws std::runtime_error */
std::string SignAppToken(const AppToken& token, std::int64_t expires, const std::string& secret);

/** A token that this secret signed, whether it has expired or not; nothing for any other text. */
std::optional<AppToken> VerifyAppToken(const std::string& text, const std::string& secret);

}  // namespace LocalCloud
