#include <algorithm>

#include "Cli/Text.h"
#include "Television/Log/Story.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;

constexpr long STATUS_OK = 200;

std::string SubjectWords(const Run& run) {
    const bool isOfSet = run.failure->text == "fail to get Tizen version";
    const bool isElement = run.failure->text == "fail to read";
    return run.subject.empty() ? ""
           : isOfSet           ? "it is " + run.subject + " that is not told"
           : isElement         ? "it lacks " + run.subject
                               : "";
}

Words FailureReason(const Run& run) {
    const Request& token = run.Of(Run::TOKEN);
    Words words;
    if (token.IsRefused() || run.gotToken == false) {
        words.emplace_back("the authorisation server gave no token");
        Add(words, Cli::Join(token.AnswerWords(), ", "));
    }
    Add(words, run.endedWithoutToken ? "the run ended without an access token" : "");
    Add(words, run.failure->Meaning());
    Add(words, SubjectWords(run));
    Add(words, run.failure->cause);
    const auto kind = RequestOf(run.failure->step.value_or(Step::END));
    if (kind) {
        for (const std::string& answer : run.Of(*kind).AnswerWords()) {
            Add(words, answer);
        }
    }
    Add(words, run.IsUnlocated() ? "which request it was: level W, or the HTTP client's lines, tell" : "");
    return words;
}

std::string RefusalRemedy(const Run& run, const KnownLine& known, Run::Kind kind) {
    constexpr std::int64_t SERVER_ERROR = 500;
    const Request& request = run.Of(kind);
    const std::int64_t status = request.status.value_or(0);
    return request.IsDropped()              ? "nothing: the next run downloads everything"
           : kind == Run::TOKEN             ? std::string(known.remedy)
           : status == 401 || status == 403 ? "if it stays so, a factory reset asks for all tokens anew"
           : status == 404 ? "see whether the set talks to the right cloud, and whether that is up to date"
           : status >= SERVER_ERROR ? "the cloud failed: see its log, and start the service again later"
           : request.IsRefused()    ? "see the cloud, which knows its rcode " + request.code
                                    : "the answer's rcode and rmsg tell why: level I";
}

std::string Remedy(const Run& run, const Fault& fault) {
    if (fault.known == nullptr) {
        return "";
    }
    const KnownLine& known = *fault.known;
    const Run::Source source = run.TokenSource();
    if (run.Of(Run::TOKEN).IsRefused() || run.gotToken == false) {
        return source == Run::Source::REFRESHED
                   ? "nothing: the next run asks for a new token"
                   : "the next run asks with a new code; if that is refused, too, sign out and in again";
    }
    const auto kind = RequestOf(known.kind == Kind::REFUSED ? known.step : fault.step.value_or(Step::END));
    const bool isRefused = kind && run.Of(*kind).status.value_or(STATUS_OK) != STATUS_OK;
    if (known.kind == Kind::REFUSED || (known.kind == Kind::UNREADABLE && isRefused)) {
        return RefusalRemedy(run, known, kind.value_or(Run::TOKEN));
    }
    if (known.kind == Kind::NO_ANSWER && !run.sawClient) {
        return std::string(known.remedy) +
               "; why it was is told by the HTTP client's lines, which are not in this log";
    }
    if (known.kind == Kind::UNREADABLE && run.Shows('I') && kind) {
        return "see the server: its answer is logged just before";
    }
    if (fault.text == "fail to read") {
        const bool isNew =
            source == Run::Source::NEW || run.subject == "auth_code" || run.subject == "code_verifier";
        return isNew ? "sign out and in again; see the sign-in service's log"
               : source == Run::Source::REFRESHED
                   ? "a factory reset, or wait until the refresh token has run out"
                   : std::string(known.remedy);
    }
    return std::string(known.remedy);
}

}  // namespace

void TellOutcome(const Run& run, Story& story) {
    const bool isSuccess =
        run.sawEnd && run.Of(Run::DOWNLOAD).status == STATUS_OK && (run.sawList || !run.Shows('I'));
    story.outcome = run.failure && !run.IsWaiting() ? FAILED : isSuccess ? SUCCESS : NOT_TOLD;
    if (run.failure) {
        story.reason = FailureReason(run);
    } else if (!isSuccess) {
        story.reason = {
            run.sawEnd ? "the log shows the end, but not what came of the download"
                       : "the log ends first: the service was still at it, was ended, or the log is cut"};
    }
    for (const Fault& fault : run.faults) {
        Add(story.remedies, Remedy(run, fault));
    }
}

}  // namespace Log
