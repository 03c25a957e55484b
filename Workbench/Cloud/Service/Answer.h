/** What the cloud answers to one request. */
#pragma once

#include <string>

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

}  // namespace LocalCloud
