/** The requests that the two servers know, what they demand of each, and what they answer. */
#pragma once

#include <httplib.h>

#include <array>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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

inline constexpr char CLIENT_ID[] = "58hq27rnez";
inline constexpr char PACKAGE_NAME[] = "com.quorlen.tv.bt-orbmanager";
inline constexpr char PACKAGE_VERSION[] = "1.0.0";

/** What is answered to a request. */
struct Answer {
    int status = 200;
    /** JSON. */
    std::string body;
    /** What was decided and why, for people: it is shown in the request's line, not sent. */
    std::string decided;
    /** Whose request it was, as far as that is known. */
    std::string login;
};

/** Thrown when a request is refused; the error is what the protocol has for it. */
template <typename Error>
class Refused : public std::runtime_error {
public:
    Refused(Error error, const std::string& message) : std::runtime_error(message), m_error(error) {}

    Error Code() const {
        return m_error;
    }

private:
    Error m_error;
};

template <typename Error>
void Require(bool condition, Error error, const std::string& message) {
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

}  // namespace LocalCloud
