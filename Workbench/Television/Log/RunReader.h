/** Gathers what the messages of one process make known of its run, and concludes what follows from that. */
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "Television/Log/Message.h"
#include "Television/Log/Story.h"
#include "Television/Log/Table.h"

namespace Log {

class RunReader {
public:
    /** @param keepsLines whether the story gets its lines, too */
    RunReader(std::size_t number, std::int64_t pid, bool keepsLines);

    /** A message of the service's own, or a line of something else in its process; masked already. */
    void Take(const Message& message);
    /** The run as far as the log tells of it. The reader is of no use afterwards. */
    Story Finish();

    bool SawEnd() const {
        return story.sawEnd;
    }
    std::size_t Number() const {
        return story.number;
    }
    std::size_t LastLine() const {
        return m_lastLine;
    }

    // What the table's lines make known.

    /** Says it in the chapter, instead of what was said about that; ALSO adds. Nothing where it is empty. */
    void Say(Part part, About about, const std::string& words);
    void Ask(Part request, const char* why = "");
    /** @param source NEW_TOKEN or REFRESHED_TOKEN */
    void AskToken(const char* source, const char* why);
    void TakeAccessClock(std::string_view rest, bool isRefreshToken);
    void TakeExpiry(Part request, std::string_view rest, std::int64_t perSecond);
    void TakeMark(std::int64_t mark);
    /** Why everything is downloaded. */
    void TakeAll(const char* why);
    void TakeFailedCheck(std::int64_t count);
    void Send();
    void TakeAnswer();
    void TakeStatus(Part request, std::string_view rest);
    /** The whole of the message, which is JSON or has some in it. */
    void TakeBody();
    void TakeBatch();
    void TakeList();
    /** What is kept of it could not be read. */
    void Miss(const std::string& document);
    void TakeCode();
    /** Which request got no answer. */
    void Locate();

    Story story;
    Devices devices;
    bool sawStart = false;
    /** The service said that the run ends for want of a token. */
    bool endedWithoutToken = false;
    /** What the set was asked for last, or which element was missing. */
    std::string subject;

private:
    using Moment = std::optional<std::int64_t>;

    void TakeLine(const Line& line);
    void TakeOther(const Line& line);
    void Keep(const Line& line, const std::string& text);
    void TakeTime(const Line& line);
    void TakeClock(std::int64_t now, bool isFar, const std::string& far);
    Moment Since(const Moment& moment) const;
    static std::string Seconds(std::int64_t milliseconds);
    /** Says how long that took, where it is known. */
    void SayTime(Part part, About about, const char* what, const Moment& milliseconds);
    void Advance(Step step);
    void TakeFault(const Line& line, const KnownLine* known);
    std::optional<Step> StepOf(const Line& line, const KnownLine* known) const;
    std::string Cause() const;
    bool IsAsked(Part part) const {
        return m_asked.count(part) > 0;
    }
    Chapter& In(Part part) {
        return m_chapters[static_cast<std::size_t>(part)];
    }
    const Chapter& In(Part part) const {
        return m_chapters[static_cast<std::size_t>(part)];
    }
    /** What was said about that; empty for nothing. */
    std::string Said(Part part, About about) const;
    bool Has(Part part, About about) const {
        return !Said(part, about).empty();
    }

    // What follows, once all is read.

    bool Shows(char priority) const;
    bool HasAllBefore(Step before, char priority) const;
    bool FailedIn(Step first, Step last) const;
    bool IsUnlocated() const;
    bool IsOfStoring() const;
    bool IsDropped() const;
    void FindSilentFailure();
    void Conclude(Part part, About about, bool follows, const char* conclusion, const char* untold = "");
    bool ConcludeFailure(Part part, Step first, Step last);
    void ConcludeStart();
    void ConcludeSignIn();
    void ConcludeStored();
    void ConcludeToken();
    void ConcludeRequest(Part part);
    void ConcludeAnswer(Part part);
    void ConcludeDownload();
    void ConcludeList();
    void ConcludeOutcome();
    bool IsRefusedToken() const;
    Words Reason() const;
    std::string Remedy(const Fault& fault) const;
    std::string RefusalRemedy(const KnownLine& known, Part part) const;
    void TellHeading();
    void Gather();

    std::int64_t m_pid;
    bool m_keepsLines;
    const Message* m_message = nullptr;
    std::size_t m_at = 0;
    std::size_t m_lastLine = 0;
    std::size_t m_lineCount = 0;
    /** The least severe priority that the log is known to have; '\0' where no line tells. */
    char m_level = '\0';
    /** The furthest step that the log shows, and the furthest before the end. */
    Step m_step = Step::START;
    Step m_reached = Step::START;
    std::array<Chapter, static_cast<std::size_t>(Part::COUNT)> m_chapters;
    /** The requests that the run came to, and those of them that went out. */
    std::set<Part> m_asked;
    std::set<Part> m_sent;
    std::vector<Fault> m_faults;
    /** What the platform said went wrong, by its tag: the stores at first, others last. */
    std::map<std::string, std::string> m_causes;
    /** The HTTP client told why no answer came. */
    bool m_sawClient = false;
    std::optional<bool> m_gotToken;
    bool m_sawList = false;

    // Times as the log has them, and moments in milliseconds; and how long the last answer took.
    std::string m_ended;
    std::string m_time;
    Moment m_first;
    Moment m_now;
    Moment m_checkFailedAt;
    Moment m_codeAskedAt;
    Moment m_sentAt;
    Moment m_answerTook;
    bool m_clockJumped = false;
    /** What is odd about the set's clock, beside a token's times; empty for nothing. */
    std::string m_clock;
    /** For how long the tokens hold, in words. */
    std::string m_accessLeft;
    std::string m_refreshLeft;
};

}  // namespace Log
