#include "Television/Log/RunReader.h"

#include <glib.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Log/JsonText.h"
#include "Util/JsonUtil.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::int64_t DAY = 86400;
constexpr std::int64_t MILLISECONDS = 1000;
constexpr std::size_t NUMBER_WIDTH = 7;
constexpr std::size_t MOST_FAULTS = 20;
constexpr long STATUS_OK = 200;

const KnownLine STORE_FAULT = {'E',
                               "",
                               "",
                               Step::START,
                               KnownLine::Kind::NOT_STORED,
                               nullptr,
                               "something could not be stored or read",
                               "see the store that reported it: space, rights"};

bool IsStore(const std::string& tag) {
    return tag == "VCONF" || tag == "CKMC";
}

/** Whether a warning of the tag may be the cause of what goes wrong later. */
bool IsNamedAsCause(const std::string& tag) {
    return tag == "BLUETOOTH" || tag == "NXCURL" || tag == "SSO" || tag == "TV";
}

const KnownLine* FindKnownMessage(const char* message) {
    Line line;
    line.message = message;
    return FindKnownLine(line);
}

}  // namespace

RunReader::RunReader(std::size_t number, std::int64_t pid, bool keepsLines) : m_keepsLines(keepsLines) {
    run.number = number;
    run.pid = pid;
}

void RunReader::Take(const Message& message) {
    m_message = &message;
    for (m_at = 0; m_at < message.lines.size(); ++m_at) {
        const Line& line = message.lines[m_at];
        if (line.HasPlace()) {
            TakeLine(line);
        } else if (line.tag.empty() || line.IsService()) {
            Keep(line, "    " + line.message);
        } else {
            TakeOther(line);
        }
    }
}

