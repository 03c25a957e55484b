/** An answer to "why is my speaker not there?", by the service's own rules, asked without a run. */
#pragma once

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "Cli/Display.h"

namespace Television {

/** What the list has to do with a record. */
struct Verdict {
    std::string user;
    std::string id;
    std::string name;
    std::string address;
    /** Nothing where the list cannot be read. */
    std::optional<bool> listed;
    std::vector<std::string> listedFor;
    /** In a few words, and in sentences. */
    std::string why;
    std::string words;
};

struct Inquiry {
    /** Who is signed in; empty for nobody. */
    std::string user;
    /** What holds for all devices. */
    std::vector<std::string> notes;
    std::vector<Verdict> devices;
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
