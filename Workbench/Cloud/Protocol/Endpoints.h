/** The requests that the two servers know: each with its name, and who answers it. */
#pragma once

#include <httplib.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"
#include "Manager/CCloudServerManager.h"

namespace LocalCloud {

struct Answer {
    int status = 200;
    /** JSON. */
    std::string body;
    /** What was decided and why, for people: it is shown in the request's line, not sent. */
    std::string decided;
    /** Whose request it was, as far as that is known. */
    std::string login;
};

/** The cloud service's result codes of refused requests; the first three digits are the status. */
enum class ResultCode {
    BAD_REQUEST = 4000001,
    MARK_UNKNOWN = CCloudServerManager::RESULT_MARK_UNKNOWN,
    MARK_TOO_OLD = CCloudServerManager::RESULT_MARK_TOO_OLD,
    BAD_ACCESS_TOKEN = 4010001,
    BAD_APP_TOKEN = 4010002,
    WRONG_USER = 4030001,
    NOT_ACTIVATED = 4030002,
    NOT_FOUND = 4040001,
    INTERNAL_ERROR = 5000001,
};

std::string TextOf(ResultCode code);

/** The answer of the cloud service that refuses; the message is sent and shown. */
Answer Refusal(ResultCode code, const std::string& message, const std::string& login = {});

/** Thrown when a request is refused; the error is what the protocol has for it. */
template <typename Error>
struct Refused : std::runtime_error {
    Refused(Error given, const std::string& message) : std::runtime_error(message), error(given) {}

    Error error;
};

template <typename Error>
void Demand(bool condition, Error error, const std::string& message) {
    if (!condition) {
        throw Refused<Error>(error, message);
    }
}

/**
 * @param expected names and values; the empty value stands for any other
 * @return what is wrong with the first header that is not as expected, or the empty text
 */
std::string FindHeaderFault(const httplib::Request& request,
                            const std::vector<std::pair<std::string, std::string>>& expected);

/** Splits at each occurrence; there is always at least one piece. */
std::vector<std::string> Split(const std::string& text, char separator);

/** What is behind both servers. */
struct Cloud {
    /** Milliseconds since the epoch. */
    using Clock = std::function<std::int64_t()>;

    /** @throws std::runtime_error that says what is wrong in the folder */
    Cloud(const Folder& cloudFolder, Clock theClock)
        : folder(cloudFolder),
          clock(std::move(theClock)),
          users(cloudFolder),
          tokens(cloudFolder, [this] { return clock() / 1000; }),
          secret(cloudFolder.SigningSecret()) {}
    Cloud(const Cloud&) = delete;
    Cloud& operator=(const Cloud&) = delete;

    Folder folder;
    Clock clock;
    Users users;
    TokenStore tokens;
    /** Signs the application tokens. */
    std::string secret;
};

// The authorisation server: OAuth 2.0 tokens for authorisation codes (with PKCE) and for refresh tokens.
Answer IssueToken(Cloud& cloud, const httplib::Request& request);
Answer RefreshToken(Cloud& cloud, const httplib::Request& request);

// The cloud service.
Answer Activate(Cloud& cloud, const httplib::Request& request);
Answer IssueAppToken(Cloud& cloud, const httplib::Request& request);
Answer Download(Cloud& cloud, const httplib::Request& request);

struct Endpoint {
    /** For people, logs and planning faults. */
    const char* name;
    /** The library's function that has a handler for the request's method. */
    httplib::Server& (httplib::Server::*serve)(const std::string& path, httplib::Server::Handler handler);
    const char* path;
    Answer (*answer)(Cloud& cloud, const httplib::Request& request);
};

inline constexpr Endpoint ENDPOINTS[] = {
    {"token", &httplib::Server::Post, "/auth/openapi/v1/oauth2/accesstoken", &IssueToken},
    {"refresh", &httplib::Server::Post, "/auth/openapi/v1/oauth2/refreshtoken", &RefreshToken},
    {"activation", &httplib::Server::Post, "/user/v7/activate", &Activate},
    {"app", &httplib::Server::Post, "/auth/kc/tokens/v1/app", &IssueAppToken},
    {"download", &httplib::Server::Get, "/data/v2/com.quorlen.bluetooth.device_sync", &Download},
};

}  // namespace LocalCloud
