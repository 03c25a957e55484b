/** What follows from all that a log made known of a run, and from what it has not. */
#include <algorithm>

#include "Cli/Text.h"
#include "Television/Log/Run.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;

constexpr Part REQUESTS[] = {Part::TOKEN, Part::ACTIVATION, Part::APP, Part::DOWNLOAD};

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

/** Whether the run failed there: then that is what the chapter tells. */
bool ConcludeFailure(Run& run, Part part) {
    const bool isHere = run.FailedIn(FirstOf(part), LastOf(part));
    if (isHere) {
        run.In(part).sign = Sign::FAULT;
        run.In(part).Say(About::RESULT, FailureWords(*run.failure));
    }
    return isHere;
}

void ConcludeStart(Run& run) {
    Chapter& start = run.In(Part::START);
    start.sign = run.sawStart ? Sign::FINE : Sign::UNKNOWN;
    if (!run.sawStart) {
        Untell(run, Part::START, "the log begins in the middle of this run");
    } else if (!start.Has(About::WHETHER)) {
        Untell(run, Part::START, "whether a factory reset was asked for");
    }
    ConcludeFailure(run, Part::START);
}

void ConcludeSignIn(Run& run) {
    Chapter& signIn = run.In(Part::SIGN_IN);
    if (ConcludeFailure(run, Part::SIGN_IN)) {
        return;
    }
    if (run.reached <= Step::SIGN_IN) {
        Untell(run, Part::SIGN_IN, "whether anybody was signed in");
        return;
    }
    signIn.sign = Sign::FINE;
    signIn.Say(About::WHY, "signed in");
    if (signIn.Has(About::WHETHER)) {
        return;
    }
    if (HasAllBefore(run, Step::SIGN_IN, 'W')) {
        signIn.Say(About::LEFT, "at the first check");
    } else {
        Untell(run, Part::SIGN_IN, "after how many checks", 'W');
    }
}

void ConcludeStored(Run& run) {
    Chapter& stored = run.In(Part::STORED);
    if (!HasAllBefore(run, Step::STORED, 'E')) {
        Untell(run, Part::STORED, "what else could be read");
        return;
    }
    stored.sign = Sign::FINE;
    if (!stored.Has(About::ALSO)) {
        stored.Say(About::ALSO, "what is kept of sign-in, tokens and activation could be read");
    }
}

/** What the answer's text tells of a token, whatever its status was. @return whether that is all */
bool ConcludeToken(Run& run, bool hasFailed) {
    Chapter& token = run.In(Part::TOKEN);
    if (token.Has(About::CODE)) {
        token.sign = Sign::FAULT;
        token.Say(About::RESULT, "refused");
    } else if (run.gotToken == false) {
        token.sign = Sign::FAULT;
        token.Say(About::ALSO, "the answer holds none");
    } else if (run.gotToken == true && !hasFailed) {
        token.sign = Sign::FINE;
        token.Say(About::RESULT, "the authorisation server gave one");
    } else if (token.asked && run.reached > Step::TOKEN_ANSWER && !hasFailed) {
        Untell(run, Part::TOKEN, "what the answer holds", 'I');
    } else {
        return hasFailed;
    }
    return true;
}

/** How the answer went. */
void ConcludeAnswer(Run& run, Part part) {
    Chapter& chapter = run.In(part);
    chapter.SayTime(About::TOOK, "answered after ", chapter.milliseconds);
    const bool isDownload = part == Part::DOWNLOAD;
    const bool hasFailed = !(isDownload && IsOfStoring(run)) && ConcludeFailure(run, part);
    if (part == Part::TOKEN && ConcludeToken(run, hasFailed)) {
        return;
    }
    const bool isGood = isDownload ? run.HasRecords() : part != Part::TOKEN;
    const bool isOver = run.reached > LastOf(part) || (isDownload && run.sawEnd);
    if (isDownload && run.IsDropped()) {
        chapter.sign = Sign::FAULT;
        chapter.Say(About::RESULT, "refused");
        chapter.Say(About::ALSO, "the stored records were dropped");
    } else if (isDownload && isGood && run.failure && !run.failure->step) {
        Untell(run, part, "whether its answer or the stored device list could not be read", 'I');
    } else if (isOver && isGood && !hasFailed) {
        chapter.sign = Sign::FINE;
    } else if (!hasFailed && chapter.asked) {
        Untell(run, part,
               chapter.status ? "what came of it: the log ends before that"
                              : "its answer: the log ends before it");
    }
}

