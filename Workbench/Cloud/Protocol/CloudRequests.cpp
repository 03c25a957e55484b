#include <algorithm>
#include <charconv>
#include <iterator>
#include <stdexcept>

#include "AuthData/CDeviceInfo.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/State/Users.h"
#include "Util/ClientIdentity.h"

namespace LocalCloud {

namespace {

constexpr Json::Int64 MILLISECONDS = 1000;

constexpr char CLIENT[] = "bt-orbmanager=1.0.0";
constexpr char PLATFORM[] = "Tizen=";
constexpr char POST_TAIL[] = ";";
constexpr char DOWNLOAD_TAIL[] = "; ;";
constexpr char BEARER[] = "Bearer ";

Answer Success(Json::Value body, const std::string& decided) {
    body["rcode"] = 0;
    body["rmsg"] = "Success";
    return {200, Cli::CompactJson(body), decided, ""};
}

void DemandGood(bool condition, const std::string& message) {
    Demand(condition, ResultCode::BAD_REQUEST, message);
}

/** MODEL;BUILD;bt-orbmanager=1.0.0;Tizen=VERSION and the tail. */
void CheckUserAgent(const httplib::Request& request, const std::string& tail) {
    const std::string agent = request.get_header_value("User-Agent");
    const auto start = agent.size() - std::min(agent.size(), tail.size());
    const auto pieces = Split(agent.substr(0, start), ';');
    DemandGood(agent.substr(start) == tail && pieces.size() == 4 && pieces[2] == CLIENT &&
                   Cli::StartsWith(pieces[3], PLATFORM) && pieces[3] != PLATFORM,
               std::string("the header User-Agent must be MODEL;BUILD;") + CLIENT + ";" + PLATFORM +
                   "VERSION" + tail);
}

Json::Value ParseBody(const std::string& text) {
    // Made of many small values, a text takes some sixty times its size.
    constexpr std::size_t LARGEST = 65536;
    DemandGood(text.size() <= LARGEST, "the body is larger than any activation");
    try {
        return Cli::ParseObject(text, "body");
    } catch (const std::runtime_error& error) {
        throw Refused(ResultCode::BAD_REQUEST, error.what());
    }
}

/** The television's id, out of the body of an activation. */
std::string ReadActivation(const std::string& text) {
    constexpr std::size_t CDID_DIGITS = 32;
    const Json::Value body = ParseBody(text);
    const auto at = [&](const char* path) -> const Json::Value& { return Json::Path(path).resolve(body); };
    const auto textAt = [&](const char* path) { return at(path).isString() ? at(path).asString() : ""; };
    std::string cdid = textAt("device.deviceIds.cdid");
    DemandGood(cdid.size() == CDID_DIGITS && cdid.find_first_not_of("0123456789ABCDEF") == std::string::npos,
               "device.deviceIds.cdid must be 32 upper-case hexadecimal digits");
    DemandGood(at("device.osType") == 2 && textAt("device.deviceType") == "10",
               "device.osType must be the number 2 and device.deviceType the text 10");
    DemandGood(!textAt("device.osVersion").empty() && at("device.model").isString(),
               "device.osVersion and device.model must be texts");
    DemandGood(textAt("service.package.packageVersion") == ClientIdentity::PACKAGE_VERSION &&
                   textAt("service.package.packageVersionCode") == ClientIdentity::PACKAGE_VERSION,
               std::string("packageVersion and packageVersionCode must be the text ") +
                   ClientIdentity::PACKAGE_VERSION);
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
        DemandGood(name == "table_ver" || name == "changed_after" || name == "coldStartable",
                   "the query knows no " + name);
        DemandGood(request.get_param_value_count(name) == 1, "the query holds " + name + " more than once");
    }
    const bool marked = request.has_param("changed_after");
    DemandGood(request.get_param_value("table_ver") == "1", "the query must hold table_ver=1");
    DemandGood(!marked || ParseMark(request.get_param_value("changed_after")),
               "changed_after must be a positive number");
    DemandGood(request.get_param_value("coldStartable") == (marked ? "true" : ""),
               "coldStartable=true must come with changed_after, and only then");
}

/** Checks the headers that activation and application token share, and sets the login as soon as it is known.
 */
void Identify(Cloud& cloud, const httplib::Request& request, std::string& login) {
    CheckUserAgent(request, POST_TAIL);
    DemandHeaders(request, ResultCode::BAD_REQUEST,
                  {{"x-kc-uid", ""},
                   {"x-kc-access-token", ""},
                   {"x-kc-app-id", ClientIdentity::OAUTH_CLIENT_ID},
                   {"Content-Type", "application/json; charset=UTF-8"},
                   {"Content-Length", std::to_string(request.body.size())}});
    const auto owner = cloud.tokens.OwnerOf(Holding::ACCESS, request.get_header_value("x-kc-access-token"));
    Demand(owner.has_value(), ResultCode::BAD_ACCESS_TOKEN, "the x-kc-access-token is unknown or expired");
    login = *owner;
    Demand(request.get_header_value("x-kc-uid") == cloud.tokens.UserId(login), ResultCode::WRONG_USER,
           "the x-kc-uid is not the access token's user");
    Demand(cloud.users.Exists(login), ResultCode::WRONG_USER, "there is no user " + login + " any more");
}

/** The same for the bearer token of a download. */
void IdentifyBearer(Cloud& cloud, const httplib::Request& request, std::string& login) {
    const std::string authorization = request.get_header_value("Authorization");
    Demand(Cli::StartsWith(authorization, BEARER), ResultCode::BAD_APP_TOKEN,
           "the header Authorization must be Bearer and a token");
    // Only the very text that was given is in the store: no signature needs to be looked at.
    const Json::Value given = cloud.tokens.Find(Holding::APP, authorization.substr(sizeof(BEARER) - 1));
    Demand(!given.isNull(), ResultCode::BAD_APP_TOKEN, "the bearer token is none of this cloud's");
    login = Cli::StringMember(given, "login");
    Demand(cloud.tokens.Holds(given), ResultCode::BAD_APP_TOKEN, "the bearer token has expired");
    Demand(cloud.users.Exists(login), ResultCode::WRONG_USER, "there is no user " + login + " any more");
}

}  // namespace

