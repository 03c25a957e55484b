#include "Television/Log/Story.h"

#include <algorithm>

#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;
using Words = std::vector<std::string>;

constexpr long STATUS_OK = 200;
constexpr char LOG_ENDS[] = "its answer: the log ends before it";
constexpr Step ASKING[] = {Step::ASK_TOKEN, Step::ASK_ACTIVATION, Step::ASK_APP, Step::ASK_DOWNLOAD};

/** What it was to the step that it happened in. */
std::string FailureWords(const Fault& fault) {
    const Kind kind = fault.known == nullptr ? Kind::FAILURE : fault.known->kind;
    return kind == Kind::NO_ANSWER    ? "no whole answer came"
           : kind == Kind::REFUSED    ? "refused"
           : kind == Kind::UNREADABLE ? "what came cannot be read"
           : kind == Kind::NOT_STORED ? "storing what came failed"
                                      : fault.Meaning();
}

std::string Seconds(std::int64_t milliseconds) {
    return Cli::DurationText(static_cast<double>(milliseconds) / 1000);
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
    if (run.FailedIn(Step::START, Step::START)) {
        chapter.sign = Sign::FAULT;
        chapter.told.push_back(run.failure->Meaning());
    }
    return chapter;
}

Chapter SignIn(const Run& run) {
    Chapter chapter{"sign-in", run.reached > Step::SIGN_IN ? Sign::FINE : Sign::UNKNOWN};
    Add(chapter.told,
        run.failedChecks == 0 ? "" : Cli::Count(run.failedChecks, "check") + " found nobody signed in");
    if (run.FailedIn(Step::SIGN_IN, Step::SIGN_IN)) {
        chapter.sign = Sign::FAULT;
        chapter.told.push_back(run.failure->Meaning());
    } else if (run.reached > Step::SIGN_IN) {
        chapter.told.emplace_back("signed in");
        const bool isFirst = run.failedChecks == 0 && run.HasAllBefore(Step::SIGN_IN, 'W');
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
    if (run.HasAllBefore(Step::STORED, 'E')) {
        chapter.sign = Sign::FINE;
        Add(chapter.told,
            run.missing.empty() ? "what is kept of sign-in, tokens and activation could be read" : "");
    } else {
        chapter.untold = {"what else could be read"};
    }
    return chapter;
}

void AddTokenAnswer(const Run& run, Chapter& chapter) {
    const Request& request = run.Of(Run::TOKEN);
    Add(chapter.told, run.codeWait ? "the code came after " + Seconds(*run.codeWait) : "");
    if (request.IsRefused() || run.FailedIn(Step::TOKEN, Step::TOKEN_ANSWER)) {
        chapter.sign = Sign::FAULT;
        Add(chapter.told, request.IsRefused() ? "refused" : FailureWords(*run.failure));
    } else if (run.gotToken) {
        chapter.sign = *run.gotToken ? Sign::FINE : Sign::FAULT;
        chapter.told.emplace_back(*run.gotToken ? "the authorisation server gave one"
                                                : "the answer holds none");
    } else {
        chapter.untold = {run.reached > Step::TOKEN_ANSWER ? "what the answer holds: level I" : LOG_ENDS};
    }
    for (const std::string& words : request.AnswerWords()) {
        Add(chapter.told, words);
    }
    Add(chapter.told, request.milliseconds ? "answered after " + Seconds(*request.milliseconds) : "");
}

Chapter Token(const Run& run) {
    const Request& request = run.Of(Run::TOKEN);
    const Run::Source source = run.TokenSource();
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
        (source != Run::Source::NOT_TOLD || run.FailedIn(Step::TOKEN, Step::TOKEN_ANSWER))) {
        AddTokenAnswer(run, chapter);
    }
    return chapter;
}

/** What is told of the answer, and how it went. */
void AddAnswer(const Run& run, Run::Kind kind, Chapter& chapter) {
    const Request& request = run.Of(kind);
    const Step answer = Next(ASKING[kind]);
    const bool isFault = run.FailedIn(ASKING[kind], answer) && !(kind == Run::DOWNLOAD && run.IsOfStoring());
    for (const std::string& words : request.AnswerWords()) {
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
    const bool stillHolds = request.asked ? !*request.asked : run.HasAllBefore(Next(ASKING[kind]), 'E');
    if (stillHolds) {
        chapter.sign = Sign::FINE;
        chapter.told = {"stored and still valid"};
    } else if (request.asked) {
        chapter.told = {"asked for"};
        Add(chapter.told, request.why);
        Add(chapter.untold, request.why.empty() ? "why: level W" : "");
    } else {
        chapter.untold = {run.IsUnlocated()
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
    Add(chapter.told, request.IsDropped() ? "the stored records were dropped" : "");
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
    if (run.FailedIn(Step::LIST, Step::END) ||
        (run.IsOfStoring() && run.FailedIn(Step::ASK_DOWNLOAD, Step::END))) {
        chapter.sign = Sign::FAULT;
        chapter.told.push_back(FailureWords(*run.failure));
    }
    if (!run.sawList) {
        chapter.untold = {run.Shows('I') ? "the rest: the log ends before it"
                                         : "what became of each record: level I"};
    }
    return chapter;
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
    const Run::Source source = run.TokenSource();
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
    add(run.IsUnlocated() ? Step::TOKEN : Step::ASK_ACTIVATION,
        CloudRequest(run, "activation", Run::ACTIVATION));
    add(run.IsUnlocated() ? Step::TOKEN : Step::ASK_APP, CloudRequest(run, "app", Run::APP));
    add(Step::ASK_DOWNLOAD, Download(run));
    add(run.sawList || story.outcome == SUCCESS || run.IsOfStoring() ? Step::ASK_DOWNLOAD : Step::LIST,
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
