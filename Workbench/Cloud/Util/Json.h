/** JSON as the cloud reads and writes it. */
#pragma once

#include <json/json.h>

#include <string>

namespace LocalCloud {

/**
 * Parses a text that must be one JSON object and nothing else.
 * @throws std::runtime_error "NAME: ..." with the place of the fault
 */
Json::Value ParseJsonObject(const std::string& text, const std::string& name);

/** One line, UTF-8 as it is. */
std::string CompactJson(const Json::Value& value);

/** Several lines, for files and output that people read; ends with a newline. */
std::string ReadableJson(const Json::Value& value);

/** The member when it is a text, otherwise the empty text; value may be of any kind. */
std::string TextMember(const Json::Value& value, const char* name);

/** The member when it is a whole number of 64 bits, otherwise 0; value may be of any kind. */
Json::Int64 IntegerMember(const Json::Value& value, const char* name);

}  // namespace LocalCloud
