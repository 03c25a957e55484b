#include "Television/Log/Story.h"

#include <algorithm>

#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Manager/CCloudServerManager.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;
using Words = std::vector<std::string>;

constexpr long STATUS_OK = 200;
constexpr char LOG_ENDS[] = "its answer: the log ends before it";
constexpr Step ASKING[] = {Step::ASK_TOKEN, Step::ASK_ACTIVATION, Step::ASK_APP, Step::ASK_DOWNLOAD};

void Add(Words& words, const std::string& more) {
    if (!more.empty() && std::find(words.begin(), words.end(), more) == words.end()) {
        words.push_back(more);
    }
}

bool FailedIn(const Run& run, Step first, Step last) {
    return run.failure && run.failure->step && *run.failure->step >= first && *run.failure->step <= last;
}

/** The service waits for a code, and nothing has ended it yet. */
bool IsWaiting(const Run& run) {
    return FailedIn(run, Step::CODE, Step::CODE) && run.failure->known != nullptr &&
           run.failure->known->kind == Kind::FAILURE && !run.sawEnd;
}

/** All that a run logs before the step, were it there at this level, would be in the log. */
bool HasAllBefore(const Run& run, Step step, char level) {
    return run.sawStart && run.reached > step && (level == 'E' || run.Shows(level));
}

/** Which request failed is not told. */
bool IsUnlocated(const Run& run) {
    return run.failure && !run.failure->step;
}

bool IsDropped(const Request& request) {
    return request.code == std::to_string(CCloudServerManager::RESULT_MARK_TOO_OLD) ||
           request.code == std::to_string(CCloudServerManager::RESULT_MARK_UNKNOWN);
}

/** What came could not be stored, though the request itself went well. */
bool IsOfStoring(const Run& run) {
    return run.failure && run.failure->known != nullptr && run.failure->known->kind == Kind::NOT_STORED;
}

std::string Meaning(const Fault& fault) {
    if (fault.known == nullptr && fault.text.empty()) {
        return "";
    }
    const std::string meaning(fault.known == nullptr ? "an error that is not known here"
                                                     : fault.known->meaning);
    return fault.text.empty() ? meaning : meaning + " (" + fault.text + ")";
}

/** What it was to the step that it happened in. */
std::string FailureWords(const Fault& fault) {
    const Kind kind = fault.known == nullptr ? Kind::FAILURE : fault.known->kind;
    return kind == Kind::NO_ANSWER    ? "no whole answer came"
           : kind == Kind::REFUSED    ? "refused"
           : kind == Kind::UNREADABLE ? "what came cannot be read"
           : kind == Kind::NOT_STORED ? "storing what came failed"
                                      : Meaning(fault);
}

std::string Seconds(std::int64_t milliseconds) {
    return Cli::DurationText(static_cast<double>(milliseconds) / 1000);
}

Words AnswerWords(const Request& request) {
    Words words;
    Add(words, request.status ? "status " + std::to_string(*request.status) : "");
    Add(words, request.IsRefused() ? request.code : "");
    Add(words, request.IsRefused() ? request.words : "");
    return words;
}

std::string LeftWords(const Request& request) {
    return !request.left       ? ""
           : *request.left < 0 ? Cli::DurationText(*request.left) + " before"
                               : "for another " + Cli::DurationText(*request.left);
}

Chapter Start(const Run& run) {
    Chapter chapter{"start", run.sawStart ? Sign::FINE : Sign::UNKNOWN};
    Add(chapter.told, !run.reset   ? ""
                      : *run.reset ? "factory reset: all that was stored is wiped"
                                   : "no factory reset");
    Add(chapter.untold, !run.sawStart ? "the log begins in the middle of this run"
                        : run.reset   ? ""
                                      : "whether a factory reset was asked for");
    if (FailedIn(run, Step::START, Step::START)) {
        chapter.sign = Sign::FAULT;
        chapter.told.push_back(Meaning(*run.failure));
    }
    return chapter;
}

