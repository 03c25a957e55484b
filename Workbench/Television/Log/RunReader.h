/** Gathers what the messages of one process make known of its run. */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Television/Log/Message.h"
#include "Television/Log/Run.h"
#include "Television/Log/Table.h"

namespace Log {

class RunReader {
public:
    /** @param keepsLines whether the run gets its lines, too */
    RunReader(std::size_t number, std::int64_t pid, bool keepsLines);

    /** A message of the service's own, or a line of something else in its process; masked already. */
    void Take(const Message& message);
    /** The run as far as the log tells of it. The reader is of no use afterwards. */
    Run Finish();

    bool SawEnd() const {
        return run.sawEnd;
    }
    std::size_t LastLine() const {
        return m_lastLine;
    }

    // What the table's lines make known.

    void Ask(Run::Kind kind);
    void StillHolds(Run::Kind kind);
    void AskToken(Run::Source source, const char* why);
    void TakeAccessClock(std::string_view rest, bool isRefreshToken);
    void TakeExpiry(Run::Kind kind, std::string_view rest, std::int64_t perSecond);
    void TakeWhy(Run::Kind kind, const char* why);
    /** Why everything is downloaded. */
    void TakeAll(const char* why);
    void Send();
    void TakeAnswer();
    void TakeStatus(Run::Kind kind, std::string_view rest);
    /** The whole of the message, which is JSON or has some in it. */
    void TakeBody();
    void TakeBatch();
    void TakeList();
    void Miss(const std::string& document);
    void TakeCode();
    /** Which request got no answer. */
    void Locate();

    Run run;

private:
    void TakeLine(const Line& line);
    void TakeOther(const Line& line);
    void Keep(const Line& line, const std::string& text);
    void TakeTime(const Line& line);
    void Advance(Step step);
    void TakeFault(const Line& line, const KnownLine* known);
    std::optional<Step> StepOf(const Line& line, const KnownLine* known) const;
    std::string Cause() const;
    void TakeClock(std::int64_t now, bool isFar, const std::string& far);
    std::optional<std::int64_t> Since(const std::optional<std::int64_t>& moment) const;
    Request* Answered();

    bool m_keepsLines;
    const Message* m_message = nullptr;
    std::size_t m_at = 0;
    std::size_t m_lastLine = 0;
    // Moments, in milliseconds; and how long the last answer took.
    std::optional<std::int64_t> m_first;
    std::optional<std::int64_t> m_now;
    std::optional<std::int64_t> m_checkFailedAt;
    std::optional<std::int64_t> m_codeAskedAt;
    std::optional<std::int64_t> m_sentAt;
    std::optional<std::int64_t> m_answerTook;
    std::string m_time;
    /** Since when the refresh token has run out, in seconds. */
    std::optional<std::int64_t> m_refreshLeft;
    /** What the platform said went wrong, by its tag: the stores at first, others last. */
    std::map<std::string, std::string> m_causes;
};

}  // namespace Log
