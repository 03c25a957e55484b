#include "Cloud/Protocol/CloudRequests.h"

#include <glib.h>

#include <charconv>
#include <functional>
#include <stdexcept>
#include <utility>

#include "Cli/Text.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr std::size_t TICKET_BYTES = 12;
constexpr Json::Int64 MILLISECONDS = 1000;

// A result code begins with the HTTP status that it comes with.
constexpr int STATUS_DIVISOR = 10000;

constexpr char CLIENT[] = "bt-orbmanager=1.0.0";
constexpr char PLATFORM[] = "Tizen=";
constexpr char POST_TAIL[] = ";";
constexpr char DOWNLOAD_TAIL[] = "; ;";
constexpr char BEARER[] = "Bearer ";

Answer Success(Json::Value body, const std::string& decided, const std::string& login) {
    body["rcode"] = 0;
    body["rmsg"] = "Success";
    return {200, CompactJson(body), decided, login};
}

/** What becomes of a request that is carried out, or refused by a check; the login is set on the way. */
Answer Judge(const std::function<Answer(std::string& login)>& carryOut) {
    std::string login;
    try {
        return carryOut(login);
    } catch (const Refused<ResultCode>& refused) {
        return Refusal(refused.Code(), refused.what(), login);
    } catch (const std::exception& error) {
        return Refusal(ResultCode::InternalError, error.what(), login);
    }
}

bool IsCdid(const std::string& text) {
    constexpr std::size_t CDID_DIGITS = 32;
    return text.size() == CDID_DIGITS && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

void RequireGood(bool condition, const std::string& message) {
    Require(condition, ResultCode::BadRequest, message);
}

/** MODEL;BUILD;bt-orbmanager=1.0.0;Tizen=VERSION and the tail. */
void CheckUserAgent(const httplib::Request& request, const std::string& tail) {
    const std::string agent = request.get_header_value("User-Agent");
    const auto start = agent.size() - std::min(agent.size(), tail.size());
    const auto pieces = Split(agent.substr(0, start), ';');
    RequireGood(agent.substr(start) == tail && pieces.size() == 4 && pieces[2] == CLIENT &&
                    Cli::StartsWith(pieces[3], PLATFORM) && pieces[3] != PLATFORM,
                std::string("the header User-Agent must be MODEL;BUILD;") + CLIENT + ";" + PLATFORM +
                    "VERSION" + tail);
}

Json::Value ParseBody(const std::string& text) {
    try {
        return ParseJsonObject(text, "body");
    } catch (const std::runtime_error& error) {
        throw Refused<ResultCode>(ResultCode::BadRequest, error.what());
    }
}

/** The television's id, out of the body of an activation. */
std::string ReadActivation(const std::string& text) {
    const Json::Value body = ParseBody(text);
    const Json::Value& device = body["device"];
    const Json::Value& service = body["service"];
    RequireGood(device.isObject() && device["deviceIds"].isObject() && service.isObject() &&
                    service["package"].isObject(),
                "device, device.deviceIds, service and service.package must be objects");
    const Json::Value& package = service["package"];
    std::string cdid = TextMember(device["deviceIds"], "cdid");
    RequireGood(IsCdid(cdid), "device.deviceIds.cdid must be 32 upper-case hexadecimal digits");
    RequireGood(device["osType"] == 2 && TextMember(device, "deviceType") == "10",
                "device.osType must be the number 2 and device.deviceType the text 10");
    RequireGood(!TextMember(device, "osVersion").empty() && device["model"].isString(),
                "device.osVersion and device.model must be texts");
    RequireGood(TextMember(package, "packageVersion") == PACKAGE_VERSION &&
                    TextMember(package, "packageVersionCode") == PACKAGE_VERSION,
                std::string("packageVersion and packageVersionCode must be the text ") + PACKAGE_VERSION);
    return cdid;
}

std::optional<std::int64_t> ParseMark(const std::string& text) {
    std::int64_t mark = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mark);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole && mark >= 1 ? std::optional(mark) : std::nullopt;
}

void CheckQuery(const httplib::Request& request) {
    for (const auto& [name, value] : request.params) {
        RequireGood(name == "table_ver" || name == "changed_after" || name == "coldStartable",
                    "the query knows no " + name);
        RequireGood(request.get_param_value_count(name) == 1, "the query holds " + name + " more than once");
    }
    const bool marked = request.has_param("changed_after");
    RequireGood(request.get_param_value("table_ver") == "1", "the query must hold table_ver=1");
    RequireGood(!marked || ParseMark(request.get_param_value("changed_after")),
                "changed_after must be a positive number");
    RequireGood(request.get_param_value("coldStartable") == (marked ? "true" : ""),
                "coldStartable=true must come with changed_after, and only then");
}

}  // namespace

std::string TextOf(ResultCode code) {
    return std::to_string(static_cast<int>(code));
}

Answer Refusal(ResultCode code, const std::string& message, const std::string& login) {
    Json::Value body;
    body["rcode"] = static_cast<int>(code);
    body["rmsg"] = message;
    return {static_cast<int>(code) / STATUS_DIVISOR, CompactJson(body), TextOf(code) + ": " + message, login};
}

