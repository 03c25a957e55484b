/** The Bluetooth services of a record, for people. */
#pragma once

#include <string>
#include <vector>

namespace Television {

/** As the record has them, with commas; the audio sink in words. */
std::vector<std::string> ServicesOf(const std::string& uuids);

/** Why the service finds no audio sink among them. */
std::string NoSinkWords(const std::string& uuids);

}  // namespace Television
