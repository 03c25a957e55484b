/** How a run of the service ended. */
#pragma once

#include <json/json.h>

#include <string>

#include "Television/Explain/Run.h"

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

/** How a run ended, as its log tells, whose process ended by itself with status 0. */
RunOutcome OutcomeOf(const Explain::Run& run);

/** The last thing that went wrong, with its cause; empty when nothing did. */
std::string LastFault(const Explain::Run& run);

/**
 * What the run asked for, in its order, each an object: "request" (token, token refresh, activation,
 * application token or download), "answered", "status" (null where the log does not tell it: that of a
 * token's is told of a refusal alone) and for a download "mark" (null where it asked for all). At W and above
 * the log does not show every request.
 */
Json::Value RequestsOf(const Explain::Run& run);

/** The name of a file in the television's folder, held by the run that is under way. */
inline constexpr char RUN_LOCK_FILE[] = "run.lock";

}  // namespace Television
