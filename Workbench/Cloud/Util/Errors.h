/** The two ways in which a command fails. */
#pragma once

#include <stdexcept>

namespace LocalCloud {

/** What was asked could not be done; exit status 1. The text says what to do about it. */
class CloudError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The command line makes no sense; exit status 2. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace LocalCloud
