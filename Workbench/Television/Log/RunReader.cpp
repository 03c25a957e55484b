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

std::int64_t NumberAfter(Text text, Text name) {
    const std::size_t found = text.find(name);
    return found == Text::npos ? 0 : FirstNumber(text.substr(found + name.size()));
}

const KnownLine* FindKnownMessage(const char* message) {
    Line line;
    line.message = message;
    return FindKnownLine(line);
}

}  // namespace

std::optional<Run::Kind> RequestOf(Step step) {
    const auto isIn = [step](Step ask) { return step == ask || step == Next(ask); };
    return isIn(Step::ASK_TOKEN)        ? std::optional(Run::TOKEN)
           : isIn(Step::ASK_ACTIVATION) ? std::optional(Run::ACTIVATION)
           : isIn(Step::ASK_APP)        ? std::optional(Run::APP)
           : isIn(Step::ASK_DOWNLOAD)   ? std::optional(Run::DOWNLOAD)
                                        : std::nullopt;
}

bool Run::Shows(char priority) const {
    return level != '\0' && !IsBelow(priority, level);
}

void StepLines::Add(const std::string& line) {
    constexpr std::size_t MOST_BYTES = 32768;
    ++count;
    if (firstSize < MOST_BYTES) {
        firstSize += line.size();
        first.push_back(line);
        return;
    }
    lastSize += line.size();
    last.push_back(line);
    for (; lastSize > MOST_BYTES; last.pop_front()) {
        lastSize -= last.front().size();
    }
}

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

void RunReader::Ask(Run::Kind kind) {
    run.Of(kind).asked = true;
}

void RunReader::StillHolds(Run::Kind kind) {
    run.Of(kind).asked = false;
}

void RunReader::AskToken(Run::Source source, const char* why) {
    Request& request = run.Of(Run::TOKEN);
    run.source = source;
    request.asked = true;
    request.why = *why == '\0' ? request.why : why;
    if (source == Run::Source::NEW && *why != '\0') {
        m_codeAskedAt = m_now;
        request.left = m_refreshLeft;
    }
    Advance(source == Run::Source::NEW ? Step::ASK_CODE : Step::ASK_TOKEN);
}

void RunReader::TakeAccessClock(Text rest, bool isRefreshToken) {
    const std::int64_t issued = FirstNumber(rest);
    const std::int64_t now = NumberAfter(rest, "currtneTime ");
    const std::int64_t left = Cli::Difference(Cli::Sum(issued, NumberAfter(rest, "expiredTime ")), now);
    const bool isFar = now < issued - DAY;
    TakeClock(now, isFar, Cli::DurationText(Cli::Difference(issued, now)) + " before the token was issued");
    if (isRefreshToken) {
        m_refreshLeft = left < 0 ? std::optional(left) : std::nullopt;
        return;
    }
    Request& request = run.Of(Run::TOKEN);
    request.left = isFar ? std::nullopt : std::optional(left);
    if (left >= 0) {
        run.source = Run::Source::STORED;
        request.asked = false;
    }
}

void RunReader::TakeExpiry(Run::Kind kind, Text rest, std::int64_t perSecond) {
    constexpr std::int64_t FAR = 3650 * DAY;
    const std::int64_t now = NumberAfter(rest, "time : ") / perSecond;
    const std::int64_t left = Cli::Difference(FirstNumber(rest) / perSecond, now);
    const bool isFar = left > FAR || left < -FAR;
    run.Of(kind).left = isFar ? std::nullopt : std::optional(left);
    TakeClock(now, isFar,
              Cli::DurationText(left) + (left < 0 ? " after" : " before") + " the end of what is stored");
}

/** Notes a clock that is far from what is stored, or from the log's own times. */
void RunReader::TakeClock(std::int64_t now, bool isFar, const std::string& far) {
    const bool hasYear = m_time.size() > 4 && m_time[4] == '-';
    GDateTime* const date = g_date_time_new_from_unix_local(now);
    const std::string words =
        date == nullptr ? "" : Cli::Taken(g_date_time_format(date, hasYear ? "%F %T" : "%m-%d %T"));
    if (date != nullptr) {
        g_date_time_unref(date);
    }
    const auto moment = Moment(words);
    const std::int64_t apart = !moment || !m_now || m_time.find(':') == std::string::npos
                                   ? 0
                                   : std::abs(*moment - *m_now) / MILLISECONDS;
    const bool isFromLog = apart > 2 * DAY && (hasYear || apart < 363 * DAY);
    if (run.clock.empty() && (isFar || isFromLog)) {
        run.clock = "the set's clock is wrong, or a stored time is: it stands at " + Cli::DateTime(now) +
                    ", " + (isFar ? far : "far from the log's own times");
    }
}

void RunReader::TakeWhy(Run::Kind kind, const char* why) {
    run.Of(kind).asked = true;
    run.Of(kind).why = why;
}

