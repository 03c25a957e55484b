/** What is known of one request and its answer. */
#pragma once

#include <optional>
#include <string>

#include "Cloud/Server/Fault.h"

namespace LocalCloud {

struct Exchange {
    std::string method;
    std::string target;
    int status = 0;
    std::string decided;
    std::string login;
    std::optional<Fault> fault;
    /** Whether the connection must not be used again. */
    bool closes = false;
    /** The bytes as they came, and as they were meant: a fault cuts or delays them later. */
    std::string request;
    std::string answer;
};

}  // namespace LocalCloud
