#include "Television/Explain/Story.h"

#include <algorithm>

#include "Cli/Text.h"
#include "Television/Explain/LogForms.h"
#include "Television/ServiceNames.h"

namespace Explain {

namespace {

constexpr char LOG_ENDS[] = "the log ends before the answer";

/** Whether the log is known to hold lines of this priority. */
bool Shows(const Run& run, char priority) {
    return PRIORITIES.find(run.level) <= PRIORITIES.find(priority);
}

bool FailedIn(const Run& run, Step first, Step last) {
    return run.failure && run.failedStep >= first && run.failedStep <= last;
}

bool IsMissing(const Run& run, const char* record) {
    return std::find(run.missing.begin(), run.missing.end(), record) != run.missing.end();
}

std::string Joined(std::vector<std::string> parts, const char* separator) {
    parts.erase(std::remove(parts.begin(), parts.end(), ""), parts.end());
    return Cli::Join(parts, separator);
}

/** In the user's words, with those of the log after them. */
std::string FaultWords(const Fault& fault) {
    const std::string text = Joined({fault.text, fault.causes}, "; ");
    return fault.known == nullptr ? text : fault.known->meaning + " (" + text + ")";
}

/** What came back: "status 401, 4010001: access token unknown". */
std::string AnswerWords(const Exchange& exchange) {
    return Joined({exchange.status ? "status " + std::to_string(*exchange.status) : "",
                   exchange.code == "0" ? "" : Joined({exchange.code, exchange.words}, ": ")},
                  ", ");
}

Chapter Start(const Run& run) {
    if (FailedIn(run, Step::START, Step::START)) {
        return {"start", Sign::FAULT, FaultWords(*run.failure), ""};
    }
    return run.sawStart
               ? Chapter{"start", Sign::FINE,
                         run.wasReset ? "factory reset: all that was stored is wiped" : "no factory reset",
                         ""}
               : Chapter{"start", Sign::UNKNOWN, "the log begins in the middle of this run", ""};
}

Chapter SignIn(const Run& run) {
    const std::string failed =
        Cli::Count(static_cast<std::size_t>(run.failedChecks), "check") + " found nobody signed in";
    if (FailedIn(run, Step::SIGN_IN, Step::SIGN_IN)) {
        return {"sign-in", Sign::FAULT, FaultWords(*run.failure), ""};
    }
    if (run.reached > Step::SIGN_IN) {
        return {"sign-in", Sign::FINE,
                run.failedChecks > 0 ? "signed in, after " + failed
                : Shows(run, 'W')    ? "signed in at the first check"
                                     : "signed in; after how many checks is told at level W",
                ""};
    }
    return {"sign-in", Sign::UNKNOWN,
            run.failedChecks > 0 ? failed + "; there the log ends" : "not told by this log", ""};
}

Chapter Stored(const Run& run) {
    return {"stored", run.sawStart ? Sign::FINE : Sign::UNKNOWN,
            !run.missing.empty() ? "missing: " + Cli::Join(run.missing, ", ")
            : run.sawStart       ? "everything needed was there"
                                 : "what was there is not told by this log",
            ""};
}

/** A new or a refreshed token. */
Chapter AskedToken(const Run& run) {
    const std::string why =
        run.tokenRequest.why.empty() ? "none was stored for this user" : run.tokenRequest.why;
    Chapter chapter{"token", Sign::FAULT,
                    (run.token == Run::Token::REFRESHED ? "refreshed, since " : "new, since ") + why, ""};
    if (!run.tokenRequest.code.empty()) {
        chapter.answer = "refused: " + AnswerWords(run.tokenRequest);
    } else if (FailedIn(run, Step::TOKEN, Step::TOKEN_ANSWER)) {
        chapter.answer = "failed";
    } else if (run.reached == Step::CODE && !run.faults.empty()) {
        chapter.answer = FaultWords(run.faults.back());
    } else if (run.reached > Step::TOKEN_ANSWER && Shows(run, 'I') && !run.gotToken) {
        chapter.answer = "the answer holds none";
    } else {
        chapter.sign = run.gotToken ? Sign::FINE : Sign::UNKNOWN;
        chapter.answer = run.gotToken ? "the authorisation server gave one"
                         : run.reached <= Step::TOKEN_ANSWER
                             ? LOG_ENDS
                             : "an answer came, what it holds is told at level I";
    }
    return chapter;
}

Chapter Token(const Run& run) {
    if (run.token != Run::Token::UNKNOWN || IsMissing(run, "access token")) {
        return AskedToken(run);
    }
    if (FailedIn(run, Step::STORED, Step::TOKEN_ANSWER)) {
        return {"token", Sign::FAULT, FaultWords(*run.failure), ""};
    }
    if (run.reached < Step::ASK_ACTIVATION) {
        return {"token", Sign::UNKNOWN, "not told by this log", ""};
    }
    return Shows(run, 'W')
               ? Chapter{"token", Sign::FINE, Joined({"stored, still valid", run.tokenRequest.why}, " "), ""}
               : Chapter{"token", Sign::UNKNOWN, "at hand; stored, refreshed or new is told at level W", ""};
}

/** The activation or the application token, whose request begins with the step. */
Chapter Request(const Run& run, const char* name, const Exchange& exchange, Step ask) {
    const std::string asked = Joined({"asked for", exchange.why}, ", since ");
    const std::string answer = AnswerWords(exchange);
    if (FailedIn(run, ask, Next(ask))) {
        return {name, Sign::FAULT, asked, Joined({answer, "failed"}, "; ")};
    }
    if (exchange.asked) {
        return run.reached > Next(ask) ? Chapter{name, Sign::FINE, asked, answer}
                                       : Chapter{name, Sign::UNKNOWN, asked, LOG_ENDS};
    }
    return run.isUnlocated
               ? Chapter{name, Sign::UNKNOWN, "asked for or still valid, which is told at level W", ""}
               : Chapter{name, Sign::FINE, Joined({"stored, still valid", exchange.why}, " "), ""};
}

Chapter Download(const Run& run) {
    Chapter chapter{"download", run.download.status ? Sign::FINE : Sign::UNKNOWN, "", ""};
    chapter.text = !run.mark.empty() ? "of what changed after mark " + run.mark
                   : IsMissing(run, "device records") || Shows(run, 'I')
                       ? "of everything, since no mark was stored"
                       : "from a mark that is told at level I";
    std::string outcome = run.download.status ? "" : LOG_ENDS;
    if (FailedIn(run, Step::ASK_RECORDS, Step::RECORDS_ANSWER)) {
        const bool isDropped = run.download.code == "4009100" || run.download.code == "4000002";
        chapter.sign = Sign::FAULT;
        outcome = isDropped         ? "the stored records were dropped"
                  : run.isUnlocated ? "this request or one before it failed"
                                    : "failed";
    }
    chapter.answer = Joined(
        {AnswerWords(run.download),
         run.downloaded ? (run.downloadIsCut ? "at least " : "") + Cli::Count(*run.downloaded, "record") : "",
         run.nextMark.empty() ? "" : "next mark " + run.nextMark, outcome},
        "; ");
    return chapter;
}

Chapter List(const Run& run) {
    std::vector<std::string> counts;
    for (const auto& [listing, count] : run.listings) {
        counts.push_back(std::to_string(count) + " " + ListingName(listing));
    }
    const std::string text = Cli::Join(counts, ", ");
    if (FailedIn(run, Step::LIST, Step::END)) {
        return {"list", Sign::FAULT, Joined({text, FaultWords(*run.failure)}, "; "), ""};
    }
    if (!Shows(run, 'I')) {
        return {"list", Sign::UNKNOWN, Joined({text, "what became of each record is told at level I"}, "; "),
                ""};
    }
    return {"list", Sign::FINE, text.empty() ? "no records" : text, ""};
}

std::string FailureReason(const Run& run) {
    if (!run.tokenRequest.code.empty()) {
        return "the authorisation server gave no token, " + AnswerWords(run.tokenRequest);
    }
    const auto refused = ExchangeOf(run.failedStep);
    return Joined({FaultWords(*run.failure), refused == nullptr ? "" : AnswerWords(run.*refused)}, "; ");
}

}  // namespace

Story Tell(const Run& run) {
    Story story;
    if (run.failure) {
        story.outcome = "failed";
        story.reason = FailureReason(run);
    } else if (run.sawEnd) {
        story.outcome = "success";
    } else {
        story.outcome = "unfinished";
        story.reason = run.reached == Step::CODE && !run.faults.empty()
                           ? FaultWords(run.faults.back())
                           : "the log ends first: the service was still at it, was ended, or the log is cut";
    }
    story.chapters = {Start(run), SignIn(run)};
    const auto add = [&story, &run](Step step, const Chapter& chapter) {
        if (run.reached >= step) {
            story.chapters.push_back(chapter);
        }
    };
    add(Step::STORED, Stored(run));
    add(Step::STORED, Token(run));
    add(Step::ASK_ACTIVATION, Request(run, "activation", run.activation, Step::ASK_ACTIVATION));
    add(Step::ASK_APP_TOKEN, Request(run, "app token", run.appToken, Step::ASK_APP_TOKEN));
    add(Step::ASK_RECORDS, Download(run));
    add(story.outcome == "success" ? Step::ASK_RECORDS : Step::LIST, List(run));
    for (const Fault& fault : run.faults) {
        const std::string remedy = fault.known == nullptr ? "" : fault.known->remedy;
        if (!remedy.empty() &&
            std::find(story.remedies.begin(), story.remedies.end(), remedy) == story.remedies.end()) {
            story.remedies.push_back(remedy);
        }
    }
    return story;
}

std::string Heading(const Run& run) {
    return Joined({run.began.empty() ? "" : run.began + " to " + run.ended,
                   run.pid == 0 ? "" : "process " + std::to_string(run.pid),
                   std::string("level ") + run.level, Cli::Count(run.lineCount, "line")},
                  ", ");
}

std::string ListingName(Listing listing) {
    static const std::map<Listing, const char*> names = {
        {Listing::ADDED, "added"},
        {Listing::REMOVED, "removed"},
        {Listing::SKIPPED, "malformed"},
        {Listing::PAIRED, "paired with the set"},
        {Listing::NO_SINK, "no audio sink"},
        {Listing::OTHER_USERS, "kept for other users"},
        {Listing::NOT_LISTED, "deleted in the cloud"},
        {Listing::UPDATED, "brought up to date"},
        {Listing::UNKNOWN, "not told"},
    };
    return names.at(listing);
}

std::string ListingWords(const Record& record) {
    const std::string name = ListingName(record.listing);
    return record.listing == Listing::NO_SINK
               ? "left out, " +
                     (record.services.empty() ? "no audio sink" : Television::NoSinkWords(record.services))
           : record.listing == Listing::PAIRED     ? "left out, " + name
           : record.listing == Listing::NOT_LISTED ? name + ", was not in the list"
                                                   : name;
}

}  // namespace Explain
