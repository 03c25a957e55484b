/** Why a request is refused. */
#pragma once

#include <stdexcept>
#include <string>

#include "Manager/CCloudServerManager.h"

namespace LocalCloud {

/** The errors of the authorisation server, which have names (RFC 6749, section 5.2), and those of the cloud
 * service, whose first three digits are the status. */
enum class ResultCode {
    INVALID_REQUEST,
    INVALID_CLIENT,
    INVALID_GRANT,
    ACCESS_DENIED,
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

/** As it is sent and shown. */
std::string TextOf(ResultCode code);

/** Thrown when a request is refused; the message is sent and shown. */
struct Refused : std::runtime_error {
    Refused(ResultCode given, const std::string& message) : std::runtime_error(message), code(given) {}

    ResultCode code;
};

inline void Demand(bool condition, ResultCode code, const std::string& message) {
    if (!condition) {
        throw Refused(code, message);
    }
}

}  // namespace LocalCloud
