/** What the next run will ask for, by the service's own tests. */
#pragma once

#include <json/json.h>

#include <cstdint>

namespace Television {

/**
 * @param status of the television, as far as it is known
 * @param now seconds since the epoch
 * @return "requests", each with "request" and "why", and "words"
 */
Json::Value NextRun(const Json::Value& status, std::int64_t now);

}  // namespace Television
