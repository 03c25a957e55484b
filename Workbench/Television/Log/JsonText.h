/** What is read out of JSON in a log, which may be cut anywhere. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Log {

/** The number in the text's first digits, or their sign before them; 0 for none. */
std::int64_t FirstNumber(std::string_view text);

/** The value of the first member of that name, wherever it stands: a text as it is written, or a number. */
std::string Member(std::string_view json, const std::string& name);

/** Hands over each innermost object that is there whole, and the name that it has. */
void ForEachObject(std::string_view json,
                   const std::function<void(const std::string& name, std::string_view object)>& onObject);

}  // namespace Log
