/** A server that outlives the command that starts it. */
#pragma once

#include <string>

#include "Cloud/Server/LocalCloudServer.h"

namespace LocalCloud {

/**
 * Serves in a process of its own, which says on standard error, now in the folder's state/serve.log, what
 * goes wrong later. Must be called before the process has any other thread.
 * @return where it serves, as a line for people, once it answers
 * @throws CloudError with its reason when it does not come up
 */
std::string ServeDetached(const Folder& folder, const ServeOptions& options);

}  // namespace LocalCloud
