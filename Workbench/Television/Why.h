/** An answer to "why is my speaker not there?", by the service's own rules, asked without a run. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include "Cli/Style.h"
#include "Television/Stored.h"

namespace Television {

/**
 * What the list has to do with each record of the user, in their order: an object with "user", "id", "name",
 * "address", "services" (as the record has them, those of the Bluetooth SIG by their short number and name),
 * "listed" (null where the list cannot be read), "listed_for" (users), "why" (a few words, always the same
 * for one reason) and "words" (sentences, with what helps). Asks the Bluetooth adapter; writes nothing.
 */
Json::Value Judge(const UserRecords& user, const DeviceList& list);

/** "yes", "no", "others" or "?" */
std::string ListedWord(const Json::Value& verdict);

/**
 * The verdicts as "devices"; "user", who is signed in, or null; the "mark" of the user's last download and
 * when it was "stored_at", 0 for none; and "notes" for what holds for all of it, such as that nobody is
 * signed in.
 * @param device an address, a record's id, or a part of a name; empty for all records of the user signed in,
 * and for those of all users where nobody is
 * @param now seconds since the epoch
 * @throws std::runtime_error when the records cannot be read
 */
Json::Value Inquire(const std::string& device, std::int64_t now);

/** The same for people. */
std::string InquiryText(const Json::Value& inquiry, const Cli::Style& style);

}  // namespace Television
