/** How the last run ended, kept in the television's folder. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include "Cli/Style.h"

namespace Television {

struct RunOutcome {
    enum class Kind { SUCCESS, FAILURE, TIMED_OUT, INTERRUPTED, CRASHED };

    Kind kind = Kind::SUCCESS;
    /** Why, in the words of the service's log; empty for a success. */
    std::string reason;
    /** The one that interrupted it; 0 for none. */
    int signal = 0;
};

/** The outcome in one line, such as "failed: request failed". */
std::string OutcomeWords(const RunOutcome& outcome);

/**
 * @param finished seconds since the epoch
 * @throws std::runtime_error when the folder cannot be written to
 */
void WriteLastRun(const RunOutcome& outcome, std::int64_t finished, double seconds);

/** What WriteLastRun kept: "finished", "seconds", "outcome" and "words"; null when there is none to be read.
 */
Json::Value ReadLastRun();

std::string LastRunWords(const Json::Value& lastRun, std::int64_t now, const Cli::Style& style);

/** The file's name in the folder. */
inline constexpr char LAST_RUN_FILE[] = "last-run.json";

/** Held by the run that is under way. */
inline constexpr char RUN_LOCK_FILE[] = "run.lock";

}  // namespace Television
