/** Bluetooth services by name. */
#pragma once

#include <string>

namespace Television {

/**
 * The number and name of a service of the Bluetooth SIG, "110b Audio Sink"; other texts as they are, upper
 * case among them, since the service does not take them either. The names are those of the SIG's Assigned
 * Numbers.
 */
std::string ServiceName(const std::string& uuid);

/** Why the service finds no audio sink in the services of a record, which are a list with commas. */
std::string NoSinkWords(const std::string& uuids);

}  // namespace Television
