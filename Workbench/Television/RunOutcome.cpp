#include "Television/RunOutcome.h"

namespace Television {

const char* KindName(RunOutcome::Kind kind) {
    switch (kind) {
        case RunOutcome::Kind::SUCCESS:
            return "success";
        case RunOutcome::Kind::FAILURE:
            return "failed";
        case RunOutcome::Kind::TIMED_OUT:
            return "timed out";
        case RunOutcome::Kind::INTERRUPTED:
            return "interrupted";
        default:
            return "crashed";
    }
}

std::string OutcomeWords(const RunOutcome& outcome) {
    return KindName(outcome.kind) + (outcome.reason.empty() ? "" : ": " + outcome.reason);
}

}  // namespace Television
