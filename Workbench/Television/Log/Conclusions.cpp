/** What follows from all that a log made known of a run, and from what it has not. */
#include <algorithm>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/Log/Page.h"
#include "Television/Log/Run.h"
#include "Television/Log/Story.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;

constexpr char UNKNOWN[] = "unknown";
constexpr char FINE[] = "fine";
constexpr char FAULT[] = "fault";

/** In the order of Part. */
constexpr const char* NAMES[] = {"start",      "sign-in", "stored",   "token",
                                 "activation", "app",     "download", "list"};
constexpr Part REQUESTS[] = {Part::TOKEN, Part::ACTIVATION, Part::APP, Part::DOWNLOAD};

Json::Value OrNull(const std::optional<std::int64_t>& number) {
    return number ? Json::Value(Json::Int64{*number}) : Json::Value();
}

/** What it was to the step that it happened in. */
std::string FailureWords(const Fault& fault) {
    const Kind kind = fault.known == nullptr ? Kind::FAILURE : fault.known->kind;
    const bool isOfList = kind == Kind::UNREADABLE && fault.step == Step::LIST;
    return kind == Kind::NO_ANSWER        ? "no whole answer came"
           : kind == Kind::REFUSED        ? "refused"
           : isOfList && fault.IsNoJson() ? "what is stored cannot be read"
           : isOfList                     ? fault.Meaning()
           : kind == Kind::UNREADABLE     ? "what came cannot be read"
           : kind == Kind::NOT_STORED     ? "storing what came failed"
                                          : fault.Meaning();
}

/** All that a run logs before the step, were it there at this level, would be in the log. */
bool HasAllBefore(const Run& run, Step before, char priority) {
    return run.sawStart && run.reached > before && (priority == 'E' || run.Shows(priority));
}

/** What came could not be stored, though the request itself went well. */
bool IsOfStoring(const Run& run) {
    return run.failure && run.failure->known != nullptr && run.failure->known->kind == Kind::NOT_STORED;
}

/** A run that ends without a word of why. */
void FindSilentFailure(Run& run) {
    if (!run.sawEnd || run.failure || run.HasRecords()) {
        return;
    }
    const auto store = std::find_if(run.faults.begin(), run.faults.end(), [](const Fault& fault) {
        return fault.known != nullptr && fault.known->kind == Kind::NOT_STORED && fault.text.empty();
    });
    if (store != run.faults.end()) {
        run.failure = *store;
    } else if (run.sawStart && run.reached < Step::STORED && !run.Shows('W')) {
        Line line;
        line.message = "Exit process";
        run.failure = Fault{FindKnownLine(line), line.message, "", Step::SIGN_IN};
        run.faults.push_back(*run.failure);
    }
}

/** Notes what the log does not tell, and which level would. */
void Untell(Run& run, Part part, const std::string& what, char level = '\0') {
    Add(run.In(part).untold, what + (level == '\0'      ? ""
                                     : run.Shows(level) ? ": the log is cut"
                                                        : std::string(": level ") + level));
}

/** Where no line said anything about that: says what follows, or what is not told. */
void Conclude(Run& run, Part part, About about, bool follows, const char* conclusion, const char* untold,
              char level = '\0') {
    if (run.In(part).Has(about)) {
        return;
    }
    if (follows) {
        run.In(part).Say(about, conclusion);
    } else {
        Untell(run, part, untold, level);
    }
}

/** Whether the run failed there: then that is what the chapter tells. */
bool ConcludeFailure(Run& run, Part part) {
    const bool isHere = run.FailedIn(FirstOf(part), LastOf(part));
    if (isHere) {
        run.In(part).sign = FAULT;
        run.In(part).Say(About::RESULT, FailureWords(*run.failure));
    }
    return isHere;
}

void ConcludeStart(Run& run) {
    run.In(Part::START).sign = run.sawStart ? FINE : UNKNOWN;
    if (!run.sawStart) {
        Untell(run, Part::START, "the log begins in the middle of this run");
    } else if (!run.In(Part::START).Has(About::WHETHER)) {
        Untell(run, Part::START, "whether a factory reset was asked for");
    }
    ConcludeFailure(run, Part::START);
}

