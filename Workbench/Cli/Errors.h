/** How a command ends. */
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace Cli {

/** Exit statuses; scripts rely on them. */
enum ExitStatus { EXIT_FINE = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/**
 * The command was called wrongly. Any other exception of a command says that its operation failed;
 * CLI::RuntimeError says the same where the command has told the user already.
 */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** What the error says, which is in the library's words for one of std::filesystem: those are put better. */
std::string Reason(const std::exception& error);

}  // namespace Cli
