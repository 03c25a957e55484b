/** The requests that the two servers know. */
#pragma once

#include <array>
#include <string>

namespace LocalCloud {

struct Endpoint {
    /** Short, for people and for planning faults. */
    const char* name;
    const char* method;
    const char* path;
};

inline constexpr Endpoint TOKEN_ENDPOINT = {"token", "POST", "/auth/openapi/v1/oauth2/accesstoken"};
inline constexpr Endpoint REFRESH_ENDPOINT = {"refresh", "POST", "/auth/openapi/v1/oauth2/refreshtoken"};
inline constexpr Endpoint ACTIVATE_ENDPOINT = {"activate", "POST", "/user/v7/activate"};
inline constexpr Endpoint APP_ENDPOINT = {"app", "POST", "/auth/kc/tokens/v1/app"};
inline constexpr Endpoint RECORDS_ENDPOINT = {"records", "GET", "/data/v2/com.quorlen.bluetooth.device_sync"};

inline constexpr std::array<Endpoint, 5> ENDPOINTS = {TOKEN_ENDPOINT, REFRESH_ENDPOINT, ACTIVATE_ENDPOINT,
                                                      APP_ENDPOINT, RECORDS_ENDPOINT};

}  // namespace LocalCloud
