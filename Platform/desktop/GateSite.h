/** The account service's site, against which a URL without a host is resolved. */
#pragma once

#include <string>

struct GateSite {
    /** Scheme, host and port, without a trailing slash. */
    std::string origin;
    std::string host;

    /** @throws std::runtime_error when the text is no https origin */
    static GateSite Parse(const std::string& text);

    /** As tv.ini has it. @throws std::runtime_error when that is no https origin */
    static GateSite Read();
};
