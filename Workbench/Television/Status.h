/** Where a television stands: its user, what is stored for each user and how long it holds, and its last run.
 */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include "Cli/Style.h"

namespace Television {

/**
 * The whole status as it goes out with --json.
 * @param now seconds since the epoch
 */
Json::Value Status(std::int64_t now, bool showSecrets);

/** The same for people. */
std::string StatusText(const Json::Value& status, std::int64_t now, const Cli::Style& style);

/**
 * What the next run will ask for, by the service's own tests: "requests", each with "request" and "why", and
 * "words".
 * @param status as far as it is known
 */
Json::Value NextRun(const Json::Value& status, std::int64_t now);

}  // namespace Television
