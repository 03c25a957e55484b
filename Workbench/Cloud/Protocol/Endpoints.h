/** The requests that the two servers know: each with its name, and who answers it. */
#pragma once

#include <httplib.h>

#include <functional>
#include <string>
#include <utility>

#include "Cloud/Protocol/Answer.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"

namespace LocalCloud {

/** What is behind both servers. */
struct Cloud {
    /** Milliseconds since the epoch. */
    using Clock = std::function<std::int64_t()>;

    /**
     * @param anyUser makes every login id a known one
     * @throws std::runtime_error that says what is wrong in the folder
     */
    Cloud(const Folder& cloudFolder, bool anyUser, Clock theClock)
        : folder(cloudFolder),
          clock(std::move(theClock)),
          users(cloudFolder, anyUser),
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
    const char* method;
    const char* path;
    Answer (*answer)(Cloud& cloud, const httplib::Request& request);
};

inline constexpr Endpoint ENDPOINTS[] = {
    {"token", "POST", "/auth/openapi/v1/oauth2/accesstoken", &IssueToken},
    {"refresh", "POST", "/auth/openapi/v1/oauth2/refreshtoken", &RefreshToken},
    {"activation", "POST", "/user/v7/activate", &Activate},
    {"app", "POST", "/auth/kc/tokens/v1/app", &IssueAppToken},
    {"download", "GET", "/data/v2/com.quorlen.bluetooth.device_sync", &Download},
};

}  // namespace LocalCloud
