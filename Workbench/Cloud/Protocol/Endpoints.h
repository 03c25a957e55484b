/** The requests that the two servers know: each with its name, and who answers it. */
#pragma once

#include <httplib.h>

#include <string>

#include "Cloud/Protocol/Answer.h"
#include "Cloud/State/Records.h"
#include "Cloud/State/Settings.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"

namespace LocalCloud {

/** What is behind both servers. */
struct Cloud {
    /**
     * @param anyUser makes every login id a known one
     * @param clock milliseconds since the epoch
     * @throws std::runtime_error that says what is wrong in the folder
     */
    Cloud(const Folder& cloudFolder, bool anyUser, const RecordBook::Clock& clock)
        : folder(cloudFolder),
          users(cloudFolder, anyUser),
          tokens(cloudFolder, [clock] { return clock() / 1000; }),
          records(cloudFolder, clock),
          secret(Settings(cloudFolder.SettingsFile()).SigningSecret()) {}

    Folder folder;
    Users users;
    TokenStore tokens;
    RecordBook records;
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
