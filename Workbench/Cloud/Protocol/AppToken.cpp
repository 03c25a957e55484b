#include "Cloud/Protocol/AppToken.h"

#include <jwt.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>

namespace LocalCloud {

namespace {

constexpr char LOGIN[] = "preferred_username";
constexpr char ID[] = "jti";

using Jwt = std::unique_ptr<jwt_t, decltype(&jwt_free)>;

const unsigned char* Key(const std::string& secret) {
    return reinterpret_cast<const unsigned char*>(secret.data());
}

/**
 * RFC 7515, section 3.1: three parts in base64url. The library must not see anything else: it passes what
 * comes after a NUL, and version 1.10 writes a byte beyond the memory that it takes for an empty part.
 */
bool IsCompactForm(const std::string& token) {
    constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    return token.find_first_not_of(ALPHABET) == std::string::npos &&
           std::count(token.begin(), token.end(), '.') == 2 && token.front() != '.' && token.back() != '.' &&
           token.find("..") == std::string::npos;
}

/** Empty where there is no such claim, or it is no text. */
std::string Claim(const Jwt& token, const char* name) {
    const char* claim = jwt_get_grant(token.get(), name);
    return claim != nullptr ? claim : "";
}

}  // namespace

std::string SignAppToken(const AppToken& token, std::int64_t expires, const std::string& secret) {
    jwt_t* made = nullptr;
    const bool isMade = jwt_new(&made) == 0;
    const Jwt jwt(made, &jwt_free);
    // The library's type ends in 2038 where it has 32 bits.
    const auto last = static_cast<long>(std::min<std::int64_t>(expires, std::numeric_limits<long>::max()));
    const bool isFilled = isMade && jwt_add_grant(made, LOGIN, token.login.c_str()) == 0 &&
                          jwt_add_grant(made, ID, token.id.c_str()) == 0 &&
                          jwt_add_grant_int(made, "exp", last) == 0 &&
                          jwt_set_alg(made, JWT_ALG_HS256, Key(secret), static_cast<int>(secret.size())) == 0;
    const std::unique_ptr<char, decltype(&std::free)> text(isFilled ? jwt_encode_str(made) : nullptr,
                                                           &std::free);
    if (!text) {
        throw std::runtime_error("could not sign an application token");
    }
    return text.get();
}

std::optional<AppToken> VerifyAppToken(const std::string& text, const std::string& secret) {
    if (!IsCompactForm(text)) {
        return std::nullopt;
    }
    jwt_t* decoded = nullptr;
    jwt_decode(&decoded, text.c_str(), Key(secret), static_cast<int>(secret.size()));
    const Jwt token(decoded, &jwt_free);
    // The token names its algorithm itself: any but the one that this cloud signs with is refused.
    if (!token || jwt_get_alg(token.get()) != JWT_ALG_HS256) {
        return std::nullopt;
    }
    const AppToken claims = {Claim(token, LOGIN), Claim(token, ID)};
    return claims.id.empty() ? std::nullopt : std::optional(claims);
}

}  // namespace LocalCloud
