/** JSON as the tools read and show it. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

namespace Cli {

/** For scripts: indented, ASCII only, with a newline at its end. */
std::string JsonText(const Json::Value& value);
/** For files that people edit: the same with UTF-8 as it is. */
std::string EditableJson(const Json::Value& value);
/** On one line without its end, UTF-8 as it is. */
std::string CompactJson(const Json::Value& value);

/** Of a text that is one JSON object and nothing else.
 * @throws std::runtime_error "NAME: ..." with the place of the fault */
Json::Value ParseObject(const std::string& text, const std::string& name);

/** The text, or null for the empty one. */
inline Json::Value TextOrNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

/** What is made of each, which is a text itself where nothing else is said. */
template <typename Values, typename Make = Json::Value (*)(const std::string&)>
Json::Value JsonArray(
    const Values& values, const Make& make = [](const std::string& text) { return Json::Value(text); }) {
    Json::Value array(Json::arrayValue);
    for (const auto& value : values) {
        array.append(make(value));
    }
    return array;
}

// A member of a value of any kind:

/** The text form of a text, a number or a truth value; else the empty text. */
std::string TextMember(const Json::Value& value, const std::string& name);
/** A text; else the empty one. */
std::string StringMember(const Json::Value& value, const std::string& name);
/** A whole number of 64 bits; else 0. */
std::int64_t IntegerMember(const Json::Value& value, const std::string& name);

}  // namespace Cli
