/** A server that outlives the command that starts it. */
#pragma once

#include <functional>
#include <string>

#include "Cloud/Server/LocalCloudServer.h"

namespace LocalCloud {

/**
 * As ServeUntilStopped(), in a process of its own: this one returns when that one serves. What goes wrong
 * later is told in the folder's state/serve.log.
 * @throws CLI::RuntimeError when it has said already why it does not serve
 */
void ServeDetached(const Folder& folder, const ServeOptions& options,
                   const std::function<void(const std::string&)>& ready);

}  // namespace LocalCloud
