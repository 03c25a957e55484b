/** How a command ends. */
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace Cli {

/** Exit statuses; scripts rely on them. */
enum ExitStatus { EXIT_FINE = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/** The command was called wrongly. Any other exception of a command says that its operation failed. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The operation failed, and the user was told already why. */
class ToldAlready : public std::exception {
public:
    explicit ToldAlready(int status = EXIT_FAILED) : m_status(status) {}

    /** The exit status. */
    int Status() const {
        return m_status;
    }

private:
    int m_status;
};

/** What the error says, which is in the library's words for one of std::filesystem: those are put better. */
std::string Reason(const std::exception& error);

/**
 * The last error that was logged; empty for none. In the tools the service's code and the platform's
 * stand-ins are asked, not run: what else they would log says nothing to whoever asked, and is not written.
 */
const std::string& LastLoggedError();

}  // namespace Cli
