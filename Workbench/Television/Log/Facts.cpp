/** What the table's lines make known of a run. */
#include <glib.h>

#include <exception>
#include <utility>

#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Log/JsonText.h"
#include "Television/Log/RunReader.h"
#include "Util/JsonUtil.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::int64_t DAY = 86400;
constexpr std::int64_t MILLISECONDS = 1000;

std::int64_t NumberAfter(Text text, Text name) {
    const std::size_t found = text.find(name);
    return found == Text::npos ? 0 : FirstNumber(text.substr(found + name.size()));
}

}  // namespace

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

}  // namespace Log