void ConcludeRequest(Run& run, Part part) {
    Chapter& chapter = run.In(part);
    const bool isDownload = part == Part::DOWNLOAD;
    const bool isToken = part == Part::TOKEN;
    const bool isKnown = chapter.Has(About::WHETHER);
    if (!isKnown && !isDownload && HasAllBefore(run, LastOf(part), isToken ? 'W' : 'E')) {
        chapter.Say(About::WHETHER, HOLDS);
    }
    if (chapter.Said(About::WHETHER) == HOLDS) {
        chapter.sign = Sign::FINE;
        return;
    }
    if (!isKnown) {
        chapter.told.erase(About::LEFT);
        Untell(run, part,
               isDownload          ? "from which mark"
               : isToken           ? "whether it was stored, refreshed or new"
               : run.IsUnlocated() ? "whether it was asked for, and whether it is what failed"
                                   : "whether it was asked for or still valid",
               isDownload ? 'I' : 'W');
    } else if (!isDownload && !chapter.Has(About::WHY)) {
        Untell(run, part, "why", 'W');
    }
    ConcludeAnswer(run, part);
}

void ConcludeList(Run& run) {
    Chapter& chapter = run.In(Part::LIST);
    const Statements counts = run.devices.Counts();
    for (const std::string& count : counts) {
        chapter.Say(About::ALSO, count);
    }
    const bool isNone =
        run.HasRecords() && !run.user.empty() && counts.empty() && run.devices.Records().empty();
    if (run.sawList) {
        const bool isRefused = run.In(Part::DOWNLOAD).status && !run.HasRecords();
        chapter.sign = Sign::FINE;
        chapter.Say(About::ALSO, isRefused ? "left as it was" : isNone ? "no records" : "");
    } else if (!run.Shows('I')) {
        chapter.untold = {"what became of each record: level I"};
    } else if (!run.sawEnd || !run.failure) {
        chapter.untold = {run.sawEnd ? "the rest: its lines are missing"
                                     : "the rest: the log ends before it"};
    }
    if (run.FailedIn(Step::LIST, Step::END) ||
        (IsOfStoring(run) && run.FailedIn(Step::ASK_DOWNLOAD, Step::END))) {
        chapter.sign = Sign::FAULT;
        chapter.Say(About::ALSO, FailureWords(*run.failure));
    }
}

/** Whether the story has the chapter, and the picture the steps of a request without a line of their own. */
void Show(Run& run, Part part) {
    const bool hasList =
        run.sawList || run.HasSucceeded() || IsOfStoring(run) || run.FailedIn(Step::LIST, Step::LIST);
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

}  // namespace

void Run::Conclude() {
    if (sawList || sawEnd) {
        devices.End();
    }
    FindSilentFailure(*this);
    ConcludeStart(*this);
    ConcludeSignIn(*this);
    ConcludeStored(*this);
    if (Cli::StartsWith(In(Part::STORED).Said(About::ALSO), "the access tokens") &&
        !In(Part::TOKEN).Has(About::WHETHER) && reached > Step::TOKEN) {
        AskToken(NEW_TOKEN, "since none that can be used was stored for this user");
    }
    for (const Part request : REQUESTS) {
        ConcludeRequest(*this, request);
    }
    ConcludeList(*this);
    for (std::size_t i = 0; i < chapters.size(); ++i) {
        Show(*this, static_cast<Part>(i));
    }
}

}  // namespace Log
