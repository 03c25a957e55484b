#include "Television/Log/Run.h"

#include <glib.h>

#include <algorithm>
#include <utility>

#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Manager/CCloudServerManager.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Text = std::string_view;
using Kind = KnownLine::Kind;

const KnownLine STORE_FAULT = {'E',
                               "",
                               "",
                               Step::START,
                               Kind::NOT_STORED,
                               nullptr,
                               "something could not be stored or read",
                               "see the store that reported it: space, rights"};

bool IsOneOf(const std::string& tag, std::initializer_list<Text> tags) {
    return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

}  // namespace

bool Fault::IsNoJson() const {
    return Cli::StartsWith(text, "fail to parse JSON: ");
}

std::string Fault::Meaning() const {
    static const Cli::Pattern either("^an answer, or (?<stored>[^,]+), ");
    std::string meaning(known != nullptr ? known->meaning
                        : text.empty()   ? ""
                                         : "an error that is not known here");
    // The step tells which of the two it was.
    const auto both = either.Find(meaning);
    if (both && step && (IsAnswer(*step) || (IsNoJson() && *step == Step::LIST))) {
        meaning =
            (IsAnswer(*step) ? "the answer" : std::string(both["stored"])) + " " + std::string(both.Rest());
    }
    return text.empty() ? meaning : meaning + " (" + text + ")";
}

void Run::Take(const Message& message) {
    m_message = &message;
    for (m_at = 0; m_at < message.lines.size(); ++m_at) {
        const Line& line = message.lines[m_at];
        clock.Take(line);
        if (line.HasPlace()) {
            TakeLine(line);
        } else if (line.tag.empty() || line.IsService()) {
            Keep(line);
        } else {
            TakeOther(line);
        }
    }
}

void Run::TakeLine(const Line& line) {
    const KnownLine* known = FindKnownLine(line);
    const char priority = line.priority != '\0' || known == nullptr ? line.priority : known->priority;
    if (priority != '\0' && (level == '\0' || IsBelow(priority, level))) {
        level = priority;
    }
    Advance(known == nullptr ? Step::START : known->step);
    Keep(line);
    if (known != nullptr && known->note != nullptr) {
        const bool isPlain = Cli::StartsWith(line.message, known->start);
        const Text message = isPlain ? Text(line.message) : WithoutCatch(line.message);
        known->note(*this, message.substr(known->start.size()));
    }
    const bool isUnknownError =
        known == nullptr && line.IsError() && !Cli::StartsWith(line.message, "<<Not Error>>");
    if (isUnknownError || (known != nullptr && (known->EndsRun() || !known->remedy.empty()))) {
        TakeFault(line, known);
    }
}

/** What the platform, or a program beside it, logs in the service's process. */
void Run::TakeOther(const Line& line) {
    const bool isStore = IsOneOf(line.tag, {"VCONF", "CKMC"});
    const bool isPlatform = IsOneOf(line.tag, {"BLUETOOTH", "NXCURL", "SSO", "TV"});
    // The service itself does not look at what becomes of the list.
    const bool isOfList = line.tag == "VCONF" && HasRecords();
    Advance(isOfList ? Step::LIST : Step::START);
    Keep(line);
    const bool mayBeCause = isPlatform && (line.priority == 'W' || line.priority == '\0');
    if (!line.IsError() && !mayBeCause) {
        return;
    }
    const std::string words = line.tag + ": " + line.message;
    std::string& cause = causes[isStore || isPlatform ? line.tag : ""];
    cause = isStore && !cause.empty() ? cause : words;
    sawClient = sawClient || !isStore;
    if (isStore && line.IsError()) {
        faults.push_back({&STORE_FAULT, "", words, step});
        failure = isOfList && !failure ? faults.back() : failure;
    }
}

