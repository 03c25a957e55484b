/** Where a television stands: its user, what is stored for each user and how long it holds, its last run, the
 * next one, and what is wrong. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include "Cli/Display.h"

namespace Television {

/** What --json shows. @param now seconds since the epoch */
Json::Value ReadStatus(std::int64_t now);

/** The same for people. */
std::string StatusText(const Json::Value& status, std::int64_t now, const Cli::Style& style);

/** Who is signed in; empty for nobody. */
std::string SignedInUser();

/** What is wrong in tv.ini, the folder, the certificates and by the clock: each with "subject" and "problem",
 * which says what helps. */
Json::Value FindProblems(std::int64_t now);

/** Adds to what is wrong, unless there are no words. */
void AddProblem(Json::Value& problems, const std::string& subject, const std::string& words);

}  // namespace Television
