/** The whole server, from its start to its end. */
#pragma once

#include <functional>
#include <string>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

struct ServeOptions {
    int port = 8443;
    bool anyUser = false;
};

/** Called with a line that says where, once the server answers. */
using Ready = std::function<void(const std::string& where)>;

/**
 * Serves until SIGINT or SIGTERM, which the stop command sends. Must be called before the process has any
 * other thread.
 * @throws std::runtime_error when it cannot begin
 */
void ServeUntilStopped(const Folder& folder, const ServeOptions& options, const Ready& ready);

/**
 * The same in a process of its own, which this one waits for until it answers. What goes wrong later is told
 * in the folder's state/serve.log.
 * @throws Cli::ToldAlready when that process has told already why it does not serve
 */
void ServeDetached(const Folder& folder, const ServeOptions& options, const Ready& ready);

}  // namespace LocalCloud
