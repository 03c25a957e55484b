/** The story of a run: its chapters, what became of it, why, and what to do. */
#include <initializer_list>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/Log/Page.h"
#include "Television/Log/Run.h"
#include "Television/Log/Story.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;

Json::Value OrNull(const std::optional<std::int64_t>& number) {
    return number ? Json::Value(Json::Int64{*number}) : Json::Value();
}

bool IsRefusedToken(const Run& run) {
    return run.In(Part::TOKEN).Has(About::CODE) || run.gotToken == false;
}

void AddSaid(Statements& words, const Run& run, Part part, std::initializer_list<About> abouts) {
    for (const About about : abouts) {
        Add(words, run.In(part).Said(about));
    }
}

Statements Reason(const Run& run) {
    const Fault& failure = *run.failure;
    Statements words;
    if (IsRefusedToken(run)) {
        words.emplace_back("the authorisation server gave no token");
        AddSaid(words, run, Part::TOKEN, {About::STATUS, About::CODE, About::WORDS});
    }
    Add(words, run.endedWithoutToken ? "the run ended without an access token" : "");
    Add(words, failure.Meaning());
    if (!run.subject.empty() && failure.text == "fail to get Tizen version") {
        Add(words, "it is " + run.subject + " that is not told");
    } else if (!run.subject.empty() && failure.text == "fail to read") {
        Add(words, "it lacks " + run.subject);
    }
    Add(words, failure.cause);
    if (const auto part = RequestOf(failure.step.value_or(Step::END))) {
        AddSaid(words, run, *part, {About::STATUS, About::CODE, About::WORDS});
    }
    Add(words, !run.IsUnlocated() ? "" : "which request it was: level W, or the HTTP client's lines, tell");
    return words;
}

bool HasAnswer(const Run& run, Part request) {
    return run.Shows('I') && run.In(request).answered;
}

std::string SeeServer(const Run& run, Part request) {
    return std::string("see the server: its answer is logged ") +
           (HasAnswer(run, request) ? "just before" : "at I");
}

std::string RefusalRemedy(const Run& run, const KnownLine& known, Part part) {
    constexpr std::int64_t SERVER_ERROR = 500;
    const std::int64_t status = run.In(part).status.value_or(0);
    const std::string code = run.In(part).Said(About::CODE);
    return part == Part::DOWNLOAD && run.IsDropped() ? "nothing: the next run downloads everything"
           : part == Part::TOKEN                     ? std::string(known.remedy)
           : status == 401 || status == 403 ? "if it stays so, a factory reset asks for all tokens anew"
           : status == 404 ? "see whether the set talks to the right cloud, and whether that is up to date"
           : status >= SERVER_ERROR ? "the cloud failed: see its log, and start the service again later"
           : !code.empty()          ? "see the cloud, which knows its rcode " + code
                                    : SeeServer(run, part);
}

std::string Remedy(const Run& run, const Fault& fault) {
    if (fault.known == nullptr) {
        return "";
    }
    const KnownLine& known = *fault.known;
    const std::string source = run.In(Part::TOKEN).Said(About::WHETHER);
    // What could not be read was not stored either.
    if (IsRefusedToken(run) && known.kind != Kind::UNREADABLE) {
        return source == REFRESHED_TOKEN
                   ? "nothing: the next run asks for a new token"
                   : "the next run asks with a new code; if that is refused, too, sign out and in again";
    }
    const auto part = RequestOf(known.kind == Kind::REFUSED ? known.step : fault.step.value_or(Step::END));
    const bool isRefused = part && run.In(*part).status.value_or(STATUS_OK) != STATUS_OK;
    if (known.kind == Kind::REFUSED || (known.kind == Kind::UNREADABLE && isRefused)) {
        return RefusalRemedy(run, known, part.value_or(Part::TOKEN));
    }
    if (known.kind == Kind::NO_ANSWER && !run.sawClient) {
        return std::string(known.remedy) +
               "; why it was is told by the HTTP client's lines, which are not in this log";
    }
    if (known.kind == Kind::UNREADABLE && part && (HasAnswer(run, *part) || fault.IsNoJson())) {
        return SeeServer(run, *part);
    }
    if (fault.IsNoJson() && fault.step == Step::LIST) {
        return "a factory reset clears the device list";
    }
    const bool isOfCode = source == NEW_TOKEN || run.subject == "auth_code" || run.subject == "code_verifier";
    const bool isReading = fault.text == "fail to read";
    return isReading && isOfCode ? "sign out and in again; see the sign-in service's log"
           : isReading && source == REFRESHED_TOKEN
               ? "a factory reset, or wait until the refresh token has run out"
               : std::string(known.remedy);
}

