/** An exchange as people read it. Takes the JSON form that recordings have. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cli/Style.h"

namespace LocalCloud {

/** When, what, the status, what was decided and for whom, in one line without its end. */
std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style);

/** The request's and the answer's headers and bodies. */
std::string ExchangeInFull(const Json::Value& exchange);

}  // namespace LocalCloud