Chapter SignIn(const Run& run) {
    Chapter chapter{"sign-in", run.reached > Step::SIGN_IN ? Sign::FINE : Sign::UNKNOWN};
    Add(chapter.told,
        run.failedChecks == 0 ? "" : Cli::Count(run.failedChecks, "check") + " found nobody signed in");
    if (FailedIn(run, Step::SIGN_IN, Step::SIGN_IN)) {
        chapter.sign = Sign::FAULT;
        chapter.told.push_back(Meaning(*run.failure));
    } else if (run.reached > Step::SIGN_IN) {
        chapter.told.emplace_back("signed in");
        const bool isFirst = run.failedChecks == 0 && HasAllBefore(run, Step::SIGN_IN, 'W');
        Add(chapter.told, isFirst ? "at the first check" : "");
        Add(chapter.told, run.signInWait ? "after " + Seconds(*run.signInWait) : "");
        Add(chapter.untold, isFirst || run.failedChecks > 0 ? "" : "after how many checks: level W");
    } else {
        chapter.untold = {"whether anybody was signed in"};
    }
    return chapter;
}

Chapter Stored(const Run& run) {
    Chapter chapter{"stored", Sign::UNKNOWN, run.missing};
    if (HasAllBefore(run, Step::STORED, 'E')) {
        chapter.sign = Sign::FINE;
        Add(chapter.told,
            run.missing.empty() ? "what is kept of sign-in, tokens and activation could be read" : "");
    } else {
        chapter.untold = {"what else could be read"};
    }
    return chapter;
}

Run::Source SourceOf(const Run& run) {
    const bool isMissing = !run.missing.empty() && Cli::StartsWith(run.missing.front(), "the access tokens");
    return run.source != Run::Source::NOT_TOLD      ? run.source
           : isMissing && run.reached > Step::TOKEN ? Run::Source::NEW
           : run.reached >= Step::ASK_ACTIVATION && HasAllBefore(run, Step::TOKEN, 'W')
               ? Run::Source::STORED
               : Run::Source::NOT_TOLD;
}

void AddTokenAnswer(const Run& run, Chapter& chapter) {
    const Request& request = run.Of(Run::TOKEN);
    Add(chapter.told, run.codeWait ? "the code came after " + Seconds(*run.codeWait) : "");
    if (request.IsRefused() || FailedIn(run, Step::TOKEN, Step::TOKEN_ANSWER)) {
        chapter.sign = Sign::FAULT;
        Add(chapter.told, request.IsRefused() ? "refused" : FailureWords(*run.failure));
    } else if (run.gotToken) {
        chapter.sign = *run.gotToken ? Sign::FINE : Sign::FAULT;
        chapter.told.emplace_back(*run.gotToken ? "the authorisation server gave one"
                                                : "the answer holds none");
    } else {
        chapter.untold = {run.reached > Step::TOKEN_ANSWER ? "what the answer holds: level I" : LOG_ENDS};
    }
    for (const std::string& words : AnswerWords(request)) {
        Add(chapter.told, words);
    }
    Add(chapter.told, request.milliseconds ? "answered after " + Seconds(*request.milliseconds) : "");
}

Chapter Token(const Run& run) {
    const Request& request = run.Of(Run::TOKEN);
    const Run::Source source = SourceOf(run);
    Chapter chapter{"token"};
    if (source == Run::Source::STORED) {
        chapter.sign = Sign::FINE;
        chapter.told = {"stored and still valid"};
    } else if (source != Run::Source::NOT_TOLD) {
        chapter.told = {source == Run::Source::NEW ? "new" : "refreshed"};
        const bool isKnown = !request.why.empty() || source == Run::Source::REFRESHED || run.source == source;
        Add(chapter.told, isKnown ? request.why : "since none that can be used was stored for this user");
    } else {
        chapter.untold = {"whether it was stored, refreshed or new: level W"};
    }
    Add(chapter.told, source == Run::Source::NOT_TOLD ? "" : LeftWords(request));
    chapter.asking = chapter.told.size();
    if (source != Run::Source::STORED &&
        (source != Run::Source::NOT_TOLD || FailedIn(run, Step::TOKEN, Step::TOKEN_ANSWER))) {
        AddTokenAnswer(run, chapter);
    }
    return chapter;
}

/** What is told of the answer, and how it went. */
void AddAnswer(const Run& run, Run::Kind kind, Chapter& chapter) {
    const Request& request = run.Of(kind);
    const Step answer = Next(ASKING[kind]);
    const bool isFault = FailedIn(run, ASKING[kind], answer) && !(kind == Run::DOWNLOAD && IsOfStoring(run));
    for (const std::string& words : AnswerWords(request)) {
        chapter.told.push_back(words);
    }
    Add(chapter.told, request.milliseconds ? "answered after " + Seconds(*request.milliseconds) : "");
    if (isFault) {
        chapter.sign = Sign::FAULT;
        Add(chapter.told, FailureWords(*run.failure));
    } else if (kind == Run::DOWNLOAD ? request.status == STATUS_OK && (run.reached > answer || run.sawEnd)
                                     : run.reached > answer) {
        chapter.sign = Sign::FINE;
    } else if (request.asked.value_or(false)) {
        chapter.untold.emplace_back(request.status ? "what came of it: the log ends before that" : LOG_ENDS);
    }
}

