#include "Cloud/Service/AppToken.h"

#include <jwt.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "Cloud/Service/RequestChecks.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

using Token = std::unique_ptr<jwt_t, decltype(&jwt_free)>;
using Text = std::unique_ptr<char, decltype(&std::free)>;

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/**
 * RFC 7515, section 3.1: three parts in base64url. The library must not see anything else: it passes what
 * comes after a NUL, and version 1.10 writes a byte beyond the memory that it takes for an empty part.
 */
bool IsCompactForm(const std::string& token) {
    constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    const auto parts = Split(token, '.');
    return parts.size() == 3 && std::all_of(parts.begin(), parts.end(), [&](const std::string& part) {
               return !part.empty() && part.find_first_not_of(ALPHABET) == std::string::npos;
           });
}

}  // namespace

std::string SignAppToken(const Json::Value& claims, const std::string& secret) {
    jwt_t* made = nullptr;
    jwt_new(&made);
    const Token token(made, &jwt_free);
    const bool filled =
        token && jwt_add_grants_json(token.get(), CompactJson(claims).c_str()) == 0 &&
        jwt_set_alg(token.get(), JWT_ALG_HS256, Bytes(secret), static_cast<int>(secret.size())) == 0;
    const Text text(filled ? jwt_encode_str(token.get()) : nullptr, &std::free);
    if (!text) {
        throw CloudError("could not sign an application token");
    }
    return text.get();
}

std::optional<Json::Value> VerifyAppToken(const std::string& token, const std::string& secret) {
    if (!IsCompactForm(token)) {
        return std::nullopt;
    }
    jwt_t* decoded = nullptr;
    jwt_decode(&decoded, token.c_str(), Bytes(secret), static_cast<int>(secret.size()));
    const Token verified(decoded, &jwt_free);
    // The token names its algorithm itself: any but the one that this cloud signs with is refused.
    if (!verified || jwt_get_alg(verified.get()) != JWT_ALG_HS256) {
        return std::nullopt;
    }
    const Text claims(jwt_get_grants_json(verified.get(), nullptr), &std::free);
    try {
        return ParseJsonObject(claims ? claims.get() : "", "token");
    } catch (const CloudError&) {
        return std::nullopt;
    }
}

}  // namespace LocalCloud