void RunReader::TakeAll(const char* why) {
    if (run.step == Step::ASK_DOWNLOAD) {
        run.markWhy = why;
    }
}

Request* RunReader::Answered() {
    const auto kind = RequestOf(run.step);
    return kind && kind != RequestOf(Next(run.step)) ? &run.Of(*kind) : nullptr;
}

void RunReader::Send() {
    const auto kind = RequestOf(run.step);
    m_sentAt = m_now;
    m_answerTook.reset();
    if (!kind || Answered() != nullptr) {
        return;
    }
    if (*kind == Run::DOWNLOAD && run.Of(*kind).asked && !run.mark) {
        run.mark = 0;
    }
    run.Of(*kind).sent = true;
    Advance(Next(run.step));
}

void RunReader::TakeAnswer() {
    m_answerTook = Since(m_sentAt);
    if (Request* request = Answered()) {
        request->answered = true;
        request->milliseconds = m_answerTook;
    }
}

void RunReader::TakeStatus(Run::Kind kind, Text rest) {
    Request& request = run.Of(kind);
    request.asked = request.sent = request.answered = true;
    request.status = FirstNumber(rest);
    request.milliseconds = m_answerTook;
    // The client got through this time.
    m_causes.erase("NXCURL");
    m_causes.erase("");
}

void RunReader::TakeBody() {
    Request* request = Answered();
    if (request == nullptr) {
        return;
    }
    const std::string body = m_message->TextFrom(m_at);
    const auto take = [&body](std::string& to, const char* name) {
        const std::string value = Member(body, name);
        to = value.empty() ? to : value;
    };
    take(request->code, "rcode");
    take(request->code, "error");
    take(request->words, "rmsg");
    take(request->words, "error_description");
    if (request == &run.Of(Run::TOKEN)) {
        const bool isWhole = Cli::StartsWith(body, "accessToken : ") && body.back() == '}';
        const bool hasToken = !Member(body, "access_token").empty();
        run.gotToken = hasToken || isWhole ? std::optional(hasToken) : run.gotToken;
    }
}

void RunReader::TakeBatch() {
    constexpr Text ID = "\"record_id\"";
    const std::string batch = m_message->TextFrom(m_at).substr(sizeof("data:") - 1);
    const std::string mark = Member(batch, "synced_timestamp");
    run.nextMark = mark.empty() ? run.nextMark : std::optional(FirstNumber(mark));
    run.devices.LearnNames(batch);
    std::size_t count = 0;
    for (std::size_t at = batch.find(ID); at != Text::npos; at = batch.find(ID, at + 1)) {
        ++count;
    }
    try {
        count = InfoSyncUtil::ParseJson(batch)["records"].size();
        run.downloadIsCut = false;
    } catch (const std::exception&) {
        run.downloadIsCut = true;
    }
    run.downloaded = count;
}

void RunReader::TakeList() {
    run.sawList = true;
    run.devices.End();
    run.devices.LearnNames(m_message->TextFrom(m_at));
}

void RunReader::Miss(const std::string& document) {
    run.missing.push_back(document);
    const auto cause = m_causes.find("CKMC");
    if (cause != m_causes.end()) {
        run.missing.push_back(cause->second);
        m_causes.erase(cause);
    }
}

void RunReader::TakeCode() {
    run.codeWait = Since(std::exchange(m_codeAskedAt, {}));
    if (run.failure && run.failure->step == Step::CODE) {
        run.failure.reset();
    }
}

void RunReader::Locate() {
    const auto client = m_causes.find("NXCURL");
    const std::string url = client == m_causes.end() ? "" : client->second;
    const auto isOf = [&url](const char* path) { return url.find(path) != std::string::npos; };
    const auto isOpen = [this](Run::Kind kind) { return run.Of(kind).asked == true && !run.Of(kind).status; };
    const bool isCaught = Cli::StartsWith(m_message->lines[m_at].message, "exception : ");
    const bool isDownload = isOf("/data/") || run.Of(Run::APP).status || isOpen(Run::DOWNLOAD) ||
                            (run.sawStart && run.Shows('W'));
    const auto kind = isCaught                                       ? std::optional(Run::TOKEN)
                      : isOf("/activate") || isOpen(Run::ACTIVATION) ? std::optional(Run::ACTIVATION)
                      : isOf("/tokens/") || isOpen(Run::APP)         ? std::optional(Run::APP)
                      : isDownload                                   ? std::optional(Run::DOWNLOAD)
                                                                     : std::nullopt;
    constexpr Step ASKING[] = {Step::ASK_TOKEN, Step::ASK_ACTIVATION, Step::ASK_APP, Step::ASK_DOWNLOAD};
    if (kind) {
        run.Of(*kind).asked = run.Of(*kind).sent = true;
        Advance(Next(ASKING[*kind]));
    }
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
