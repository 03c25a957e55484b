/** An answer to "why is my speaker not there?" */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Cli/Style.h"
#include "Television/Verdict.h"

namespace Television {

struct Inquiry {
    /** The user signed in; empty for none. */
    std::string user;
    /** Of every record that was asked for. */
    std::vector<Verdict> verdicts;
    /** The mark of the user's last download, and when it was stored (seconds since the epoch); 0 for none. */
    std::int64_t mark = 0;
    std::int64_t storedAt = 0;
    /** What holds for all of it, such as that nobody is signed in; each on one line. */
    std::vector<std::string> notes;
};

/**
 * @param device an address, a record's id, or a part of a name; empty for all records of the user signed in,
 * and for those of all users where nobody is
 * @param now seconds since the epoch
 * @throws std::runtime_error when the records cannot be read
 */
Inquiry Inquire(const std::string& device, std::int64_t now);

Json::Value ToJson(const Inquiry& inquiry);

std::string InquiryText(const Inquiry& inquiry, const Cli::Style& style);

}  // namespace Television
