/** How this tree reads and writes JSON. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include "Util/JsonLimits.h"

namespace InfoSyncUtil {

/**
 * Why the text would grow too heavy once it is built; empty when it would not. Depth is the parser's to
 * judge.
 */
std::string WhyTooHeavy(const std::string& text, const JsonLimits& limits);

/** @throws CInfoSyncException with "fail to parse" and the place, or the limit that the text is beyond */
Json::Value ParseJson(const std::string& text, const JsonLimits& limits = Limits::NO_WEIGHT);

/** Parses a server's answer, which must be an object. @throws CInfoSyncException as above */
Json::Value ParseAnswer(const std::string& text, const JsonLimits& limits = Limits::ANSWER);

/** Parses the body of a refused request: any JSON. @throws CInfoSyncException as above */
Json::Value ParseRefusal(const std::string& text);

/**
 * Parses a stored document: an object, or null where nothing was ever put into it.
 * @throws CInfoSyncException as above
 */
Json::Value ParseStoredObject(const std::string& text, const JsonLimits& limits = Limits::NO_WEIGHT);

/** Writes on one line, without blanks; ASCII only, so a stored text never holds a NUL. */
std::string WriteJson(const Json::Value& value);

/** Whether the value can be read as a text: a text, a number, a truth value or null. */
bool HasTextForm(const Json::Value& value);

/** The member when it is an object itself, as a user's entry must be; otherwise a null value. */
const Json::Value& ObjectMember(const Json::Value& object, const std::string& name);

/** Whether the document holds an entry of this name that can be worked with: an object, or null. */
bool HasEntry(const Json::Value& document, const std::string& name);

/**
 * A time or a lifetime as a server sent it: beyond 64 bits it is the nearest limit, since far in the future
 * and long ago are what it means, and anything but a number is 0.
 */
std::int64_t ToInt64(const Json::Value& value);

}  // namespace InfoSyncUtil
