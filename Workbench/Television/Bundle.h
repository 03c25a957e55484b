/** A whole television as one JSON document, to attach to a bug report and to take apart again. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace Television {

/**
 * What is in the folder, what the local cloud was asked last, and the versions of what made it.
 * @param leftOut gets a line for each file that could not be read
 * @throws std::runtime_error when a stored secret is still in it, unless it is to be
 */
Json::Value Report(bool withSecrets, std::vector<std::string>& leftOut);

/**
 * Makes the television that the text describes; everything is checked before the folder is touched.
 * @param replace whether a television that is there may be replaced
 * @param dropped gets the names of the settings that named files outside of the folder, and are left out
 * @return whether there are secrets that were replaced when it was written
 * @throws std::runtime_error, with the folder as it was
 */
bool Import(const std::string& text, bool replace, std::vector<std::string>& dropped);

}  // namespace Television
