/** An answer to "why is my speaker not there?", by the service's own rules, asked without a run. */
#pragma once

#include <json/json.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Cli/Display.h"

namespace Television {

/** What the list has to do with a user's record of a device. */
struct Verdict {
    std::string user;
    std::string id;
    std::string name;
    std::string address;
    /** For this user; nothing where the list cannot be read. */
    std::optional<bool> listed;
    /** The users for whom it is listed. */
    std::set<std::string> listedFor;
    /** A few words, always the same for one reason. */
    std::string why;
    /** Sentences, with what helps. */
    std::string words;
};

struct Inquiry {
    /** Who is signed in; empty for nobody. */
    std::string user;
    /** What holds for all of it, such as that nobody is signed in. */
    std::vector<std::string> notes;
    std::vector<Verdict> verdicts;
};

/**
 * Asks the Bluetooth adapter; writes nothing.
 * @param device an address, a record's id, or a part of a name; empty for all records of all users
 * @throws std::runtime_error when the records cannot be read
 */
Inquiry Inquire(const std::string& device);

Json::Value ToJson(const Inquiry& inquiry);

/** The same for people. */
std::string InquiryText(const Inquiry& inquiry, const Cli::Style& style);

}  // namespace Television
