/** What the table's rows make known of a run. */
#include <algorithm>
#include <exception>
#include <utility>

#include "AuthData/CAccessToken.h"
#include "AuthData/CDeviceInfo.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Manager/CCloudServerManager.h"
#include "Television/Log/Run.h"
#include "Util/JsonUtil.h"

namespace Log {

namespace {

using Text = std::string_view;

/** The value of the first member of that name in JSON that may be cut anywhere: a text as it is written, or a
 * number. */
std::string Member(Text json, const std::string& name) {
    constexpr char VALUE[] = R"re("\s*:\s*(?:"(?<value>(?:[^"\\]++|\\.)*+)|(?<value>[^"\s,}\]]+)))re";
    static std::map<std::string, Cli::Pattern> patterns;
    const auto pattern = patterns.try_emplace(name, "\"" + name + VALUE).first;
    return std::string(pattern->second.Find(json)["value"]);
}

std::int64_t NumberAfter(Text text, Text name) {
    const std::size_t found = text.find(name);
    return found == Text::npos ? 0 : FirstNumber(text.substr(found + name.size()));
}

/** The requests to the cloud, and what is in their addresses. */
constexpr std::pair<Part, const char*> PATHS[] = {{Part::ACTIVATION, CCloudServerManager::ACTIVATE_PATH},
                                                  {Part::APP, CCloudServerManager::APP_TOKEN_PATH},
                                                  {Part::DOWNLOAD, CCloudServerManager::RECORDS_PATH}};

}  // namespace

std::int64_t FirstNumber(Text text) {
    text.remove_prefix(std::min(text.find_first_of("-0123456789"), text.size()));
    return Cli::Number(text);
}

void Run::Ask(Part request, const char* why) {
    const bool mayHold = request == Part::ACTIVATION || request == Part::APP;
    In(request).asked = true;
    In(request).Say(About::WHETHER, mayHold ? ASKED : "");
    In(request).Say(About::WHY, why);
}

void Run::AskToken(const char* source, const char* why) {
    const bool isNew = source == Text(NEW_TOKEN);
    Ask(Part::TOKEN, why);
    In(Part::TOKEN).Say(About::WHETHER, source);
    codeAskedAt = isNew && *why != '\0' ? clock.now : codeAskedAt;
    Advance(isNew ? Step::ASK_CODE : Step::ASK_TOKEN);
}

void Run::TakeAccessClock(Text rest, bool isRefreshToken) {
    const std::int64_t issued = FirstNumber(rest);
    const std::int64_t clockNow = NumberAfter(rest, "currtneTime ");
    const std::int64_t end = Cli::Sum(issued, NumberAfter(rest, "expiredTime "));
    const bool hasEnded = end < clockNow;
    const std::string left = clock.LeftUntil(end, clockNow, issued);
    Chapter& token = In(Part::TOKEN);
    token.Say(About::WHETHER, isRefreshToken || hasEnded ? "" : HOLDS);
    token.Say(About::LEFT, isRefreshToken && !hasEnded ? "" : left);
}

void Run::TakeExpiry(Part request, Text rest, std::int64_t perSecond) {
    const std::int64_t clockNow = NumberAfter(rest, "time : ") / perSecond;
    In(request).Say(About::LEFT, clock.LeftUntil(FirstNumber(rest) / perSecond, clockNow));
}

void Run::TakeMark(std::int64_t oldMark) {
    mark = oldMark > 0 ? std::optional(oldMark) : std::nullopt;
    In(Part::DOWNLOAD)
        .Say(About::WHETHER, mark ? "of what changed after mark " + std::to_string(oldMark) : EVERYTHING);
}

void Run::TakeAll(const char* why) {
    if (step == Step::ASK_DOWNLOAD) {
        In(Part::DOWNLOAD).Say(About::WHETHER, EVERYTHING);
        In(Part::DOWNLOAD).Say(About::WHY, why);
    }
}

void Run::TakeFailedCheck(std::int64_t count) {
    In(Part::SIGN_IN)
        .Say(About::WHETHER,
             Cli::Count(static_cast<std::uint64_t>(count), "check") + " found nobody signed in");
    checkFailedAt = checkFailedAt ? checkFailedAt : clock.now;
}

void Run::Send() {
    const auto request = RequestOf(step);
    sentAt = clock.now;
    answerTook.reset();
    if (!request || IsAnswer(step)) {
        return;
    }
    In(*request).sent = true;
    if (In(Part::DOWNLOAD).sent && In(Part::DOWNLOAD).asked && !In(Part::DOWNLOAD).Has(About::WHETHER)) {
        In(Part::DOWNLOAD).Say(About::WHETHER, EVERYTHING);
    }
    Advance(LastOf(*request));
}

void Run::TakeAnswer() {
    answerTook = clock.Since(sentAt);
    if (IsAnswer(step)) {
        Chapter& request = In(*RequestOf(step));
        request.answered = true;
        request.milliseconds = answerTook;
    }
}

void Run::TakeStatus(Part request, Text rest) {
    Chapter& chapter = In(request);
    chapter.sent = chapter.answered = true;
    chapter.status = FirstNumber(rest);
    chapter.milliseconds = answerTook;
    Ask(request);
    In(request).Say(About::STATUS, "status " + std::to_string(*chapter.status));
    // The client got through this time.
    causes.erase("NXCURL");
    causes.erase("");
}

void Run::TakeBody() {
    if (!IsAnswer(step)) {
        return;
    }
    const Part part = *RequestOf(step);
    const std::string body = m_message->TextFrom(m_at);
    for (const char* name : {"rcode", "error"}) {
        const std::string code = Member(body, name);
        In(part).Say(About::CODE, code == "0" ? "" : code);
    }
    for (const char* name : {"rmsg", "error_description"}) {
        In(part).Say(About::WORDS, In(part).Has(About::CODE) ? Member(body, name) : "");
    }
    if (part == Part::TOKEN) {
        const bool isWhole = Cli::StartsWith(body, "accessToken : ") && body.back() == '}';
        const bool hasToken = !Member(body, CAccessToken::ACCESS_TOKEN).empty();
        gotToken = hasToken || isWhole ? std::optional(hasToken) : gotToken;
    }
}

void Run::TakeBatch() {
    const std::string id = "\"" + std::string(CDeviceInfo::RECORD_ID) + "\"";
    const std::string batch = m_message->TextFrom(m_at).substr(sizeof("data:") - 1);
    const std::string next = Member(batch, CDeviceInfo::SYNCED_TIMESTAMP);
    if (!next.empty()) {
        nextMark = FirstNumber(next);
        In(Part::DOWNLOAD).Say(About::NEXT, "next mark " + std::to_string(*nextMark));
    }
    devices.LearnNames(batch);
    std::size_t count = 0;
    for (std::size_t at = batch.find(id); at != Text::npos; at = batch.find(id, at + 1)) {
        ++count;
    }
    bool isCut = false;
    try {
        count = InfoSyncUtil::ParseJson(batch)[CDeviceInfo::RECORDS].size();
    } catch (const std::exception&) {
        isCut = true;
    }
    In(Part::DOWNLOAD).Say(About::COUNT, (isCut ? "at least " : "") + Cli::Count(count, "record"));
}

void Run::TakeList() {
    sawList = true;
    devices.End();
    devices.LearnNames(m_message->TextFrom(m_at));
}

void Run::Miss(const std::string& document) {
    In(Part::STORED).Say(About::ALSO, document);
    In(Part::STORED).Say(About::ALSO, causes["CKMC"]);
    causes.erase("CKMC");
}

void Run::TakeCode() {
    In(Part::TOKEN).SayTime(About::WAIT, "the code came after ", clock.Since(std::exchange(codeAskedAt, {})));
    if (failure && failure->step == Step::CODE) {
        failure.reset();
    }
}

void Run::Locate() {
    const auto client = causes.find("NXCURL");
    const std::string url = client == causes.end() ? "" : client->second;
    const bool isCaught = Cli::StartsWith(m_message->lines[m_at].message, "exception : ");
    auto part = isCaught ? std::optional(Part::TOKEN) : std::nullopt;
    for (const auto& [request, path] : PATHS) {
        const Chapter& chapter = In(request);
        const bool isIt = url.find(path) != std::string::npos || (chapter.asked && !chapter.status);
        part = !part && isIt ? std::optional(request) : part;
    }
    // That it was another would be told.
    if (!part && (In(Part::APP).status || (sawStart && Shows('W')))) {
        part = Part::DOWNLOAD;
    }
    if (part) {
        Ask(*part);
        In(*part).sent = true;
        Advance(LastOf(*part));
    }
}

}  // namespace Log
