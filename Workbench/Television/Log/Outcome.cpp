/** What became of a run, why, and what to do. */
#include "Cli/Text.h"
#include "Television/Log/RunReader.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;

}  // namespace

void RunReader::ConcludeOutcome() {
    const auto& failure = story.failure;
    // The service waits for a code, and nothing has ended it yet.
    const bool isWaiting = FailedIn(Step::CODE, Step::CODE) && failure->known != nullptr &&
                           failure->known->kind == Kind::FAILURE && !story.sawEnd;
    const bool isSuccess =
        story.sawEnd && In(Part::DOWNLOAD).status == STATUS_OK && (m_sawList || !Shows('I'));
    story.outcome = failure && !isWaiting ? FAILED : isSuccess ? SUCCESS : NOT_TOLD;
    if (failure) {
        story.reason = Reason();
    } else if (story.sawEnd && !isSuccess) {
        story.reason = {"the log shows the end, but not what came of the download"};
    } else if (!isSuccess) {
        story.reason = {"the log ends first: the service was still at it, was ended, or the log is cut"};
    }
    for (const Fault& fault : m_faults) {
        Add(story.remedies, Remedy(fault));
    }
}

bool RunReader::IsRefusedToken() const {
    return Has(Part::TOKEN, About::CODE) || m_gotToken == false;
}

Words RunReader::Reason() const {
    const Fault& failure = *story.failure;
    Words words;
    if (IsRefusedToken()) {
        words.emplace_back("the authorisation server gave no token");
        Add(words, In(Part::TOKEN).Text(About::STATUS, About::WORDS));
    }
    Add(words, endedWithoutToken ? "the run ended without an access token" : "");
    Add(words, failure.Meaning());
    if (!subject.empty() && failure.text == "fail to get Tizen version") {
        Add(words, "it is " + subject + " that is not told");
    } else if (!subject.empty() && failure.text == "fail to read") {
        Add(words, "it lacks " + subject);
    }
    Add(words, failure.cause);
    if (const auto part = RequestOf(failure.step.value_or(Step::END))) {
        for (const About about : {About::STATUS, About::CODE, About::WORDS}) {
            Add(words, Said(*part, about));
        }
    }
    Add(words, !IsUnlocated() ? "" : "which request it was: level W, or the HTTP client's lines, tell");
    return words;
}

std::string RunReader::RefusalRemedy(const KnownLine& known, Part part) const {
    constexpr std::int64_t SERVER_ERROR = 500;
    const std::int64_t status = In(part).status.value_or(0);
    const std::string code = Said(part, About::CODE);
    return part == Part::DOWNLOAD && IsDropped() ? "nothing: the next run downloads everything"
           : part == Part::TOKEN                 ? std::string(known.remedy)
           : status == 401 || status == 403      ? "if it stays so, a factory reset asks for all tokens anew"
           : status == 404 ? "see whether the set talks to the right cloud, and whether that is up to date"
           : status >= SERVER_ERROR ? "the cloud failed: see its log, and start the service again later"
           : !code.empty()          ? "see the cloud, which knows its rcode " + code
                                    : "the answer's rcode and rmsg tell why: level I";
}

std::string RunReader::Remedy(const Fault& fault) const {
    if (fault.known == nullptr) {
        return "";
    }
    const KnownLine& known = *fault.known;
    const std::string source = Said(Part::TOKEN, About::WHETHER);
    if (IsRefusedToken()) {
        return source == REFRESHED_TOKEN
                   ? "nothing: the next run asks for a new token"
                   : "the next run asks with a new code; if that is refused, too, sign out and in again";
    }
    const auto part = RequestOf(known.kind == Kind::REFUSED ? known.step : fault.step.value_or(Step::END));
    const bool isRefused = part && In(*part).status.value_or(STATUS_OK) != STATUS_OK;
    if (known.kind == Kind::REFUSED || (known.kind == Kind::UNREADABLE && isRefused)) {
        return RefusalRemedy(known, part.value_or(Part::TOKEN));
    }
    if (known.kind == Kind::NO_ANSWER && !m_sawClient) {
        return std::string(known.remedy) +
               "; why it was is told by the HTTP client's lines, which are not in this log";
    }
    if (known.kind == Kind::UNREADABLE && Shows('I') && part) {
        return "see the server: its answer is logged just before";
    }
    if (fault.text == "fail to read") {
        const bool isOfCode = source == NEW_TOKEN || subject == "auth_code" || subject == "code_verifier";
        return isOfCode                    ? "sign out and in again; see the sign-in service's log"
               : source == REFRESHED_TOKEN ? "a factory reset, or wait until the refresh token has run out"
                                           : std::string(known.remedy);
    }
    return std::string(known.remedy);
}

}  // namespace Log