/** The activation or the application token. */
Chapter CloudRequest(const Run& run, const char* name, Run::Kind kind) {
    const Request& request = run.Of(kind);
    Chapter chapter{name};
    const bool stillHolds = request.asked ? !*request.asked : HasAllBefore(run, Next(ASKING[kind]), 'E');
    if (stillHolds) {
        chapter.sign = Sign::FINE;
        chapter.told = {"stored and still valid"};
    } else if (request.asked) {
        chapter.told = {"asked for"};
        Add(chapter.told, request.why);
        Add(chapter.untold, request.why.empty() ? "why: level W" : "");
    } else {
        chapter.untold = {IsUnlocated(run)
                              ? "whether it was asked for, and whether it is what failed: level W"
                              : "whether it was asked for or still valid: level W"};
    }
    Add(chapter.told, request.asked || stillHolds ? LeftWords(request) : "");
    chapter.asking = chapter.told.size();
    if (!stillHolds) {
        AddAnswer(run, kind, chapter);
    }
    return chapter;
}

Chapter Download(const Run& run) {
    const Request& request = run.Of(Run::DOWNLOAD);
    Chapter chapter{"download"};
    if (run.mark.value_or(0) > 0) {
        chapter.told = {"of what changed after mark " + std::to_string(*run.mark)};
    } else if (run.mark || !run.markWhy.empty()) {
        chapter.told = {"of everything"};
        Add(chapter.told, run.markWhy);
    } else {
        chapter.untold = {"from which mark: level I"};
    }
    chapter.asking = chapter.told.size();
    AddAnswer(run, Run::DOWNLOAD, chapter);
    Add(chapter.told, !run.downloaded
                          ? ""
                          : (run.downloadIsCut ? "at least " : "") + Cli::Count(*run.downloaded, "record"));
    Add(chapter.told, run.nextMark ? "next mark " + std::to_string(*run.nextMark) : "");
    Add(chapter.told, IsDropped(request) ? "the stored records were dropped" : "");
    return chapter;
}

Chapter List(const Run& run) {
    Chapter chapter{"list", run.sawList ? Sign::FINE : Sign::UNKNOWN};
    for (const auto& [listing, count] : run.devices.Counts()) {
        if (listing != Listing::NOT_TOLD) {
            chapter.told.push_back(std::to_string(count) + " " + ListingName(listing));
        }
    }
    const auto& status = run.Of(Run::DOWNLOAD).status;
    Add(chapter.told, run.sawList && status.value_or(STATUS_OK) != STATUS_OK ? "left as it was" : "");
    const bool isEmpty =
        run.sawList && status == STATUS_OK && !run.user.empty() && run.devices.Counts().empty();
    Add(chapter.told, isEmpty ? "no records" : "");
    if (FailedIn(run, Step::LIST, Step::END) ||
        (IsOfStoring(run) && FailedIn(run, Step::ASK_DOWNLOAD, Step::END))) {
        chapter.sign = Sign::FAULT;
        chapter.told.push_back(FailureWords(*run.failure));
    }
    if (!run.sawList) {
        chapter.untold = {run.Shows('I') ? "the rest: the log ends before it"
                                         : "what became of each record: level I"};
    }
    return chapter;
}

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
        Add(words, Cli::Join(AnswerWords(token), ", "));
    }
    Add(words, run.endedWithoutToken ? "the run ended without an access token" : "");
    Add(words, Meaning(*run.failure));
    Add(words, SubjectWords(run));
    Add(words, run.failure->cause);
    const auto kind = RequestOf(run.failure->step.value_or(Step::END));
    if (kind) {
        for (const std::string& answer : AnswerWords(run.Of(*kind))) {
            Add(words, answer);
        }
    }
    Add(words, IsUnlocated(run) ? "which request it was: level W, or the HTTP client's lines, tell" : "");
    return words;
}

