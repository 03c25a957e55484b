/** A whole television as one JSON document, to attach to a bug report and to take apart again. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace Television {

/**
 * What is in the folder. A file that cannot be read is left out and named.
 * @param unreadable gets a line for each file that was left out
 */
Json::Value Export(bool withSecrets, std::vector<std::string>& unreadable);

/**
 * Makes the television that the text describes; everything is checked before the folder is touched.
 * @param replace whether a television that is there may be replaced
 * @return whether the secrets in it were replaced when it was exported
 * @throws std::runtime_error, with the folder as it was
 */
bool Import(const std::string& text, bool replace);

}  // namespace Television
