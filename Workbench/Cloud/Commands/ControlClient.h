/** Talks to the server that runs on a folder. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

/**
 * @return what the server answers
 * @throws std::runtime_error that says how to start a server when none runs, that one does not answer, or why
 * it does not do what it was asked
 */
Json::Value AskServer(const Folder& folder, const std::string& method, const std::string& path,
                      const Json::Value& body = {});

}  // namespace LocalCloud