void Run::Keep(const Line& line) {
    ++lineCount;
    StepLines& kept = lines[step];
    kept.time = kept.time.empty() ? line.time : kept.time;
    ++kept.count;
    if (keepsLines && kept.text.size() < StepLines::MOST_BYTES) {
        const std::string from = line.HasPlace()                        ? line.place
                                 : line.tag.empty() || line.IsService() ? "    "
                                                                        : line.tag + ": ";
        kept.text += Cli::Taken(g_strdup_printf("%7zu  %c  %s%s\n", line.number,
                                                line.priority == '\0' ? ' ' : line.priority, from.c_str(),
                                                line.message.c_str()));
    }
}

bool Run::Shows(char priority) const {
    return level != '\0' && !IsBelow(priority, level);
}

bool Run::HasRecords() const {
    return In(Part::DOWNLOAD).status == STATUS_OK;
}

bool Run::HasSucceeded() const {
    return sawEnd && !failure && HasRecords() && (sawList || !Shows('I'));
}

bool Run::IsUnlocated() const {
    return failure && failure->known != nullptr && !failure->step && !HasRecords();
}

bool Run::IsDropped() const {
    const std::string code = In(Part::DOWNLOAD).Said(About::CODE);
    return code == std::to_string(CCloudServerManager::RESULT_MARK_TOO_OLD) ||
           code == std::to_string(CCloudServerManager::RESULT_MARK_UNKNOWN);
}

bool Run::FailedIn(Step from, Step to) const {
    return failure && failure->step && *failure->step >= from && *failure->step <= to;
}

void Run::Advance(Step next) {
    // After a refused download the list is written once more, as it was.
    const bool isRefused = next == Step::LIST && In(Part::DOWNLOAD).status.value_or(STATUS_OK) != STATUS_OK;
    step = std::max(step, isRefused ? Step::DOWNLOAD_ANSWER : next);
    reached = step == Step::END ? reached : step;
    if (reached > Step::SIGN_IN && checkFailedAt) {
        In(Part::SIGN_IN).SayTime(About::TOOK, "after ", clock.Since(std::exchange(checkFailedAt, {})));
    }
}

void Run::TakeFault(const Line& line, const KnownLine* known) {
    constexpr std::size_t MOST_FAULTS = 20;
    std::string text(WithoutCatch(line.message));
    text.erase(text.find_last_not_of(' ') + 1);
    Statements told;
    for (const auto& [tag, cause] : causes) {
        Add(told, cause);
    }
    const Fault fault{known, text, Cli::Join(told, "; "), StepOf(line, known)};
    if (endedWithoutToken) {
        // The error before it told why.
        failure = faults.empty() ? Fault() : faults.back();
        failure->step = std::max(failure->step.value_or(Step::TOKEN), Step::TOKEN);
        return;
    }
    const bool isTold = std::any_of(faults.begin(), faults.end(), [&fault](const Fault& other) {
        return other.text == fault.text && other.cause == fault.cause;
    });
    if (!isTold && faults.size() < MOST_FAULTS) {
        faults.push_back(fault);
    }
    if (known == nullptr || known->EndsRun()) {
        failure = fault;
    }
}

/** Where the line's failure happened: in the line's own step, else in the one that the run is at. */
std::optional<Step> Run::StepOf(const Line& line, const KnownLine* known) const {
    if (known != nullptr && known->step != Step::TOKEN) {
        return known->step;
    }
    const bool isUnreadable = known != nullptr && known->kind == Kind::UNREADABLE;
    // With the records, the device list is made anew: the answer, which says so, was read before.
    if (isUnreadable && IsDropped()) {
        return Step::LIST;
    }
    const auto request = RequestOf(step);
    const bool isPast = request && In(*request).status && known != nullptr &&
                        (known->kind == Kind::FAILURE || known->kind == Kind::NO_ANSWER);
    // Whether the answer or the stored device list cannot be read is told by lines at I alone.
    const bool isEither = isUnreadable && !Shows('I') && HasRecords();
    const bool isOfToken = Cli::StartsWith(line.message, "exception : ") && step >= Step::TOKEN;
    return isOfToken || (step >= Step::ASK_ACTIVATION && !isPast && !isEither) ? std::optional(step)
                                                                               : std::nullopt;
}

}  // namespace Log