std::string TextOf(ResultCode code) {
    constexpr const char* NAMES[] = {"invalid_request", "invalid_client", "invalid_grant", "access_denied"};
    const auto number = static_cast<std::size_t>(code);
    return number < std::size(NAMES) ? NAMES[number] : std::to_string(number);
}

Answer Refusal(ResultCode code, const std::string& message) {
    constexpr int STATUS_DIVISOR = 10000;
    Json::Value body;
    int status = static_cast<int>(code) / STATUS_DIVISOR;
    if (status == 0) {
        status = code == ResultCode::INVALID_CLIENT ? 401 : 400;
        Json::Value& rsp = body["rsp"];
        rsp["stat"] = "fail";
        rsp["error"] = TextOf(code);
        rsp["error_description"] = message;
    } else {
        body["rcode"] = static_cast<int>(code);
        body["rmsg"] = message;
    }
    return {status, Cli::CompactJson(body), TextOf(code) + ": " + message, ""};
}

Answer AnswerTo(const Endpoint& endpoint, Cloud& cloud, const httplib::Request& request) {
    std::string login;
    Answer answer;
    try {
        answer = endpoint.carryOut(cloud, request, login);
    } catch (const Refused& refused) {
        answer = Refusal(refused.code, refused.what());
    } catch (const std::exception& error) {
        answer = Refusal(ResultCode::INTERNAL_ERROR, error.what());
    }
    answer.login = login;
    return answer;
}

void DemandHeaders(const httplib::Request& request, ResultCode code,
                   const std::vector<std::pair<std::string, std::string>>& expected) {
    for (const auto& [name, value] : expected) {
        const std::string actual = request.get_header_value(name);
        Demand(request.has_header(name), code, "the header " + name + " is missing");
        Demand(!actual.empty(), code, "the header " + name + " is empty");
        Demand(value.empty() || actual == value, code,
               std::string("the header ").append(name).append(" must be ").append(value));
    }
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (auto end = text.find(separator); end != std::string::npos; end = text.find(separator, start)) {
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

Answer Activate(Cloud& cloud, const httplib::Request& request, std::string& login) {
    Identify(cloud, request, login);
    const std::string deviceId = cloud.tokens.DeviceId(login, ReadActivation(request.body));
    const Json::Value activation = cloud.tokens.Give(Holding::ACTIVATION, login, deviceId);
    Json::Value body;
    body[CServiceActivationInfo::DEVICE_ID] = deviceId;
    body[CServiceActivationInfo::EXPIRE_TIME] = activation["expires"].asInt64() * MILLISECONDS;
    return Success(body, "activated");
}

Answer IssueAppToken(Cloud& cloud, const httplib::Request& request, std::string& login) {
    Identify(cloud, request, login);
    const std::string deviceId = request.get_header_value("x-kc-dvc-id");
    Demand(cloud.tokens.OwnerOf(Holding::ACTIVATION, deviceId) == login, ResultCode::NOT_ACTIVATED,
           "x-kc-dvc-id is none that this user's activation gave");
    const Json::Value given = cloud.tokens.GiveAppToken(login);
    Json::Value body;
    body[CJsonWebToken::TOKEN] = given["token"];
    body[CJsonWebToken::EXPIRE_TIME] = given["expires"];
    return Success(body, "application token issued");
}

Answer Download(Cloud& cloud, const httplib::Request& request, std::string& login) {
    CheckUserAgent(request, DOWNLOAD_TAIL);
    IdentifyBearer(cloud, request, login);
    CheckQuery(request);
    const auto mark = ParseMark(request.get_param_value("changed_after"));
    const Json::Value body = SelectRecords(cloud.folder, login, mark, cloud.clock());
    const std::string count = Cli::Count(body[CDeviceInfo::RECORDS].size(), "record");
    return {200, Cli::CompactJson(body), mark ? count + " changed" : "all " + count, login};
}

}  // namespace LocalCloud
