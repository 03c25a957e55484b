/** The requests that the two servers know: each with its name, and who answers it. */
#pragma once

#include <httplib.h>

#include <string>
#include <utility>
#include <vector>

#include "Cloud/State/Refused.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"
#include "Manager/CAccessTokenManager.h"
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

/** The answer that refuses, in the envelope of the server that has the code. */
Answer Refusal(ResultCode code, const std::string& message);

/**
 * @param expected names and values; the empty value stands for any other
 * @throws Refused with the code where a header is not as expected
 */
void DemandHeaders(const httplib::Request& request, ResultCode code,
                   const std::vector<std::pair<std::string, std::string>>& expected);

/** Splits at each occurrence; there is always at least one piece. */
std::vector<std::string> Split(const std::string& text, char separator);

/** What is behind both servers. */
struct Cloud {
    /** @throws std::runtime_error that says what is wrong in the folder */
    explicit Cloud(const Folder& cloudFolder, Clock theClock = &SystemTime)
        : folder(cloudFolder), clock(std::move(theClock)), users(cloudFolder), tokens(cloudFolder, clock) {}

    Folder folder;
    Clock clock;
    Users users;
    TokenStore tokens;
};

// They set whose request it is as soon as that is known, and throw Refused.

// The authorisation server: OAuth 2.0 tokens for authorisation codes (with PKCE) and for refresh tokens.
Answer IssueToken(Cloud& cloud, const httplib::Request& request, std::string& login);
Answer RefreshToken(Cloud& cloud, const httplib::Request& request, std::string& login);

// The cloud service.
Answer Activate(Cloud& cloud, const httplib::Request& request, std::string& login);
Answer IssueAppToken(Cloud& cloud, const httplib::Request& request, std::string& login);
Answer Download(Cloud& cloud, const httplib::Request& request, std::string& login);

struct Endpoint {
    /** For people, logs and planning faults. */
    const char* name;
    /** The library's function that has a handler for the request's method. */
    httplib::Server& (httplib::Server::*serve)(const std::string& path, httplib::Server::Handler handler);
    const char* path;
    Answer (*carryOut)(Cloud& cloud, const httplib::Request& request, std::string& login);
};

inline constexpr Endpoint ENDPOINTS[] = {
    {"token", &httplib::Server::Post, CAccessTokenManager::ISSUE_PATH, &IssueToken},
    {"refresh", &httplib::Server::Post, CAccessTokenManager::REFRESH_PATH, &RefreshToken},
    {"activation", &httplib::Server::Post, CCloudServerManager::ACTIVATE_PATH, &Activate},
    {"app", &httplib::Server::Post, CCloudServerManager::APP_TOKEN_PATH, &IssueAppToken},
    {"download", &httplib::Server::Get, CCloudServerManager::RECORDS_PATH, &Download},
};

/** What becomes of a request; a refusal and what is wrong in the folder are answers, too. */
Answer AnswerTo(const Endpoint& endpoint, Cloud& cloud, const httplib::Request& request);

}  // namespace LocalCloud
