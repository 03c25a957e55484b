/** What the table's lines make known of a run. */
#include <exception>
#include <utility>

#include "Cli/Text.h"
#include "Cli/Time.h"
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

std::string LeftWords(std::int64_t left) {
    return left < 0 ? Cli::DurationText(left) + " before" : "for another " + Cli::DurationText(left);
}

}  // namespace

std::string RunReader::Seconds(std::int64_t milliseconds) {
    return Cli::DurationText(static_cast<double>(milliseconds) / MILLISECONDS);
}

void RunReader::Say(Part part, About about, const std::string& words) {
    if (words.empty()) {
        return;
    }
    auto& told = In(part).told;
    if (about != About::ALSO) {
        told.erase(about);
    }
    told.emplace(about, words);
}

void RunReader::SayTime(Part part, About about, const char* what, const Moment& milliseconds) {
    if (milliseconds) {
        Say(part, about, what + Seconds(*milliseconds));
    }
}

void RunReader::Ask(Part request, const char* why) {
    m_asked.insert(request);
    const bool mayHold = request == Part::ACTIVATION || request == Part::APP;
    Say(request, About::WHETHER, mayHold ? ASKED : "");
    Say(request, About::WHY, why);
}

void RunReader::AskToken(const char* source, const char* why) {
    const bool isNew = source == Text(NEW_TOKEN);
    m_asked.insert(Part::TOKEN);
    Say(Part::TOKEN, About::WHETHER, source);
    Say(Part::TOKEN, About::WHY, why);
    if (*why != '\0') {
        Say(Part::TOKEN, About::LEFT, isNew ? m_refreshLeft : m_accessLeft);
        m_codeAskedAt = isNew ? m_now : m_codeAskedAt;
    }
    Advance(isNew ? Step::ASK_CODE : Step::ASK_TOKEN);
}

void RunReader::TakeAccessClock(Text rest, bool isRefreshToken) {
    const std::int64_t issued = FirstNumber(rest);
    const std::int64_t now = NumberAfter(rest, "currtneTime ");
    const std::int64_t left = Cli::Difference(Cli::Sum(issued, NumberAfter(rest, "expiredTime ")), now);
    const bool isFar = now < issued - DAY;
    TakeClock(now, isFar, Cli::DurationText(Cli::Difference(issued, now)) + " before the token was issued");
    if (isRefreshToken) {
        m_refreshLeft = left < 0 ? LeftWords(left) : "";
        return;
    }
    m_accessLeft = isFar ? "" : LeftWords(left);
    if (left >= 0) {
        Say(Part::TOKEN, About::WHETHER, HOLDS);
        Say(Part::TOKEN, About::LEFT, m_accessLeft);
    }
}

void RunReader::TakeExpiry(Part request, Text rest, std::int64_t perSecond) {
    constexpr std::int64_t FAR = 3650 * DAY;
    const std::int64_t now = NumberAfter(rest, "time : ") / perSecond;
    const std::int64_t left = Cli::Difference(FirstNumber(rest) / perSecond, now);
    const bool isFar = left > FAR || left < -FAR;
    Say(request, About::LEFT, isFar ? "" : LeftWords(left));
    TakeClock(now, isFar,
              Cli::DurationText(left) + (left < 0 ? " after" : " before") + " the end of what is stored");
}

/** Notes a clock that is far from what is stored, or from the log's own times. */
void RunReader::TakeClock(std::int64_t now, bool isFar, const std::string& far) {
    const bool hasYear = m_time.size() > 4 && m_time[4] == '-';
    const std::string date = Cli::DateTime(now);
    const auto moment =
        date.empty() ? std::nullopt : Log::Moment(hasYear ? date : date.substr(date.find('-') + 1));
    const bool isOfDay = moment && m_now && m_time.find(':') != std::string::npos;
    const std::int64_t apart = isOfDay ? std::abs(*moment - *m_now) / MILLISECONDS : 0;
    const bool isFromLog = apart > 2 * DAY && (hasYear || apart < 363 * DAY);
    if (m_clock.empty() && (isFar || isFromLog)) {
        m_clock = "the set's clock is wrong, or a stored time is: it stands at " + date + ", " +
                  (isFar ? far : "far from the log's own times");
    }
}

void RunReader::TakeMark(std::int64_t mark) {
    story.mark = mark > 0 ? std::optional(mark) : std::nullopt;
    Say(Part::DOWNLOAD, About::WHETHER,
        mark > 0 ? "of what changed after mark " + std::to_string(mark) : EVERYTHING);
}

void RunReader::TakeAll(const char* why) {
    if (m_step == Step::ASK_DOWNLOAD) {
        Say(Part::DOWNLOAD, About::WHETHER, EVERYTHING);
        Say(Part::DOWNLOAD, About::WHY, why);
    }
}