void RunReader::TakeLine(const Line& line) {
    const KnownLine* known = FindKnownLine(line);
    const char priority = line.priority != '\0' || known == nullptr ? line.priority : known->priority;
    if (priority != '\0' && (run.level == '\0' || IsBelow(priority, run.level))) {
        run.level = priority;
    }
    TakeTime(line);
    Advance(known == nullptr ? Step::START : known->step);
    Keep(line, line.file + ": " + line.function + " > " + line.message);
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

void RunReader::TakeOther(const Line& line) {
    // The service itself does not look at what becomes of the list.
    const bool isOfList = line.tag == "VCONF" && run.Of(Run::DOWNLOAD).status == STATUS_OK;
    if (isOfList) {
        Advance(Step::LIST);
    }
    Keep(line, line.tag + ": " + line.message);
    const bool mayBeCause = IsNamedAsCause(line.tag) && (line.priority == 'W' || line.priority == '\0');
    if (!line.IsError() && !mayBeCause) {
        return;
    }
    const bool isNamed = IsStore(line.tag) || IsNamedAsCause(line.tag);
    const std::string words = line.tag + ": " + line.message;
    std::string& cause = m_causes[isNamed ? line.tag : ""];
    cause = IsStore(line.tag) && !cause.empty() ? cause : words;
    run.sawClient = run.sawClient || !IsStore(line.tag);
    if (IsStore(line.tag) && line.IsError()) {
        run.faults.push_back({&STORE_FAULT, "", words, run.step});
        run.failure = isOfList && !run.failure ? run.faults.back() : run.failure;
    }
}

Run RunReader::Finish() {
    if (run.sawList || run.sawEnd) {
        run.devices.End();
    }
    if (run.sawEnd && !run.failure && run.Of(Run::DOWNLOAD).status != STATUS_OK) {
        const auto store = std::find_if(run.faults.begin(), run.faults.end(),
                                        [](const Fault& fault) { return fault.known == &STORE_FAULT; });
        if (store != run.faults.end()) {
            run.failure = *store;
        } else if (run.sawStart && run.reached < Step::STORED) {
            // A run without a word of why ends for no other reason.
            run.failure = Fault{FindKnownMessage("Exit process"), "Exit process", "", Step::SIGN_IN};
            run.faults.push_back(*run.failure);
        }
    }
    return std::move(run);
}

void RunReader::Keep(const Line& line, const std::string& text) {
    run.began = run.began.empty() ? line.time : run.began;
    run.ended = line.time.empty() ? run.ended : line.time;
    ++run.lineCount;
    m_lastLine = line.number;
    if (!m_keepsLines) {
        return;
    }
    StepLines& lines = run.lines[run.step];
    std::string number = std::to_string(line.number);
    number.insert(0, NUMBER_WIDTH - std::min(number.size(), NUMBER_WIDTH), ' ');
    std::string kept = number + "  " + (line.priority == '\0' ? ' ' : line.priority) + "  " + text;
    std::replace(kept.begin(), kept.end(), '\t', ' ');
    lines.Add(kept);
    lines.time = lines.time.empty() ? line.time : lines.time;
}

void RunReader::TakeTime(const Line& line) {
    constexpr std::int64_t SLACK = 1000;
    if (line.time == m_time) {
        return;
    }
    m_time = line.time;
    const std::optional<std::int64_t> now = line.moment;
    if (now) {
        run.clockJumped =
            run.clockJumped || (m_now && (*now < *m_now - SLACK || *now > *m_now + DAY * MILLISECONDS));
        m_first = m_first ? m_first : now;
        m_now = now;
        run.milliseconds = Since(m_first);
    }
}

/** How long ago that was; nothing where no time tells, or where the clock was set on the way. */
std::optional<std::int64_t> RunReader::Since(const std::optional<std::int64_t>& moment) const {
    const bool isTold = moment && m_now && *m_now >= *moment && !run.clockJumped;
    return isTold ? std::optional(*m_now - *moment) : std::nullopt;
}

void RunReader::Advance(Step step) {
    // After a refused download the list is written once more, as it was.
    const bool isRefused =
        step == Step::LIST && run.Of(Run::DOWNLOAD).status.value_or(STATUS_OK) != STATUS_OK;
    run.step = std::max(run.step, isRefused ? Step::DOWNLOAD_ANSWER : step);
    run.reached = run.step == Step::END ? run.reached : run.step;
    if (run.step > Step::SIGN_IN && m_checkFailedAt) {
        run.signInWait = Since(std::exchange(m_checkFailedAt, {}));
    }
}

void RunReader::TakeFault(const Line& line, const KnownLine* known) {
    std::string text(WithoutCatch(line.message));
    text.erase(text.find_last_not_of(' ') + 1);
    const Fault fault{known, text, Cause(), StepOf(line, known)};
    if (run.endedWithoutToken) {
        // The error before it told why.
        run.failure = run.faults.empty() ? Fault{nullptr, "", "", Step::TOKEN} : run.faults.back();
        return;
    }
    const bool isTold = std::any_of(run.faults.begin(), run.faults.end(), [&fault](const Fault& told) {
        return told.text == fault.text && told.cause == fault.cause;
    });
    if (!isTold && run.faults.size() < MOST_FAULTS) {
        run.faults.push_back(fault);
    }
    if (known == nullptr || known->EndsRun()) {
        run.failure = fault;
    }
}

std::string RunReader::Cause() const {
    std::vector<std::string> causes;
    for (const auto& [tag, cause] : m_causes) {
        causes.push_back(cause);
    }
    return Cli::Join(causes, "; ");
}

/** Where the line's failure happened: in the line's own step, else in the one that the run is at. */
std::optional<Step> RunReader::StepOf(const Line& line, const KnownLine* known) const {
    const bool isOwn = known != nullptr && known->step != Step::TOKEN;
    const bool isCaught = Cli::StartsWith(line.message, "exception : ");
    const auto kind = RequestOf(run.step);
    const bool isOver =
        kind && run.Of(*kind).status && known != nullptr &&
        (known->kind == KnownLine::Kind::FAILURE || known->kind == KnownLine::Kind::NO_ANSWER);
    return isOwn                                                       ? std::optional(known->step)
           : isCaught || (run.step >= Step::ASK_ACTIVATION && !isOver) ? std::optional(run.step)
                                                                       : std::nullopt;
}

}  // namespace Log
