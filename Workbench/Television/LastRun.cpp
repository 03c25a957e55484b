#include "Television/LastRun.h"

#include <cmath>
#include <exception>

#include "Cli/Duration.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Files.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

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

}  // namespace

std::string OutcomeWords(const RunOutcome& outcome) {
    return KindName(outcome.kind) + (outcome.reason.empty() ? "" : ": " + outcome.reason);
}

void WriteLastRun(const RunOutcome& outcome, std::int64_t finished, double seconds) {
    Json::Value lastRun;
    lastRun["finished"] = static_cast<Json::Int64>(finished);
    lastRun["seconds"] = std::round(seconds * 1000) / 1000;
    lastRun["outcome"] = KindName(outcome.kind);
    lastRun["words"] = OutcomeWords(outcome);
    Files::Replace(TvFolder::Resolve(LAST_RUN_FILE), Cli::JsonText(lastRun));
}

Json::Value ReadLastRun() {
    try {
        return InfoSyncUtil::ParseStoredObject(Files::Read(TvFolder::Resolve(LAST_RUN_FILE)));
    } catch (const std::exception&) {
        // A note for people: one that is lost or damaged is worth no more than none.
        return {};
    }
}

std::string LastRunWords(const Json::Value& lastRun, std::int64_t now, const Cli::Style& style) {
    const std::string outcome = InfoSyncUtil::TextMember(lastRun, "outcome");
    if (outcome.empty()) {
        return "none yet";
    }
    const Cli::Colour colour =
        outcome == KindName(RunOutcome::Kind::SUCCESS) ? Cli::Colour::GREEN : Cli::Colour::RED;
    return style(colour, Cli::Escape(InfoSyncUtil::TextMember(lastRun, "words"))) + ", " +
           Cli::DurationWords(Cli::Difference(now, InfoSyncUtil::ToInt64(lastRun["finished"]))) + " ago";
}

}  // namespace Television
