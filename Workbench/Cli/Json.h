/** JSON for scripts. */
#pragma once

#include <json/json.h>

#include <string>

namespace Cli {

/** Indented, ASCII only, with a newline at its end. */
std::string JsonText(const Json::Value& value);

}  // namespace Cli
