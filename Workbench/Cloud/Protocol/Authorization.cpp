#include <map>
#include <vector>

#include "AuthData/CAccessToken.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/State/Crypto.h"
#include "Util/ClientIdentity.h"

namespace LocalCloud {

namespace {

constexpr char CODE_FORMAT[] = "lc1";

using Form = std::map<std::string, std::string>;

/** The form by name, when it has exactly these fields, in this order, each with a value. Nothing is
 * unescaped. */
Form ReadForm(const httplib::Request& request, const std::vector<std::string>& names,
              const std::string& inWords) {
    DemandHeaders(request, ResultCode::INVALID_REQUEST,
                  {{"Content-Type", "application/x-www-form-urlencoded; charset=utf-8"},
                   {"Content-Length", std::to_string(request.body.size())},
                   {"Package-Name", ClientIdentity::PACKAGE_NAME},
                   {"Package-Version", ClientIdentity::PACKAGE_VERSION},
                   {"Client-OS-Verseion", "Tizen 6.5"},
                   {"Client-Model", "Ostra9"}});
    const auto pieces = Split(request.body, '&');
    Form form;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string start = names[i] + "=";
        Demand(pieces.size() == names.size() && Cli::StartsWith(pieces[i], start) &&
                   pieces[i].size() > start.size(),
               ResultCode::INVALID_REQUEST, "the form must be " + inWords + ", each with a value");
        form[names[i]] = pieces[i].substr(start.size());
    }
    Demand(form["client_id"] == ClientIdentity::OAUTH_CLIENT_ID, ResultCode::INVALID_CLIENT,
           "the client_id is not known");
    return form;
}

/** RFC 7636, section 4.1. */
bool IsCodeVerifier(const std::string& text) {
    constexpr std::size_t SHORTEST = 43;
    constexpr std::size_t LONGEST = 128;
    constexpr char UNRESERVED[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    return text.size() >= SHORTEST && text.size() <= LONGEST &&
           text.find_first_not_of(UNRESERVED) == std::string::npos;
}

Answer Granted(const Cloud& cloud, const std::string& login, const TokenPair& tokens,
               const std::string& decided) {
    Json::Value body;
    Json::Value& rsp = body["rsp"];
    rsp["stat"] = "ok";
    Json::Value& result = rsp["result"];
    result[CAccessToken::ACCESS_TOKEN] = tokens.access;
    result[CAccessToken::REFRESH_TOKEN] = tokens.refresh;
    result[CAccessToken::ACCESS_TOKEN_LIFETIME] = Json::Int64(cloud.folder.Lifetime(Holding::ACCESS));
    result[CAccessToken::REFRESH_TOKEN_LIFETIME] = Json::Int64(cloud.folder.Lifetime(Holding::REFRESH));
    result["token_type"] = "Bearer";
    result["scope"] = "offline.access";
    result[CAccessToken::USER_ID] = cloud.tokens.UserId(login);
    return {200, Cli::CompactJson(body), decided, login};
}

}  // namespace

Answer IssueToken(Cloud& cloud, const httplib::Request& request, std::string& login) {
    Form form = ReadForm(request, {"code", "client_id", "auth_server_url", "code_verifier"},
                         "code, client_id, auth_server_url and code_verifier");
    // "lc1." and, in base64url, the login id, the challenge and a nonce.
    const auto pieces = Split(form["code"], '.');
    const std::string user = pieces.size() == 4 ? Base64UrlDecode(pieces[1]) : "";
    Demand(IsLogin(user) && pieces[0] == CODE_FORMAT && !pieces[3].empty(), ResultCode::INVALID_GRANT,
           "the code is none of this cloud's");
    login = user;
    Demand(cloud.users.Exists(login), ResultCode::ACCESS_DENIED, "there is no user " + login);
    Demand(IsCodeVerifier(form["code_verifier"]), ResultCode::INVALID_REQUEST,
           "the code_verifier is not 43 to 128 unreserved characters");
    Demand(ChallengeOf(form["code_verifier"]) == pieces[2], ResultCode::INVALID_GRANT,
           "the code_verifier does not match the code's challenge");
    Demand(cloud.tokens.UseCode(form["code"]), ResultCode::INVALID_GRANT, "the code was used before");
    return Granted(cloud, login, cloud.tokens.Issue(login), "token issued");
}

Answer RefreshToken(Cloud& cloud, const httplib::Request& request, std::string& login) {
    Form form = ReadForm(request, {"refresh_token", "client_id", "auth_server_url"},
                         "refresh_token, client_id and auth_server_url");
    login = cloud.tokens.OwnerOf(Holding::REFRESH, form["refresh_token"]).value_or("");
    Demand(login.empty() || cloud.users.Exists(login), ResultCode::ACCESS_DENIED,
           "there is no user " + login + " any more");
    const auto pair = cloud.tokens.Refresh(form["refresh_token"]);
    Demand(pair.has_value(), ResultCode::INVALID_GRANT, "the refresh_token is unknown, expired or replaced");
    return Granted(cloud, login, *pair, "token refreshed");
}

}  // namespace LocalCloud
