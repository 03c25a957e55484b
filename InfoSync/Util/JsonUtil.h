/** How this tree reads and writes JSON. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

namespace InfoSyncUtil {

/** @throws CInfoSyncException with "fail to parse" and the place, also when nested more than 40 levels deep
 */
Json::Value ParseJson(const std::string& text);

/**
 * Parses a server's answer, which must be an object. It may be nested a little less deep than a stored
 * document, so that whatever was accepted can be read again once it is stored under the user's entry.
 * @throws CInfoSyncException as above
 */
Json::Value ParseAnswer(const std::string& text);

/** Parses the body of a refused request: any JSON, nested as an answer may be. @throws CInfoSyncException */
Json::Value ParseRefusal(const std::string& text);

/**
 * Parses a stored document: an object, or null where nothing was ever put into it.
 * @throws CInfoSyncException as above
 */
Json::Value ParseStoredObject(const std::string& text);

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
