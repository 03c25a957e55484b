/** JSON for scripts. */
#pragma once

#include <json/json.h>

#include <string>

namespace Cli {

/** Indented, ASCII only, with a newline at its end. */
std::string JsonText(const Json::Value& value);

/** The text form of an object's member; the empty text when there is none, or the value is of another kind.
 */
std::string TextMember(const Json::Value& value, const std::string& name);

}  // namespace Cli
