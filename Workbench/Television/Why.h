/** An answer to "why is my speaker not there?", by the service's own rules, asked without a run. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cli/Display.h"

namespace Television {

/**
 * What --json shows: "user" who is signed in, "notes" on what holds for all devices, and "devices", for each
 * record what the list has to do with it. Asks the Bluetooth adapter; writes nothing.
 * @param device an address, a record's id, or a part of a name; empty for all records of all users
 * @throws std::runtime_error when the records cannot be read
 */
Json::Value Inquire(const std::string& device);

/** The same for people. */
std::string InquiryText(const Json::Value& inquiry, const Cli::Style& style);

}  // namespace Television
