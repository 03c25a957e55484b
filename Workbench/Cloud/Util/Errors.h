/** The two ways in which a command fails. */
#pragma once

#include <stdexcept>

#include "Cli/Errors.h"

namespace LocalCloud {

/** What was asked could not be done; exit status 1. The text says what to do about it. */
class CloudError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using Cli::UsageError;

}  // namespace LocalCloud
