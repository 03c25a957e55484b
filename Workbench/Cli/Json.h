/** JSON as the tools read and show it. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

namespace Cli {

/** Indented, ASCII only, with a newline at its end. */
std::string JsonText(const Json::Value& value);

/** The text form of an object's member; the empty text when there is none, or the value is of another kind.
 */
std::string TextMember(const Json::Value& value, const std::string& name);

/** Indented, UTF-8 as it is, with a newline at its end: for files that people edit. */
std::string EditableJson(const Json::Value& value);

/** On one line without its end, UTF-8 as it is. */
std::string CompactJson(const Json::Value& value);

/**
 * Parses a text that must be one JSON object and nothing else.
 * @throws std::runtime_error "NAME: ..." with the place of the fault
 */
Json::Value ParseObject(const std::string& text, const std::string& name);

/** The member when it is a text itself, otherwise the empty text; value may be of any kind. */
std::string StringMember(const Json::Value& value, const std::string& name);

/** The member when it is a whole number of 64 bits, otherwise 0; value may be of any kind. */
std::int64_t IntegerMember(const Json::Value& value, const std::string& name);

}  // namespace Cli