std::string RefusalRemedy(const Run& run, const KnownLine& known, Run::Kind kind) {
    constexpr std::int64_t SERVER_ERROR = 500;
    const Request& request = run.Of(kind);
    const std::int64_t status = request.status.value_or(0);
    return IsDropped(request)               ? "nothing: the next run downloads everything"
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
    const Run::Source source = SourceOf(run);
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

void TellOutcome(const Run& run, Story& story) {
    const bool isSuccess =
        run.sawEnd && run.Of(Run::DOWNLOAD).status == STATUS_OK && (run.sawList || !run.Shows('I'));
    story.outcome = run.failure && !IsWaiting(run) ? FAILED : isSuccess ? SUCCESS : NOT_TOLD;
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

Words Heading(const Run& run) {
    Words words;
    Add(words, run.began.empty() ? "" : run.began + " to " + run.ended);
    Add(words, run.milliseconds ? "took " + Seconds(*run.milliseconds) : "");
    Add(words, run.pid == 0 ? "" : "process " + std::to_string(run.pid));
    Add(words, run.level == '\0' ? "" : std::string("level ") + run.level);
    Add(words, Cli::Count(run.lineCount, "line"));
    Add(words, run.clockJumped ? "the clock was set on the way" : "");
    Add(words, run.clock);
    return words;
}

std::vector<Exchange> Exchanges(const Run& run) {
    const Run::Source source = SourceOf(run);
    const char* const names[] = {source == Run::Source::REFRESHED ? "refresh"
                                 : source == Run::Source::NEW     ? "token"
                                                                  : "token or refresh",
                                 "activation", "app", "download"};
    std::vector<Exchange> exchanges;
    for (const Run::Kind kind : {Run::TOKEN, Run::ACTIVATION, Run::APP, Run::DOWNLOAD}) {
        const Request& request = run.Of(kind);
        if (request.sent) {
            Exchange exchange{names[kind], request.answered};
            exchange.status = request.status ? Json::Value(Json::Int64{*request.status}) : Json::Value();
            exchange.seconds = request.milliseconds
                                   ? Json::Value(static_cast<double>(*request.milliseconds) / 1000)
                                   : Json::Value();
            exchange.mark = kind == Run::DOWNLOAD && run.mark.value_or(0) > 0
                                ? Json::Value(Json::Int64{*run.mark})
                                : Json::Value();
            exchanges.push_back(exchange);
        }
    }
    return exchanges;
}

}  // namespace

std::string Chapter::Words() const {
    std::string words = Cli::Join(told, ", ");
    for (const std::string& what : untold) {
        words += (words.empty() ? "" : "; ") + std::string("not told: ") + what;
    }
    return words;
}

Story Tell(const Run& run) {
    Story story;
    story.number = run.number;
    story.user = run.user;
    TellOutcome(run, story);
    story.heading = Heading(run);
    story.requests = Exchanges(run);
    story.records = run.devices.Records();
    story.mark = run.mark.value_or(0) > 0 ? Json::Value(Json::Int64{*run.mark}) : Json::Value();
    story.nextMark = run.nextMark ? Json::Value(Json::Int64{*run.nextMark}) : Json::Value();
    story.chapters = {Start(run), SignIn(run)};
    const auto add = [&](Step step, const Chapter& chapter) {
        if (run.reached >= step) {
            story.chapters.push_back(chapter);
        }
    };
    add(Step::STORED, Stored(run));
    add(Step::TOKEN, Token(run));
    add(IsUnlocated(run) ? Step::TOKEN : Step::ASK_ACTIVATION,
        CloudRequest(run, "activation", Run::ACTIVATION));
    add(IsUnlocated(run) ? Step::TOKEN : Step::ASK_APP, CloudRequest(run, "app", Run::APP));
    add(Step::ASK_DOWNLOAD, Download(run));
    add(run.sawList || story.outcome == SUCCESS || IsOfStoring(run) ? Step::ASK_DOWNLOAD : Step::LIST,
        List(run));
    return story;
}

std::string OutcomeWords(const Story& story) {
    return Cli::Join({story.outcome, Cli::Join(story.reason, "; ")}, story.reason.empty() ? "" : ": ");
}

std::string RequestsWords(const Story& story) {
    Words all;
    for (const Exchange& exchange : story.requests) {
        all.push_back(exchange.request +
                      (exchange.mark.isNull() ? "" : " from mark " + exchange.mark.asString()) +
                      (!exchange.answered         ? " (no answer)"
                       : exchange.status.isNull() ? ""
                                                  : " " + exchange.status.asString()));
    }
    return Cli::Join(all, ", ");
}

}  // namespace Log
