/** The whole server: both services, the faults, and the way in for the commands. */
#pragma once

#include <functional>
#include <string>

#include "Cloud/Service/Folder.h"

namespace LocalCloud {

struct ServeOptions {
    int port = 8443;
    /** Empty: nothing is recorded. */
    std::string recordFile;
    bool anyUser = false;
    bool quiet = false;
};

/**
 * Serves until SIGINT, SIGTERM or the stop command. Must be called before the process has any other thread.
 * @param ready is called with a line that says where, once the server answers
 * @throws CloudError when it cannot begin
 */
void ServeUntilStopped(const Folder& folder, const ServeOptions& options,
                       const std::function<void(const std::string&)>& ready);

}  // namespace LocalCloud
