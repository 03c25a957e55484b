#include "Cloud/Service/AppToken.h"

#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

constexpr char HEADER[] = R"({"alg":"HS256","typ":"JWT"})";

std::string Signature(const std::string& signedPart, const std::string& secret) {
    return Base64UrlEncode(HmacSha256(secret, signedPart));
}

}  // namespace

std::string SignAppToken(const Json::Value& claims, const std::string& secret) {
    const std::string signedPart = Base64UrlEncode(HEADER) + "." + Base64UrlEncode(CompactJson(claims));
    return signedPart + "." + Signature(signedPart, secret);
}

std::optional<Json::Value> VerifyAppToken(const std::string& token, const std::string& secret) {
    const auto end = token.rfind('.');
    const auto begin = token.find('.');
    if (!SameSecret(token.substr(end + 1), Signature(token.substr(0, end), secret))) {
        return std::nullopt;
    }
    try {
        return ParseJsonObject(Base64UrlDecode(token.substr(begin + 1, end - begin - 1)).value_or(""),
                               "token");
    } catch (const CloudError&) {
        return std::nullopt;
    }
}

}  // namespace LocalCloud
