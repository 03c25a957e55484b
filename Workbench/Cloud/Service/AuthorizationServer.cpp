#include "Cloud/Service/AuthorizationServer.h"

#include <algorithm>
#include <utility>

#include "Cloud/Service/RequestChecks.h"
#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

constexpr char CODE_FORMAT[] = "lc1";
constexpr std::size_t CHALLENGE_BYTES = 32;  // SHA-256
constexpr int BAD_REQUEST = 400;
constexpr int UNAUTHORIZED = 401;

/** An error answer of RFC 6749, section 5.2, in the server's envelope. */
Answer Refused(int status, const std::string& error, const std::string& description,
               const std::string& login = {}) {
    Json::Value body;
    Json::Value& rsp = body["rsp"];
    rsp["stat"] = "fail";
    rsp["error"] = error;
    rsp["error_description"] = description;
    return {status, std::make_shared<const std::string>(CompactJson(body)), error + ": " + description,
            login};
}

std::string FindHeaderFaults(const httplib::Request& request) {
    return FindHeaderFault(request, {{"Content-Type", "application/x-www-form-urlencoded; charset=utf-8"},
                                     {"Content-Length", std::to_string(request.body.size())},
                                     {"Package-Name", PACKAGE_NAME},
                                     {"Package-Version", PACKAGE_VERSION},
                                     {"Client-OS-Verseion", "Tizen 6.5"},
                                     {"Client-Model", "Ostra9"}});
}

/** The fields by name when they are exactly these, in this order, each with a value. Nothing is unescaped. */
std::optional<std::map<std::string, std::string>> ReadForm(const std::string& body,
                                                           const std::vector<std::string>& names) {
    const auto pieces = Split(body, '&');
    std::map<std::string, std::string> form;
    if (pieces.size() != names.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string start = names[i] + "=";
        if (pieces[i].compare(0, start.size(), start) != 0 || pieces[i].size() == start.size()) {
            return std::nullopt;
        }
        form[names[i]] = pieces[i].substr(start.size());
    }
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

}  // namespace

std::optional<AuthorizationCode> AuthorizationCode::Decode(const std::string& text) {
    const auto pieces = Split(text, '.');
    if (pieces.size() != 4 || pieces[0] != CODE_FORMAT) {
        return std::nullopt;
    }
    const auto login = Base64UrlDecode(pieces[1]);
    const auto challenge = Base64UrlDecode(pieces[2]);
    const auto nonce = Base64UrlDecode(pieces[3]);
    if (!login || !IsLogin(*login) || !challenge || challenge->size() != CHALLENGE_BYTES || !nonce ||
        nonce->empty()) {
        return std::nullopt;
    }
    return AuthorizationCode{*login, *challenge};
}

Answer AuthorizationServer::IssueToken(const httplib::Request& request) const {
    const std::string fault = FindHeaderFaults(request);
    if (!fault.empty()) {
        return Refused(BAD_REQUEST, "invalid_request", fault);
    }
    auto form = ReadForm(request.body, {"code", "client_id", "auth_server_url", "code_verifier"});
    if (!form) {
        return Refused(
            BAD_REQUEST, "invalid_request",
            "the form must be code, client_id, auth_server_url and code_verifier, each with a value");
    }
    if ((*form)["client_id"] != CLIENT_ID) {
        return Refused(UNAUTHORIZED, "invalid_client", "the client_id is not known");
    }
    const auto code = AuthorizationCode::Decode((*form)["code"]);
    if (!code) {
        return Refused(BAD_REQUEST, "invalid_grant", "the code is none of this cloud's");
    }
    if (!IsKnown(code->login)) {
        return Refused(BAD_REQUEST, "access_denied", "there is no user " + code->login, code->login);
    }
    const std::string& verifier = (*form)["code_verifier"];
    if (!IsCodeVerifier(verifier)) {
        return Refused(BAD_REQUEST, "invalid_request",
                       "the code_verifier is not 43 to 128 unreserved characters", code->login);
    }
    if (!SameSecret(Sha256(verifier), code->challenge)) {
        return Refused(BAD_REQUEST, "invalid_grant", "the code_verifier does not match the code's challenge",
                       code->login);
    }
    if (!m_tokens.UseCode((*form)["code"])) {
        return Refused(BAD_REQUEST, "invalid_grant", "the code was used before", code->login);
    }
    return Granted(code->login, m_tokens.Issue(code->login), "token issued");
}

Answer AuthorizationServer::RefreshToken(const httplib::Request& request) const {
    const std::string fault = FindHeaderFaults(request);
    if (!fault.empty()) {
        return Refused(BAD_REQUEST, "invalid_request", fault);
    }
    auto form = ReadForm(request.body, {"refresh_token", "client_id", "auth_server_url"});
    if (!form) {
        return Refused(BAD_REQUEST, "invalid_request",
                       "the form must be refresh_token, client_id and auth_server_url, each with a value");
    }
    if ((*form)["client_id"] != CLIENT_ID) {
        return Refused(UNAUTHORIZED, "invalid_client", "the client_id is not known");
    }
    const std::string& token = (*form)["refresh_token"];
    const auto login = m_tokens.RefreshTokenOwner(token);
    if (login && !IsKnown(*login)) {
        return Refused(BAD_REQUEST, "access_denied", "there is no user " + *login + " any more", *login);
    }
    const auto tokens = login ? m_tokens.Refresh(token) : std::nullopt;
    if (!tokens) {
        return Refused(BAD_REQUEST, "invalid_grant", "the refresh_token is unknown, expired or replaced");
    }
    return Granted(*login, *tokens, "token refreshed");
}

Answer AuthorizationServer::Granted(const std::string& login, const TokenPair& tokens,
                                    const std::string& decided) const {
    Json::Value body;
    Json::Value& rsp = body["rsp"];
    rsp["stat"] = "ok";
    Json::Value& result = rsp["result"];
    result["access_token"] = tokens.accessToken;
    result["refresh_token"] = tokens.refreshToken;
    result["access_token_expires_in"] = Json::Int64(tokens.accessLifetime);
    result["refresh_token_expires_in"] = Json::Int64(tokens.refreshLifetime);
    result["token_type"] = "Bearer";
    result["scope"] = "offline.access";
    result["userId"] = m_tokens.UserId(login);
    return {200, std::make_shared<const std::string>(CompactJson(body)), decided, login};
}

bool AuthorizationServer::IsKnown(const std::string& login) const {
    return m_anyUser || m_users.Exists(login);
}

}  // namespace LocalCloud
