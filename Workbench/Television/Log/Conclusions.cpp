/** What follows from all that a log made known of a run, and from what it has not. */
#include <algorithm>
#include <utility>

#include "Cli/Text.h"
#include "Manager/CCloudServerManager.h"
#include "Television/Log/RunReader.h"

namespace Log {

namespace {

using Kind = KnownLine::Kind;

/** What it was to the step that it happened in. */
std::string FailureWords(const Fault& fault) {
    const Kind kind = fault.known == nullptr ? Kind::FAILURE : fault.known->kind;
    return kind == Kind::NO_ANSWER    ? "no whole answer came"
           : kind == Kind::REFUSED    ? "refused"
           : kind == Kind::UNREADABLE ? "what came cannot be read"
           : kind == Kind::NOT_STORED ? "storing what came failed"
                                      : fault.Meaning();
}

}  // namespace

std::string RunReader::Said(Part part, About about) const {
    const auto& told = In(part).told;
    const auto found = told.find(about);
    return found == told.end() ? "" : found->second;
}

/** Lines of the priority would be in the log. */
bool RunReader::Shows(char priority) const {
    return m_level != '\0' && !IsBelow(priority, m_level);
}

/** All that a run logs before the step, were it there at this level, would be in the log. */
bool RunReader::HasAllBefore(Step before, char priority) const {
    return sawStart && m_reached > before && (priority == 'E' || Shows(priority));
}

bool RunReader::FailedIn(Step first, Step last) const {
    return story.failure && story.failure->step && *story.failure->step >= first &&
           *story.failure->step <= last;
}

/** Which request failed is not told. */
bool RunReader::IsUnlocated() const {
    return story.failure && !story.failure->step;
}

/** What came could not be stored, though the request itself went well. */
bool RunReader::IsOfStoring() const {
    return story.failure && story.failure->known != nullptr && story.failure->known->kind == Kind::NOT_STORED;
}

/** The mark was refused, and so the stored records dropped. */
bool RunReader::IsDropped() const {
    const std::string code = Said(Part::DOWNLOAD, About::CODE);
    return code == std::to_string(CCloudServerManager::RESULT_MARK_TOO_OLD) ||
           code == std::to_string(CCloudServerManager::RESULT_MARK_UNKNOWN);
}

Story RunReader::Finish() {
    if (m_sawList || story.sawEnd) {
        devices.End();
    }
    FindSilentFailure();
    ConcludeStart();
    ConcludeSignIn();
    ConcludeStored();
    ConcludeToken();
    ConcludeRequest(Part::ACTIVATION);
    ConcludeRequest(Part::APP);
    ConcludeDownload();
    ConcludeList();
    ConcludeOutcome();
    TellHeading();
    Gather();
    return std::move(story);
}

/** A run that ends without a word of why. */
void RunReader::FindSilentFailure() {
    if (!story.sawEnd || story.failure || In(Part::DOWNLOAD).status == STATUS_OK) {
        return;
    }
    const auto store = std::find_if(m_faults.begin(), m_faults.end(), [](const Fault& fault) {
        return fault.known != nullptr && fault.known->kind == Kind::NOT_STORED && fault.text.empty();
    });
    if (store != m_faults.end()) {
        story.failure = *store;
    } else if (sawStart && m_reached < Step::STORED) {
        Line line;
        line.message = "Exit process";
        story.failure = Fault{FindKnownLine(line), line.message, "", Step::SIGN_IN};
        m_faults.push_back(*story.failure);
    }
}

/** Where no line said anything about that: says what follows, or what would tell it. */
void RunReader::Conclude(Part part, About about, bool follows, const char* conclusion, const char* untold) {
    if (!Has(part, about)) {
        Say(part, about, follows ? conclusion : "");
        Add(In(part).untold, follows ? "" : untold);
    }
}

/** Whether the run failed in these steps: then that is what the chapter tells. */
bool RunReader::ConcludeFailure(Part part, Step first, Step last) {
    const bool isHere = FailedIn(first, last);
    if (isHere) {
        In(part).sign = Sign::FAULT;
        Say(part, About::RESULT, FailureWords(*story.failure));
    }
    return isHere;
}

void RunReader::ConcludeStart() {
    In(Part::START).sign = sawStart ? Sign::FINE : Sign::UNKNOWN;
    if (sawStart) {
        Conclude(Part::START, About::WHETHER, false, "", "whether a factory reset was asked for");
    } else {
        In(Part::START).untold = {"the log begins in the middle of this run"};
    }
    ConcludeFailure(Part::START, Step::START, Step::START);
}

void RunReader::ConcludeSignIn() {
    if (ConcludeFailure(Part::SIGN_IN, Step::SIGN_IN, Step::SIGN_IN)) {
        return;
    }
    const bool isOver = m_reached > Step::SIGN_IN;
    Conclude(Part::SIGN_IN, About::WHY, isOver, "signed in", "whether anybody was signed in");
    if (isOver) {
        In(Part::SIGN_IN).sign = Sign::FINE;
    }
    if (isOver && !Has(Part::SIGN_IN, About::WHETHER)) {
        Conclude(Part::SIGN_IN, About::LEFT, HasAllBefore(Step::SIGN_IN, 'W'), "at the first check",
                 "after how many checks: level W");
    }
}

void RunReader::ConcludeStored() {
    const bool hasAll = HasAllBefore(Step::STORED, 'E');
    In(Part::STORED).sign = hasAll ? Sign::FINE : Sign::UNKNOWN;
    Add(In(Part::STORED).untold, hasAll ? "" : "what else could be read");
    if (In(Part::STORED).told.empty() && hasAll) {
        Say(Part::STORED, About::ALSO, "what is kept of sign-in, tokens and activation could be read");
    }
}

void RunReader::ConcludeToken() {
    Chapter& chapter = In(Part::TOKEN);
    const bool isMissing = Cli::StartsWith(Said(Part::STORED, About::ALSO), "the access tokens");
    if (!Has(Part::TOKEN, About::WHETHER) && isMissing && m_reached > Step::TOKEN) {
        Say(Part::TOKEN, About::WHETHER, NEW_TOKEN);
        Say(Part::TOKEN, About::WHY, "since none that can be used was stored for this user");
    }
    Conclude(Part::TOKEN, About::WHETHER, m_reached >= Step::ASK_ACTIVATION && HasAllBefore(Step::TOKEN, 'W'),
             HOLDS, "whether it was stored, refreshed or new: level W");
    if (Said(Part::TOKEN, About::WHETHER) == HOLDS) {
        chapter.sign = Sign::FINE;
    } else if (Has(Part::TOKEN, About::WHETHER) || FailedIn(Step::TOKEN, Step::TOKEN_ANSWER)) {
        ConcludeAnswer(Part::TOKEN);
    }
}

/** The activation or the application token. */
void RunReader::ConcludeRequest(Part part) {
    Conclude(part, About::WHETHER, HasAllBefore(StepsOf(part).last, 'E'), HOLDS,
             IsUnlocated() ? "whether it was asked for, and whether it is what failed: level W"
                           : "whether it was asked for or still valid: level W");
    if (Said(part, About::WHETHER) == HOLDS) {
        In(part).sign = Sign::FINE;
        return;
    }
    if (Has(part, About::WHETHER)) {
        Conclude(part, About::WHY, false, "", "why: level W");
    } else {
        In(part).told.erase(About::LEFT);
    }
    ConcludeAnswer(part);
}

/** How the answer went. */
void RunReader::ConcludeAnswer(Part part) {
    Chapter& chapter = In(part);
    const PartSteps& steps = StepsOf(part);
    SayTime(part, About::TOOK, "answered after ", chapter.milliseconds);
    const bool isToken = part == Part::TOKEN;
    const bool isDownload = part == Part::DOWNLOAD;
    const bool hasFailed = !(isDownload && IsOfStoring()) && ConcludeFailure(part, steps.first, steps.last);
    const bool isOver = m_reached > steps.last || (isDownload && story.sawEnd);
    const bool isGood = isToken ? m_gotToken == true : !isDownload || chapter.status == STATUS_OK;
    if (isToken && Has(part, About::CODE)) {
        chapter.sign = Sign::FAULT;
        Say(part, About::RESULT, "refused");
    } else if (isToken && m_gotToken && !hasFailed) {
        chapter.sign = isGood ? Sign::FINE : Sign::FAULT;
        Say(part, About::RESULT, isGood ? "the authorisation server gave one" : "the answer holds none");
    } else if (isOver && isGood && !hasFailed) {
        chapter.sign = Sign::FINE;
    } else if (!hasFailed && (IsAsked(part) || isToken)) {
        Add(chapter.untold, isToken && isOver ? "what the answer holds: level I"
                            : chapter.status  ? "what came of it: the log ends before that"
                                              : "its answer: the log ends before it");
    }
}

void RunReader::ConcludeDownload() {
    Conclude(Part::DOWNLOAD, About::WHETHER, false, "", "from which mark: level I");
    ConcludeAnswer(Part::DOWNLOAD);
    Say(Part::DOWNLOAD, About::ALSO, IsDropped() ? "the stored records were dropped" : "");
}

void RunReader::ConcludeList() {
    Chapter& chapter = In(Part::LIST);
    chapter.sign = m_sawList ? Sign::FINE : Sign::UNKNOWN;
    for (const auto& [listing, count] : devices.Counts()) {
        Say(Part::LIST, About::ALSO,
            listing == Listing::NOT_TOLD ? "" : std::to_string(count) + " " + ListingName(listing));
    }
    const bool isRefused = In(Part::DOWNLOAD).status.value_or(STATUS_OK) != STATUS_OK;
    const bool isEmpty = m_sawList && In(Part::DOWNLOAD).status == STATUS_OK && !story.user.empty() &&
                         devices.Counts().empty();
    Say(Part::LIST, About::ALSO, m_sawList && isRefused ? "left as it was" : isEmpty ? "no records" : "");
    if (FailedIn(Step::LIST, Step::END) || (IsOfStoring() && FailedIn(Step::ASK_DOWNLOAD, Step::END))) {
        chapter.sign = Sign::FAULT;
        Say(Part::LIST, About::ALSO, FailureWords(*story.failure));
    }
    if (!m_sawList) {
        chapter.untold = {Shows('I') ? "the rest: the log ends before it"
                                     : "what became of each record: level I"};
    }
}

/** Puts together what is handed over of all that is known. */
void RunReader::Gather() {
    const bool hasList = m_sawList || story.outcome == SUCCESS || IsOfStoring();
    const std::string source = Said(Part::TOKEN, About::WHETHER);
    for (const Part part : m_sent) {
        In(part).request = part != Part::TOKEN         ? StepsOf(part).name
                           : source == REFRESHED_TOKEN ? "refresh"
                           : source == NEW_TOKEN       ? "token"
                                                       : "token or refresh";
        // A picture has their steps, though no line may tell of them.
        story.lines[StepsOf(part).asking];
        if (StepsOf(part).last < m_reached) {
            story.lines[StepsOf(part).last];
        }
    }
    for (Chapter& chapter : m_chapters) {
        const bool isRequest = chapter.part == Part::ACTIVATION || chapter.part == Part::APP;
        const Step needed = chapter.part <= Part::SIGN_IN           ? Step::START
                            : isRequest && IsUnlocated()            ? Step::TOKEN
                            : chapter.part == Part::LIST && hasList ? Step::ASK_DOWNLOAD
                                                                    : StepsOf(chapter.part).first;
        if (m_reached >= needed) {
            story.chapters.push_back(std::move(chapter));
        }
    }
    story.records = devices.Records();
}

void RunReader::TellHeading() {
    const Moment took = Since(m_first);
    Words& words = story.heading;
    Add(words, story.began.empty() ? "" : story.began + " to " + m_ended);
    Add(words, took ? "took " + Seconds(*took) : "");
    Add(words, m_pid == 0 ? "" : "process " + std::to_string(m_pid));
    Add(words, m_level == '\0' ? "" : std::string("level ") + m_level);
    Add(words, Cli::Count(m_lineCount, "line"));
    Add(words, m_clockJumped ? "the clock was set on the way" : "");
    Add(words, m_clock);
}

}  // namespace Log
