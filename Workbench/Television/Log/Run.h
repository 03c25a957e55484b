/** What the lines of one run of the service make known: the rows of the table fill it in. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Television/Log/Chapter.h"
#include "Television/Log/Clock.h"
#include "Television/Log/Devices.h"
#include "Television/Log/Message.h"

namespace Log {

/** The number in the text's first digits, or their sign before them; 0 for none. */
std::int64_t FirstNumber(std::string_view text);

struct KnownLine;

/** Something that went wrong. */
struct Fault {
    /** Null for an error that is not in the table. */
    const KnownLine* known = nullptr;
    /** In the service's words. */
    std::string text;
    /** What the platform said of it; empty for nothing. */
    std::string cause;
    /** Where it happened; nothing where that is not told. */
    std::optional<Step> step;

    /** An answer cannot be parsed, or the stored device list. */
    bool IsNoJson() const;
    std::string Meaning() const;
};

/** The lines of a step, of many the first, and when it began, as the log has it. */
struct StepLines {
    static constexpr std::size_t MOST_BYTES = 65536;

    std::size_t count = 0;
    /** Empty where it was not asked for. */
    std::string text;
    std::string time;
};

struct Run {
    /** @param linesKept whether the story gets its lines, too */
    Run(std::size_t itsNumber, std::int64_t itsPid, bool linesKept)
        : number(itsNumber), pid(itsPid), keepsLines(linesKept) {}

    /** A message of the service's own, or a line of something else in its process; masked already. */
    void Take(const Message& message);
    /** Says what follows from all lines, and what they do not tell: no more are to come. */
    void Conclude();

    Chapter& In(Part part) {
        return chapters[static_cast<std::size_t>(part)];
    }
    const Chapter& In(Part part) const {
        return chapters[static_cast<std::size_t>(part)];
    }
    /** Lines of the priority would be in the log. */
    bool Shows(char priority) const;
    bool FailedIn(Step from, Step to) const;
    /** The download was answered well. */
    bool HasRecords() const;
    bool HasSucceeded() const;
    /** Which request failed is not told. */
    bool IsUnlocated() const;
    /** The mark was refused, and so the stored records dropped. */
    bool IsDropped() const;

    // What the table's rows make known.
    void Ask(Part request, const char* why = "");
    /** @param source NEW_TOKEN or REFRESHED_TOKEN */
    void AskToken(const char* source, const char* why);
    void TakeAccessClock(std::string_view rest, bool isRefreshToken);
    void TakeExpiry(Part request, std::string_view rest, std::int64_t perSecond);
    void TakeMark(std::int64_t oldMark);
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

    std::size_t number;
    std::int64_t pid;
    bool keepsLines;

    std::array<Chapter, static_cast<std::size_t>(Part::COUNT)> chapters;
    Devices devices;
    std::string user;
    /** What the download asks from; nothing where that is everything, or not told. And what the next one
     * will. */
    std::optional<std::int64_t> mark;
    std::optional<std::int64_t> nextMark;
    bool sawStart = false;
    bool sawEnd = false;
    /** It ended, or another one began in its process. */
    bool isOver = false;
    bool sawList = false;
    std::optional<bool> gotToken;
    /** The service said that the run ends for want of a token. */
    bool endedWithoutToken = false;
    /** What the set was asked for last, or which element was missing. */
    std::string subject;

    std::vector<Fault> faults;
    /** What ended the run, if that is not told as its end. */
    std::optional<Fault> failure;
    /** What the platform said went wrong, by its tag: the stores at first, others last. */
    std::map<std::string, std::string> causes;
    /** The HTTP client told why no answer came. */
    bool sawClient = false;

    /** The least severe priority that the log is known to have; '\0' where no line tells. */
    char level = '\0';
    std::size_t lineCount = 0;
    /** The furthest step that the log shows, and the furthest before the end. */
    Step step = Step::START;
    Step reached = Step::START;
    std::map<Step, StepLines> lines;

    Clock clock;
    Moment checkFailedAt;
    Moment codeAskedAt;
    Moment sentAt;
    /** How long the last answer took. */
    Moment answerTook;

private:
    void TakeLine(const Line& line);
    void TakeOther(const Line& line);
    void Keep(const Line& line);
    void Advance(Step next);
    void TakeFault(const Line& line, const KnownLine* known);
    std::optional<Step> StepOf(const Line& line, const KnownLine* known) const;

    const Message* m_message = nullptr;
    std::size_t m_at = 0;
};

}  // namespace Log