void ConcludeSignIn(Run& run) {
    if (ConcludeFailure(run, Part::SIGN_IN)) {
        return;
    }
    const bool isOver = run.reached > Step::SIGN_IN;
    run.In(Part::SIGN_IN).sign = isOver ? FINE : UNKNOWN;
    Conclude(run, Part::SIGN_IN, About::WHY, isOver, "signed in", "whether anybody was signed in");
    if (isOver && !run.In(Part::SIGN_IN).Has(About::WHETHER)) {
        Conclude(run, Part::SIGN_IN, About::LEFT, HasAllBefore(run, Step::SIGN_IN, 'W'), "at the first check",
                 "after how many checks", 'W');
    }
}

void ConcludeStored(Run& run) {
    const bool hasAll = HasAllBefore(run, Step::STORED, 'E');
    run.In(Part::STORED).sign = hasAll ? FINE : UNKNOWN;
    if (!hasAll) {
        Untell(run, Part::STORED, "what else could be read");
    } else if (!run.In(Part::STORED).Has(About::ALSO)) {
        run.In(Part::STORED).Say(About::ALSO, "what is kept of sign-in, tokens and activation could be read");
    }
}

/** How the answer went. */
void ConcludeAnswer(Run& run, Part part) {
    Chapter& chapter = run.In(part);
    run.In(part).SayTime(About::TOOK, "answered after ", chapter.milliseconds);
    const bool isToken = part == Part::TOKEN;
    const bool isDownload = part == Part::DOWNLOAD;
    const bool hasFailed = !(isDownload && IsOfStoring(run)) && ConcludeFailure(run, part);
    const bool isEither = isDownload && run.failure && !run.failure->step && chapter.status == STATUS_OK;
    const bool isOver = run.reached > LastOf(part) || (isDownload && run.sawEnd);
    const bool isGood = isToken ? run.gotToken == true : !isDownload || chapter.status == STATUS_OK;
    if (isToken && run.In(part).Has(About::CODE)) {
        chapter.sign = FAULT;
        run.In(part).Say(About::RESULT, "refused");
    } else if (isToken && run.gotToken == false) {
        chapter.sign = FAULT;
        run.In(part).Say(About::ALSO, "the answer holds none");
    } else if (isToken && isGood && !hasFailed) {
        chapter.sign = FINE;
        run.In(part).Say(About::RESULT, "the authorisation server gave one");
    } else if (isEither) {
        Untell(run, part, "whether its answer or the stored device list could not be read", 'I');
    } else if (isOver && isGood && !hasFailed) {
        chapter.sign = FINE;
    } else if (!hasFailed && chapter.asked) {
        Untell(run, part,
               isToken && isOver ? "what the answer holds"
               : chapter.status  ? "what came of it: the log ends before that"
                                 : "its answer: the log ends before it",
               isToken && isOver ? 'I' : '\0');
    }
}

void ConcludeRequest(Run& run, Part part) {
    const bool isDownload = part == Part::DOWNLOAD;
    const bool isToken = part == Part::TOKEN;
    Conclude(run, part, About::WHETHER, !isDownload && HasAllBefore(run, LastOf(part), isToken ? 'W' : 'E'),
             HOLDS,
             isDownload          ? "from which mark"
             : isToken           ? "whether it was stored, refreshed or new"
             : run.IsUnlocated() ? "whether it was asked for, and whether it is what failed"
                                 : "whether it was asked for or still valid",
             isDownload ? 'I' : 'W');
    const std::string whether = run.In(part).Said(About::WHETHER);
    if (whether == HOLDS) {
        run.In(part).sign = FINE;
        return;
    }
    if (whether.empty()) {
        run.In(part).told.erase(About::LEFT);
    } else if (!isDownload && !run.In(part).Has(About::WHY)) {
        Untell(run, part, "why", 'W');
    }
    ConcludeAnswer(run, part);
    run.In(part).Say(About::ALSO, isDownload && run.IsDropped() ? "the stored records were dropped" : "");
}