void RunReader::TakeFailedCheck(std::int64_t count) {
    Say(Part::SIGN_IN, About::WHETHER,
        Cli::Count(static_cast<std::uint64_t>(count), "check") + " found nobody signed in");
    m_checkFailedAt = m_checkFailedAt ? m_checkFailedAt : m_now;
}

void RunReader::Send() {
    const auto request = RequestOf(m_step);
    m_sentAt = m_now;
    m_answerTook.reset();
    if (!request || IsAnswer(m_step)) {
        return;
    }
    Conclude(Part::DOWNLOAD, About::WHETHER, *request == Part::DOWNLOAD && IsAsked(*request), EVERYTHING);
    m_sent.insert(*request);
    Advance(StepsOf(*request).last);
}

void RunReader::TakeAnswer() {
    m_answerTook = Since(m_sentAt);
    const auto request = RequestOf(m_step);
    if (request && IsAnswer(m_step)) {
        In(*request).answered = true;
        In(*request).milliseconds = m_answerTook;
    }
}

void RunReader::TakeStatus(Part part, Text rest) {
    Chapter& chapter = In(part);
    m_sent.insert(part);
    chapter.answered = true;
    chapter.status = FirstNumber(rest);
    chapter.milliseconds = m_answerTook;
    Ask(part);
    Say(part, About::STATUS, "status " + std::to_string(*chapter.status));
    // The client got through this time.
    m_causes.erase("NXCURL");
    m_causes.erase("");
}

void RunReader::TakeBody() {
    const auto part = RequestOf(m_step);
    if (!part || !IsAnswer(m_step)) {
        return;
    }
    const std::string body = m_message->TextFrom(m_at);
    for (const char* name : {"rcode", "error"}) {
        const std::string code = Member(body, name);
        Say(*part, About::CODE, code == "0" ? "" : code);
    }
    for (const char* name : {"rmsg", "error_description"}) {
        Say(*part, About::WORDS, Has(*part, About::CODE) ? Member(body, name) : "");
    }
    if (*part == Part::TOKEN) {
        const bool isWhole = Cli::StartsWith(body, "accessToken : ") && body.back() == '}';
        const bool hasToken = !Member(body, "access_token").empty();
        m_gotToken = hasToken || isWhole ? std::optional(hasToken) : m_gotToken;
    }
}

void RunReader::TakeBatch() {
    constexpr Text ID = "\"record_id\"";
    const std::string batch = m_message->TextFrom(m_at).substr(sizeof("data:") - 1);
    const std::string mark = Member(batch, "synced_timestamp");
    if (!mark.empty()) {
        story.nextMark = FirstNumber(mark);
        Say(Part::DOWNLOAD, About::NEXT, "next mark " + std::to_string(*story.nextMark));
    }
    devices.LearnNames(batch);
    std::size_t count = 0;
    for (std::size_t at = batch.find(ID); at != Text::npos; at = batch.find(ID, at + 1)) {
        ++count;
    }
    bool isCut = false;
    try {
        count = InfoSyncUtil::ParseJson(batch)["records"].size();
    } catch (const std::exception&) {
        isCut = true;
    }
    Say(Part::DOWNLOAD, About::COUNT, (isCut ? "at least " : "") + Cli::Count(count, "record"));
}

void RunReader::TakeList() {
    m_sawList = true;
    devices.End();
    devices.LearnNames(m_message->TextFrom(m_at));
}

void RunReader::Miss(const std::string& document) {
    Say(Part::STORED, About::ALSO, document);
    const auto cause = m_causes.find("CKMC");
    if (cause != m_causes.end()) {
        Say(Part::STORED, About::ALSO, cause->second);
        m_causes.erase(cause);
    }
}

void RunReader::TakeCode() {
    SayTime(Part::TOKEN, About::WAIT, "the code came after ", Since(std::exchange(m_codeAskedAt, {})));
    if (story.failure && story.failure->step == Step::CODE) {
        story.failure.reset();
    }
}

void RunReader::Locate() {
    const auto client = m_causes.find("NXCURL");
    const std::string url = client == m_causes.end() ? "" : client->second;
    const auto isOf = [&](Part part, const char* path) {
        return url.find(path) != std::string::npos || (IsAsked(part) && !In(part).status);
    };
    const bool isCaught = Cli::StartsWith(m_message->lines[m_at].message, "exception : ");
    const bool isDownload =
        isOf(Part::DOWNLOAD, "/data/") || In(Part::APP).status || (sawStart && Shows('W'));
    const auto part = isCaught                              ? std::optional(Part::TOKEN)
                      : isOf(Part::ACTIVATION, "/activate") ? std::optional(Part::ACTIVATION)
                      : isOf(Part::APP, "/tokens/")         ? std::optional(Part::APP)
                      : isDownload                          ? std::optional(Part::DOWNLOAD)
                                                            : std::nullopt;
    if (part) {
        m_sent.insert(*part);
        Ask(*part);
        Advance(StepsOf(*part).last);
    }
}

}  // namespace Log