void TellOutcome(const Run& run, Story& story) {
    const auto& failure = run.failure;
    // The service waits for a code, and nothing has ended it yet.
    const bool isWaiting = run.FailedIn(Step::CODE, Step::CODE) && failure->known != nullptr &&
                           failure->known->kind == Kind::FAILURE && !run.sawEnd;
    story["outcome"] = failure && !isWaiting ? FAILED : run.HasSucceeded() ? SUCCESS : NOT_TOLD;
    Statements reason;
    if (failure) {
        reason = Reason(run);
    } else if (!run.HasSucceeded()) {
        reason = {run.sawEnd
                      ? "the log shows the end, but not what came of the download"
                      : "the log ends first: the service was still at it, was ended, or the log is cut"};
    }
    story["reason"] = Cli::JsonArray(reason);
    Statements remedies;
    for (const Fault& fault : run.faults) {
        Add(remedies, Remedy(run, fault));
    }
    story["what_to_do"] = Cli::JsonArray(remedies);
}

Json::Value ChapterJson(const Run& run, Part part) {
    const Chapter& chapter = run.In(part);
    Json::Value json = chapter.ToJson();
    json["chapter"] = NameOf(part);
    if (chapter.sent) {
        const std::string source = run.In(Part::TOKEN).Said(About::WHETHER);
        json["request"] = part != Part::TOKEN         ? json["chapter"]
                          : source == REFRESHED_TOKEN ? "refresh"
                          : source == NEW_TOKEN       ? "token"
                                                      : "token or refresh";
        json["answered"] = chapter.answered;
        json["status"] = OrNull(chapter.status);
        json["seconds"] = chapter.milliseconds
                              ? Json::Value(static_cast<double>(*chapter.milliseconds) / 1000)
                              : Json::Value();
    }
    return json;
}

Statements Heading(const Run& run) {
    const Clock& clock = run.clock;
    Statements words;
    Add(words, clock.began.empty() ? "" : clock.began + " to " + clock.ended);
    const Moment took = clock.Since(clock.first);
    Add(words, took ? "took " + SecondsText(*took) : "");
    Add(words, run.pid == 0 ? "" : "process " + std::to_string(run.pid));
    Add(words, run.level == '\0' ? "" : std::string("level ") + run.level);
    Add(words, Cli::Count(run.lineCount, "line"));
    Add(words, clock.wasSet ? "the clock was set on the way" : "");
    Add(words, clock.remark);
    return words;
}

}  // namespace

Story Tell(Run& run) {
    run.Conclude();
    Story story;
    story["run"] = Json::UInt64{run.number};
    story["user"] = Cli::TextOrNull(run.user);
    TellOutcome(run, story);
    story["heading"] = Cli::JsonArray(Heading(run));
    story["mark"] = OrNull(run.mark);
    story["next_mark"] = OrNull(run.nextMark);
    story["records"] = run.devices.Records();
    story["story"] = Json::arrayValue;
    for (std::size_t i = 0; i < run.chapters.size(); ++i) {
        if (run.chapters[i].shown) {
            story["story"].append(ChapterJson(run, static_cast<Part>(i)));
        }
    }
    if (run.keepsLines) {
        story["page"] = PageOf(run, story);
    }
    return story;
}

}  // namespace Log
