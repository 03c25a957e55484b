#include "Television/Log/Run.h"

#include <glib.h>

#include <algorithm>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

using Text = std::string_view;
using Kind = KnownLine::Kind;

constexpr std::int64_t DAY = 86'400'000;
constexpr double MILLISECONDS = 1000;

/** In the order of Step. */
constexpr Arrow ARROWS[] = {
    {Part::START, TELEVISION, SERVICE, "start"},
    {Part::SIGN_IN, TELEVISION, SERVICE, "sign-in"},
    {Part::STORED, TELEVISION, SERVICE, "what is stored"},
    {Part::TOKEN, SERVICE, SERVICE, "token"},
    {Part::TOKEN, SERVICE, TELEVISION, "authorisation code?"},
    {Part::TOKEN, TELEVISION, SERVICE, "authorisation code"},
    {Part::TOKEN, SERVICE, AUTHORISATION_SERVER, "token?"},
    {Part::TOKEN, AUTHORISATION_SERVER, SERVICE, "token"},
    {Part::ACTIVATION, SERVICE, CLOUD, "activation"},
    {Part::ACTIVATION, CLOUD, SERVICE, "activation"},
    {Part::APP, SERVICE, CLOUD, "app token"},
    {Part::APP, CLOUD, SERVICE, "app token"},
    {Part::DOWNLOAD, SERVICE, CLOUD, "download"},
    {Part::DOWNLOAD, CLOUD, SERVICE, "records"},
    {Part::LIST, SERVICE, TELEVISION, "device list"},
    {Part::LIST, SERVICE, SERVICE, "end"},
};

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

void Add(Statements& words, const std::string& more) {
    if (!more.empty() && std::find(words.begin(), words.end(), more) == words.end()) {
        words.push_back(more);
    }
}

std::string SecondsText(std::int64_t milliseconds) {
    return Cli::DurationText(static_cast<double>(milliseconds) / MILLISECONDS);
}

const Arrow& ArrowOf(Step step) {
    return ARROWS[static_cast<std::size_t>(step)];
}

Step FirstOf(Part part) {
    const auto isBefore = [part](const Arrow& arrow) { return arrow.part < part; };
    return static_cast<Step>(std::count_if(std::begin(ARROWS), std::end(ARROWS), isBefore));
}

Step LastOf(Part part) {
    const auto isAfter = [part](const Arrow& arrow) { return arrow.part > part; };
    return static_cast<Step>(std::size(ARROWS) - 1 -
                             std::count_if(std::begin(ARROWS), std::end(ARROWS), isAfter));
}

std::optional<Part> RequestOf(Step step) {
    const Arrow& arrow = ArrowOf(step);
    return std::max(arrow.from, arrow.to) >= AUTHORISATION_SERVER ? std::optional(arrow.part) : std::nullopt;
}

bool IsAnswer(Step step) {
    return ArrowOf(step).from >= AUTHORISATION_SERVER;
}

Json::Value Chapter::ToJson() const {
    Json::Value json;
    json["sign"] = sign;
    json["told"] = Cli::JsonArray(told, [](const auto& one) { return Json::Value(one.second); });
    json["not_told"] = Cli::JsonArray(untold);
    return json;
}

bool Fault::IsNoJson() const {
    return Cli::StartsWith(text, "fail to parse JSON: ");
}

std::string Fault::Meaning() const {
    const std::string meaning(known != nullptr ? known->meaning
                              : text.empty()   ? ""
                                               : "an error that is not known here");
    return text.empty() ? meaning : meaning + " (" + text + ")";
}

void Run::Take(const Message& message) {
    m_message = &message;
    for (m_at = 0; m_at < message.lines.size(); ++m_at) {
        const Line& line = message.lines[m_at];
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
    TakeTime(line);
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
    const bool isOfList = line.tag == "VCONF" && In(Part::DOWNLOAD).status == STATUS_OK;
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
    began = began.empty() ? line.time : began;
    ended = line.time.empty() ? ended : line.time;
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

void Run::TakeTime(const Line& line) {
    constexpr std::int64_t SLACK = 1000;
    if (line.time != time && line.moment) {
        clockJumped = clockJumped || (now && (*line.moment < *now - SLACK || *line.moment > *now + DAY));
        first = first ? first : line.moment;
        now = line.moment;
    }
    time = line.time;
}

Run::Moment Run::Since(const Moment& moment) const {
    const bool isTold = moment && now && *now >= *moment && !clockJumped;
    return isTold ? Moment(*now - *moment) : std::nullopt;
}

bool Run::Shows(char priority) const {
    return level != '\0' && !IsBelow(priority, level);
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
        SayTime(Part::SIGN_IN, About::TOOK, "after ", Since(std::exchange(checkFailedAt, {})));
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
    const auto request = RequestOf(step);
    const bool isPast = request && In(*request).status && known != nullptr &&
                        (known->kind == Kind::FAILURE || known->kind == Kind::NO_ANSWER);
    // Whether the answer or the stored device list cannot be read is told by lines at I alone.
    const bool isEither = known != nullptr && known->kind == Kind::UNREADABLE && !Shows('I') &&
                          In(Part::DOWNLOAD).status == STATUS_OK;
    const bool isOfToken = Cli::StartsWith(line.message, "exception : ") && step >= Step::TOKEN;
    return isOfToken || (step >= Step::ASK_ACTIVATION && !isPast && !isEither) ? std::optional(step)
                                                                               : std::nullopt;
}

void Run::Say(Part part, About about, const std::string& words) {
    if (words.empty()) {
        return;
    }
    auto& told = In(part).told;
    if (about != About::ALSO) {
        told.erase(about);
    }
    told.emplace(about, words);
}

void Run::SayTime(Part part, About about, const char* what, const Moment& milliseconds) {
    if (milliseconds) {
        Say(part, about, what + SecondsText(*milliseconds));
    }
}

std::string Run::Said(Part part, About about) const {
    const auto& told = In(part).told;
    const auto found = told.find(about);
    return found == told.end() ? "" : found->second;
}

}  // namespace Log
