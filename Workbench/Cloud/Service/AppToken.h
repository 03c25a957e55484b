/** The cloud's application token: a JSON Web Token (RFC 7519), signed with HMAC-SHA-256. */
#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace LocalCloud {

std::string SignAppToken(const Json::Value& claims, const std::string& secret);

/** The claims of a token that this secret signed, whether it has expired or not; nothing for any other text.
 */
std::optional<Json::Value> VerifyAppToken(const std::string& token, const std::string& secret);

}  // namespace LocalCloud
