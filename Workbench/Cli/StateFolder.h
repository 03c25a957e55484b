/** Where a tool keeps what it works on. */
#pragma once

#include <string>

namespace Cli {

/**
 * The folder that the environment variable names, or the one of that name in the user's XDG state folder.
 * @throws UsageError where the latter is no absolute path
 */
std::string StateFolder(const char* variable, const char* name);

}  // namespace Cli
