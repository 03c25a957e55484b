/** The requests that the two servers know: each with its name, and who answers it. */
#pragma once

#include <httplib.h>

#include <string>

#include "Cloud/Protocol/Answer.h"
#include "Cloud/Protocol/Cloud.h"

namespace LocalCloud {

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

/** Null where there is nothing. */
inline const Endpoint* FindEndpoint(const std::string& method, const std::string& path) {
    for (const Endpoint& endpoint : ENDPOINTS) {
        if (method == endpoint.method && path == endpoint.path) {
            return &endpoint;
        }
    }
    return nullptr;
}

}  // namespace LocalCloud
