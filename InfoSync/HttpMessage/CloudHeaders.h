/** The header lines that the cloud requests share. */
#pragma once

#include <initializer_list>
#include <map>
#include <string>

#include "HttpMessage/IHttpMessage.h"

namespace CloudHeaders {

using MessageData = std::map<std::string, std::string>;

/** The user agent, whose tail differs between the requests. */
std::string UserAgent(MessageData& data, const std::string& tail);

/** The lines of a request in the user's name: user agent, "NAME: value" for each named entry, JSON type and
 * length. */
HttpHeader UserRequest(MessageData& data, std::initializer_list<const char*> names, int contentLength);

}  // namespace CloudHeaders