CloudService::CloudService(const Folder& folder, const Users& users, TokenStore& tokens,
                           RecordBook::Clock clock)
    : m_folder(folder),
      m_users(users),
      m_tokens(tokens),
      m_records(folder, std::move(clock)),
      m_secret(Settings(folder.SettingsFile()).SigningSecret()) {}

Answer CloudService::Activate(const httplib::Request& request) {
    return Judge([&](std::string& login) {
        Identify(request, login);
        const std::string deviceId = m_tokens.DeviceId(login, ReadActivation(request.body));
        const Ticket activation = m_tokens.Give("activation", deviceId, login);
        Json::Value body;
        body["dvcId"] = activation.token;
        body["expireTime"] = Json::Int64(activation.expires) * MILLISECONDS;
        return Success(body, "activated", login);
    });
}

Answer CloudService::IssueAppToken(const httplib::Request& request) {
    return Judge([&](std::string& login) {
        Identify(request, login);
        const std::string deviceId = request.get_header_value("x-kc-dvc-id");
        Require(m_tokens.OwnerOf("activation", deviceId) == login, ResultCode::NotActivated,
                "x-kc-dvc-id is none that this user's activation gave");
        const Ticket ticket = m_tokens.Give("app", Base64UrlEncode(RandomBytes(TICKET_BYTES)), login);
        Json::Value claims;
        claims["iss"] = "infosync-cloud";
        claims["sub"] = m_tokens.UserId(login);
        claims["preferred_username"] = login;
        claims["dvc"] = deviceId;
        claims["iat"] = Json::Int64(m_tokens.Now());
        claims["exp"] = Json::Int64(ticket.expires);
        claims["jti"] = ticket.token;
        Json::Value body;
        body["accessToken"] = SignToken(claims, m_secret);
        body["tokenExpireTimeSec"] = Json::Int64(ticket.expires);
        return Success(body, "application token issued", login);
    });
}

Answer CloudService::Download(const httplib::Request& request) {
    return Judge([&](std::string& login) {
        CheckUserAgent(request, DOWNLOAD_TAIL);
        IdentifyBearer(request, login);
        CheckQuery(request);
        return SelectRecords(request, login);
    });
}

Answer CloudService::SelectRecords(const httplib::Request& request, const std::string& login) {
    const auto mark = ParseMark(request.get_param_value("changed_after"));
    const std::string expired = mark ? TakeExpiredMark(login) : std::string();
    const Selection selection = m_records.Select(login, mark);
    const bool unknown = expired.empty() ? selection.outcome == Selection::Outcome::MarkUnknown
                                         : expired == TextOf(ResultCode::MarkUnknown);
    Require(!unknown, ResultCode::MarkUnknown, "changed_after is no mark of this cloud's");
    Require(expired.empty() && selection.outcome == Selection::Outcome::Records, ResultCode::MarkTooOld,
            "changed_after is too old: download everything");
    const std::string count = Cli::Count(selection.count, "record");
    return {200, selection.body, mark ? count + " changed" : "all " + count, login};
}

void CloudService::Identify(const httplib::Request& request, std::string& login) const {
    CheckUserAgent(request, POST_TAIL);
    const std::string fault =
        FindHeaderFault(request, {{"x-kc-uid", ""},
                                  {"x-kc-access-token", ""},
                                  {"x-kc-app-id", CLIENT_ID},
                                  {"Content-Type", "application/json; charset=UTF-8"},
                                  {"Content-Length", std::to_string(request.body.size())}});
    RequireGood(fault.empty(), fault);
    const auto owner = m_tokens.OwnerOf("access", request.get_header_value("x-kc-access-token"));
    Require(owner.has_value(), ResultCode::BadAccessToken, "the x-kc-access-token is unknown or expired");
    login = *owner;
    Require(request.get_header_value("x-kc-uid") == m_tokens.UserId(login), ResultCode::WrongUser,
            "the x-kc-uid is not the access token's user");
    Require(m_users.IsKnown(login), ResultCode::WrongUser, "there is no user " + login + " any more");
}

void CloudService::IdentifyBearer(const httplib::Request& request, std::string& login) const {
    const std::string authorization = request.get_header_value("Authorization");
    Require(Cli::StartsWith(authorization, BEARER), ResultCode::BadAppToken,
            "the header Authorization must be Bearer and a token");
    const auto claims = VerifyToken(authorization.substr(sizeof(BEARER) - 1), m_secret);
    Require(claims.has_value(), ResultCode::BadAppToken, "the bearer token is none of this cloud's");
    login = TextMember(*claims, "preferred_username");
    Require(m_tokens.OwnerOf("app", TextMember(*claims, "jti")).has_value(), ResultCode::BadAppToken,
            "the bearer token has expired");
    Require(m_users.IsKnown(login), ResultCode::WrongUser, "there is no user " + login + " any more");
}

std::string CloudService::TakeExpiredMark(const std::string& login) const {
    const std::string path = m_folder.ExpiredMarkFile(login);
    std::string code = Files::ReadIfThere(path).value_or("");
    return !code.empty() && Files::Remove(path) ? std::string(g_strstrip(code.data())) : std::string();
}

}  // namespace LocalCloud
