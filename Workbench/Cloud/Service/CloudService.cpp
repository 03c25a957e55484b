#include "Cloud/Service/CloudService.h"

#include <glib.h>

#include <charconv>
#include <memory>
#include <utility>

#include "Cloud/Service/AppToken.h"
#include "Cloud/Service/RequestChecks.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr int OK = 200;
constexpr Json::Int64 MILLISECONDS = 1000;

// A result code begins with the HTTP status that it comes with.
constexpr int STATUS_DIVISOR = 10000;

constexpr char POST_TAIL[] = ";";
constexpr char DOWNLOAD_TAIL[] = "; ;";
constexpr char BEARER[] = "Bearer ";

Answer Success(Json::Value body, const std::string& decided, const std::string& login) {
    body["rcode"] = 0;
    body["rmsg"] = "Success";
    return {OK, std::make_shared<const std::string>(CompactJson(body)), decided, login};
}

bool IsCdid(const std::string& text) {
    constexpr std::size_t CDID_DIGITS = 32;
    return text.size() == CDID_DIGITS && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

/** What is wrong with an activation's body, or the empty text; cdid is set when it is good. */
std::string FindActivationFault(const std::string& text, std::string& cdid) {
    Json::Value body;
    try {
        body = ParseJsonObject(text, "body");
    } catch (const CloudError& error) {
        return error.what();
    }
    const Json::Value& device = body["device"];
    const Json::Value& service = body["service"];
    if (!device.isObject() || !device["deviceIds"].isObject() || !service.isObject() ||
        !service["package"].isObject()) {
        return "device, device.deviceIds, service and service.package must be objects";
    }
    const Json::Value& package = service["package"];
    if (!IsCdid(TextMember(device["deviceIds"], "cdid"))) {
        return "device.deviceIds.cdid must be 32 upper-case hexadecimal digits";
    }
    if (device["osType"] != 2 || TextMember(device, "deviceType") != "10") {
        return "device.osType must be the number 2 and device.deviceType the text 10";
    }
    if (TextMember(device, "osVersion").empty() || !device["model"].isString()) {
        return "device.osVersion and device.model must be texts";
    }
    if (TextMember(package, "packageVersion") != PACKAGE_VERSION ||
        TextMember(package, "packageVersionCode") != PACKAGE_VERSION) {
        return std::string("packageVersion and packageVersionCode must be the text ") + PACKAGE_VERSION;
    }
    cdid = TextMember(device["deviceIds"], "cdid");
    return {};
}

std::optional<std::int64_t> ParseMark(const std::string& text) {
    std::int64_t mark = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mark);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && mark >= 1 ? std::optional(mark) : std::nullopt;
}

/** What is wrong with a download's query, or the empty text. */
std::string FindQueryFault(const httplib::Request& request) {
    for (const auto& [name, value] : request.params) {
        if (name != "table_ver" && name != "changed_after" && name != "coldStartable") {
            return "the query knows no " + name;
        }
        if (request.get_param_value_count(name) != 1) {
            return "the query holds " + name + " more than once";
        }
    }
    if (request.get_param_value("table_ver") != "1") {
        return "the query must hold table_ver=1";
    }
    const bool marked = request.has_param("changed_after");
    if (marked && !ParseMark(request.get_param_value("changed_after"))) {
        return "changed_after must be a positive number";
    }
    if (request.get_param_value("coldStartable") != (marked ? "true" : "")) {
        return "coldStartable=true must come with changed_after, and only then";
    }
    return {};
}

}  // namespace

Answer Refusal(ResultCode code, const std::string& message, const std::string& login) {
    Json::Value body;
    body["rcode"] = static_cast<int>(code);
    body["rmsg"] = message;
    const std::string decided = std::to_string(static_cast<int>(code)) + ": " + message;
    return {static_cast<int>(code) / STATUS_DIVISOR, std::make_shared<const std::string>(CompactJson(body)),
            decided, login};
}

CloudService::CloudService(const Folder& folder, TokenStore& tokens, RecordBook::Clock clock, bool anyUser)
    : m_folder(folder),
      m_users(folder),
      m_tokens(tokens),
      m_records(folder, std::move(clock)),
      m_secret(Settings(folder.SettingsFile()).SigningSecret()),
      m_anyUser(anyUser) {}

Answer CloudService::Activate(const httplib::Request& request) {
    Answer identity = Identify(request);
    if (identity.status != OK) {
        return identity;
    }
    std::string cdid;
    const std::string fault = FindActivationFault(request.body, cdid);
    if (!fault.empty()) {
        return Refusal(ResultCode::BadRequest, fault, identity.login);
    }
    const Activation activation = m_tokens.Activate(identity.login, cdid);
    Json::Value body;
    body["dvcId"] = activation.deviceId;
    body["expireTime"] = Json::Int64(activation.expiresAt) * MILLISECONDS;
    return Success(body, "activated", identity.login);
}

