#include "Television/Log/RunReader.h"

#include <algorithm>
#include <utility>

#include "Cli/Text.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::int64_t DAY = 86'400'000;

const KnownLine STORE_FAULT = {'E',
                               "",
                               "",
                               Step::START,
                               KnownLine::Kind::NOT_STORED,
                               nullptr,
                               "something could not be stored or read",
                               "see the store that reported it: space, rights"};

bool IsOneOf(const std::string& tag, std::initializer_list<Text> tags) {
    return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

}  // namespace

RunReader::RunReader(std::size_t number, std::int64_t pid, bool keepsLines)
    : m_pid(pid), m_keepsLines(keepsLines) {
    story.number = number;
    for (std::size_t i = 0; i < m_chapters.size(); ++i) {
        m_chapters[i].part = static_cast<Part>(i);
    }
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
    if (priority != '\0' && (m_level == '\0' || IsBelow(priority, m_level))) {
        m_level = priority;
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

/** What the platform, or a program beside it, logs in the service's process. */
void RunReader::TakeOther(const Line& line) {
    const bool isStore = IsOneOf(line.tag, {"VCONF", "CKMC"});
    const bool isPlatform = IsOneOf(line.tag, {"BLUETOOTH", "NXCURL", "SSO", "TV"});
    // The service itself does not look at what becomes of the list.
    const bool isOfList = line.tag == "VCONF" && In(Part::DOWNLOAD).status == STATUS_OK;
    Advance(isOfList ? Step::LIST : Step::START);
    Keep(line, line.tag + ": " + line.message);
    const bool mayBeCause = isPlatform && (line.priority == 'W' || line.priority == '\0');
    if (!line.IsError() && !mayBeCause) {
        return;
    }
    const std::string words = line.tag + ": " + line.message;
    std::string& cause = m_causes[isStore || isPlatform ? line.tag : ""];
    cause = isStore && !cause.empty() ? cause : words;
    m_sawClient = m_sawClient || !isStore;
    if (isStore && line.IsError()) {
        m_faults.push_back({&STORE_FAULT, "", words, m_step});
        story.failure = isOfList && !story.failure ? m_faults.back() : story.failure;
    }
}

void RunReader::Keep(const Line& line, const std::string& text) {
    constexpr std::size_t NUMBER_WIDTH = 7;
    story.began = story.began.empty() ? line.time : story.began;
    m_ended = line.time.empty() ? m_ended : line.time;
    ++m_lineCount;
    m_lastLine = line.number;
    if (!m_keepsLines) {
        return;
    }
    std::string kept = std::to_string(line.number);
    kept.insert(0, NUMBER_WIDTH - std::min(kept.size(), NUMBER_WIDTH), ' ');
    kept.append("  ").append(1, line.priority == '\0' ? ' ' : line.priority).append("  ").append(text);
    std::replace(kept.begin(), kept.end(), '\t', ' ');
    StepLines& lines = story.lines[m_step];
    lines.Add(kept);
    lines.time = lines.time.empty() ? line.time : lines.time;
}

void RunReader::TakeTime(const Line& line) {
    constexpr std::int64_t SLACK = 1000;
    if (line.time != m_time && line.moment) {
        m_clockJumped =
            m_clockJumped || (m_now && (*line.moment < *m_now - SLACK || *line.moment > *m_now + DAY));
        m_first = m_first ? m_first : line.moment;
        m_now = line.moment;
    }
    m_time = line.time;
}

/** How long ago that was; nothing where no time tells, or where the clock was set on the way. */
RunReader::Moment RunReader::Since(const Moment& moment) const {
    const bool isTold = moment && m_now && *m_now >= *moment && !m_clockJumped;
    return isTold ? Moment(*m_now - *moment) : std::nullopt;
}

void RunReader::Advance(Step step) {
    // After a refused download the list is written once more, as it was.
    const bool isRefused = step == Step::LIST && In(Part::DOWNLOAD).status.value_or(STATUS_OK) != STATUS_OK;
    m_step = std::max(m_step, isRefused ? Step::DOWNLOAD_ANSWER : step);
    m_reached = m_step == Step::END ? m_reached : m_step;
    if (m_reached > Step::SIGN_IN && m_checkFailedAt) {
        SayTime(Part::SIGN_IN, About::TOOK, "after ", Since(std::exchange(m_checkFailedAt, {})));
    }
}

void RunReader::TakeFault(const Line& line, const KnownLine* known) {
    constexpr std::size_t MOST_FAULTS = 20;
    std::string text(WithoutCatch(line.message));
    text.erase(text.find_last_not_of(' ') + 1);
    const Fault fault{known, text, Cause(), StepOf(line, known)};
    if (endedWithoutToken) {
        // The error before it told why.
        story.failure = m_faults.empty() ? Fault{nullptr, "", "", Step::TOKEN} : m_faults.back();
        return;
    }
    const bool isTold = std::any_of(m_faults.begin(), m_faults.end(), [&fault](const Fault& told) {
        return told.text == fault.text && told.cause == fault.cause;
    });
    if (!isTold && m_faults.size() < MOST_FAULTS) {
        m_faults.push_back(fault);
    }
    if (known == nullptr || known->EndsRun()) {
        story.failure = fault;
    }
}

std::string RunReader::Cause() const {
    Words causes;
    for (const auto& [tag, cause] : m_causes) {
        Add(causes, cause);
    }
    return Cli::Join(causes, "; ");
}

/** Where the line's failure happened: in the line's own step, else in the one that the run is at. */
std::optional<Step> RunReader::StepOf(const Line& line, const KnownLine* known) const {
    if (known != nullptr && known->step != Step::TOKEN) {
        return known->step;
    }
    const auto request = RequestOf(m_step);
    const bool isAnswered = request && In(*request).status;
    const bool isOver =
        isAnswered && known != nullptr &&
        (known->kind == KnownLine::Kind::FAILURE || known->kind == KnownLine::Kind::NO_ANSWER);
    const bool isCaught = Cli::StartsWith(line.message, "exception : ");
    return isCaught || (m_step >= Step::ASK_ACTIVATION && !isOver) ? std::optional(m_step) : std::nullopt;
}

}  // namespace Log
