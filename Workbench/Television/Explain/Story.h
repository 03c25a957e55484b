/** A run in words: what it did, why, what failed and what to do. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "Cli/Style.h"
#include "Television/Explain/Run.h"

namespace Explain {

/** Whether something went well; UNKNOWN where this log does not tell. */
enum class Sign { FINE, FAULT, UNKNOWN };

struct Chapter {
    std::string name;
    Sign sign = Sign::FINE;
    std::string text;
    /** Of a request: what came of it. */
    std::string answer;
};

struct Story {
    /** "success", "failed" or "unfinished". */
    std::string outcome;
    /** Why, unless it is a success. */
    std::string reason;
    /** What to do, from what is known of the lines; each once. */
    std::vector<std::string> remedies;
    std::vector<Chapter> chapters;
};

Story Tell(const Run& run);

/** "11-25 21:46:11.123 to 11-25 21:46:11.180, process 1234, level I, 134 lines", as far as the log tells. */
std::string Heading(const Run& run);

/** "added", "paired with the set", ... */
std::string ListingName(Listing listing);

/** The same in a sentence, with what the log tells of the reason. */
std::string ListingWords(const Record& record);

/** The story for a terminal of 80 columns. */
std::string StoryText(const Run& run, const Cli::Style& style);

Json::Value StoryJson(const Run& run);

}  // namespace Explain