Answer CloudService::IssueAppToken(const httplib::Request& request) {
    Answer identity = Identify(request);
    if (identity.status != OK) {
        return identity;
    }
    const std::string deviceId = request.get_header_value("x-kc-dvc-id");
    if (!m_tokens.IsActivated(identity.login, deviceId)) {
        return Refusal(ResultCode::NotActivated, "x-kc-dvc-id is none that this user's activation gave",
                       identity.login);
    }
    const AppTicket ticket = m_tokens.IssueAppTicket(identity.login);
    Json::Value claims;
    claims["iss"] = "infosync-cloud";
    claims["sub"] = m_tokens.UserId(identity.login);
    claims["preferred_username"] = identity.login;
    claims["dvc"] = deviceId;
    claims["iat"] = Json::Int64(ticket.issuedAt);
    claims["exp"] = Json::Int64(ticket.expiresAt);
    claims["jti"] = ticket.id;
    Json::Value body;
    body["accessToken"] = SignAppToken(claims, m_secret);
    body["tokenExpireTimeSec"] = Json::Int64(ticket.expiresAt);
    return Success(body, "application token issued", identity.login);
}

Answer CloudService::Download(const httplib::Request& request) {
    const std::string agentFault = FindUserAgentFault(request, DOWNLOAD_TAIL);
    if (!agentFault.empty()) {
        return Refusal(ResultCode::BadRequest, agentFault);
    }
    const std::string authorization = request.get_header_value("Authorization");
    if (authorization.compare(0, sizeof(BEARER) - 1, BEARER) != 0) {
        return Refusal(ResultCode::BadAppToken, "the header Authorization must be Bearer and a token");
    }
    const auto claims = VerifyAppToken(authorization.substr(sizeof(BEARER) - 1), m_secret);
    if (!claims) {
        return Refusal(ResultCode::BadAppToken, "the bearer token is none of this cloud's");
    }
    const std::string login = TextMember(*claims, "preferred_username");
    if (!m_tokens.IsValidAppTicket(TextMember(*claims, "jti"))) {
        return Refusal(ResultCode::BadAppToken, "the bearer token has expired", login);
    }
    if (!IsKnown(login)) {
        return Refusal(ResultCode::WrongUser, "there is no user " + login + " any more", login);
    }
    const std::string queryFault = FindQueryFault(request);
    if (!queryFault.empty()) {
        return Refusal(ResultCode::BadRequest, queryFault, login);
    }
    try {
        return SelectRecords(request, login);
    } catch (const std::runtime_error& error) {
        return Refusal(ResultCode::InternalError, error.what(), login);
    }
}

Answer CloudService::SelectRecords(const httplib::Request& request, const std::string& login) {
    const auto mark = ParseMark(request.get_param_value("changed_after"));
    const std::string expired = mark ? TakeExpiredMark(login) : std::string();
    const Selection selection = m_records.Select(login, mark);
    if (!expired.empty() || selection.outcome != Selection::Outcome::Records) {
        const bool unknown = expired.empty()
                                 ? selection.outcome == Selection::Outcome::MarkUnknown
                                 : expired == std::to_string(static_cast<int>(ResultCode::MarkUnknown));
        return unknown
                   ? Refusal(ResultCode::MarkUnknown, "changed_after is no mark of this cloud's", login)
                   : Refusal(ResultCode::MarkTooOld, "changed_after is too old: download everything", login);
    }
    const std::string count =
        std::to_string(selection.count) + (selection.count == 1 ? " record" : " records");
    return {OK, selection.body, mark ? count + " changed" : "all " + count, login};
}

Answer CloudService::Identify(const httplib::Request& request) const {
    std::string fault = FindUserAgentFault(request, POST_TAIL);
    if (fault.empty()) {
        fault = FindHeaderFault(request, {{"x-kc-uid", ""},
                                          {"x-kc-access-token", ""},
                                          {"x-kc-app-id", CLIENT_ID},
                                          {"Content-Type", "application/json; charset=UTF-8"},
                                          {"Content-Length", std::to_string(request.body.size())}});
    }
    if (!fault.empty()) {
        return Refusal(ResultCode::BadRequest, fault);
    }
    const auto login = m_tokens.AccessTokenOwner(request.get_header_value("x-kc-access-token"));
    if (!login) {
        return Refusal(ResultCode::BadAccessToken, "the x-kc-access-token is unknown or expired");
    }
    if (request.get_header_value("x-kc-uid") != m_tokens.UserId(*login)) {
        return Refusal(ResultCode::WrongUser, "the x-kc-uid is not the access token's user", *login);
    }
    if (!IsKnown(*login)) {
        return Refusal(ResultCode::WrongUser, "there is no user " + *login + " any more", *login);
    }
    return {OK, nullptr, {}, *login};
}

bool CloudService::IsKnown(const std::string& login) const {
    return m_anyUser || m_users.Exists(login);
}

std::string CloudService::TakeExpiredMark(const std::string& login) const {
    const std::string path = m_folder.ExpiredMarkFile(login);
    std::string code = Files::ReadIfThere(path).value_or("");
    return !code.empty() && Files::Remove(path) ? std::string(g_strstrip(code.data())) : std::string();
}

}  // namespace LocalCloud