void ConcludeList(Run& run) {
    const Chapter& download = run.In(Part::DOWNLOAD);
    const Statements counts = run.devices.Counts();
    for (const std::string& count : counts) {
        run.In(Part::LIST).Say(About::ALSO, count);
    }
    const bool isGood = download.status == STATUS_OK;
    const bool isNone = isGood && !run.user.empty() && counts.empty() && run.devices.Records().empty();
    Chapter& chapter = run.In(Part::LIST);
    if (run.sawList) {
        chapter.sign = FINE;
        run.In(Part::LIST)
            .Say(About::ALSO, download.status && !isGood ? "left as it was"
                              : isNone                   ? "no records"
                                                         : "");
    } else if (!run.Shows('I')) {
        chapter.untold = {"what became of each record: level I"};
    } else if (!run.sawEnd || !run.failure) {
        chapter.untold = {run.sawEnd ? "the rest: its lines are missing"
                                     : "the rest: the log ends before it"};
    }
    if (run.FailedIn(Step::LIST, Step::END) ||
        (IsOfStoring(run) && run.FailedIn(Step::ASK_DOWNLOAD, Step::END))) {
        chapter.sign = FAULT;
        run.In(Part::LIST).Say(About::ALSO, FailureWords(*run.failure));
    }
}

/** Whether the story has the chapter, and the picture the steps of a request without a line of their own. */
void Show(Run& run, Part part, bool hasList) {
    const bool isOfCloud = part == Part::ACTIVATION || part == Part::APP;
    const Step needed = part <= Part::SIGN_IN            ? Step::START
                        : isOfCloud && run.IsUnlocated() ? Step::TOKEN
                        : part == Part::LIST && hasList  ? Step::ASK_DOWNLOAD
                                                         : FirstOf(part);
    run.In(part).shown = run.reached >= needed;
    if (run.In(part).sent) {
        const Step answer = LastOf(part);
        run.lines[static_cast<Step>(static_cast<int>(answer) - 1)];
        if (answer < run.reached) {
            run.lines[answer];
        }
    }
}

Json::Value ChapterJson(const Run& run, Part part) {
    const Chapter& chapter = run.In(part);
    Json::Value json = chapter.ToJson();
    json["chapter"] = NAMES[static_cast<std::size_t>(part)];
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
    if (run.sawList || run.sawEnd) {
        run.devices.End();
    }
    FindSilentFailure(run);
    ConcludeStart(run);
    ConcludeSignIn(run);
    ConcludeStored(run);
    if (Cli::StartsWith(run.In(Part::STORED).Said(About::ALSO), "the access tokens") &&
        !run.In(Part::TOKEN).Has(About::WHETHER) && run.reached > Step::TOKEN) {
        run.AskToken(NEW_TOKEN, "since none that can be used was stored for this user");
    }
    for (const Part request : REQUESTS) {
        ConcludeRequest(run, request);
    }
    ConcludeList(run);
    Story story;
    story["run"] = Json::UInt64{run.number};
    story["user"] = Cli::TextOrNull(run.user);
    TellOutcome(run, story);
    story["heading"] = Cli::JsonArray(Heading(run));
    story["mark"] = OrNull(run.mark);
    story["next_mark"] = OrNull(run.nextMark);
    story["records"] = run.devices.Records();
    story["story"] = Json::arrayValue;
    const bool hasList = run.sawList || story["outcome"] == SUCCESS || IsOfStoring(run);
    for (std::size_t i = 0; i < run.chapters.size(); ++i) {
        const auto part = static_cast<Part>(i);
        Show(run, part, hasList);
        if (run.In(part).shown) {
            story["story"].append(ChapterJson(run, part));
        }
    }
    if (run.keepsLines) {
        story["page"] = PageOf(run, story);
    }
    return story;
}

}  // namespace Log
