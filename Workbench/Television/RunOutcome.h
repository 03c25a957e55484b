/** How a run of the service ended. */
#pragma once

#include <string>

namespace Television {

struct RunOutcome {
    enum class Kind { SUCCESS, FAILURE, TIMED_OUT, INTERRUPTED, CRASHED };

    Kind kind = Kind::SUCCESS;
    /** Why, in the words of the service's log; empty for a success. */
    std::string reason;
    /** The one that interrupted it; 0 for none. */
    int signal = 0;
};

/** "success", "failed", "timed out", "interrupted" or "crashed" */
const char* KindName(RunOutcome::Kind kind);

/** The outcome in one line, such as "failed: request failed". */
std::string OutcomeWords(const RunOutcome& outcome);

/** The name of a file in the television's folder, held by the run that is under way. */
inline constexpr char RUN_LOCK_FILE[] = "run.lock";

}  // namespace Television
