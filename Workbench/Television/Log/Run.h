/** What the lines of one run of the service make known: the rows of the table fill it in. */
#pragma once

#include <json/json.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Television/Log/Devices.h"
#include "Television/Log/Message.h"

namespace Log {

using Statements = std::vector<std::string>;

/** Adds what is not there yet, and not empty. */
void Add(Statements& words, const std::string& more);

/** A duration. */
std::string SecondsText(std::int64_t milliseconds);

/** The number in the text's first digits, or their sign before them; 0 for none. */
std::int64_t FirstNumber(std::string_view text);

/** Of HTTP. */
inline constexpr std::int64_t STATUS_OK = 200;

/** The steps of a run, in their order; an answer stands right after its request. */
enum class Step {
    START,
    SIGN_IN,
    STORED,
    TOKEN,
    ASK_CODE,
    CODE,
    ASK_TOKEN,
    TOKEN_ANSWER,
    ASK_ACTIVATION,
    ACTIVATION_ANSWER,
    ASK_APP,
    APP_ANSWER,
    ASK_DOWNLOAD,
    DOWNLOAD_ANSWER,
    LIST,
    END
};

/** The chapters of a story, in their order; those from TOKEN to DOWNLOAD are requests. */
enum class Part : std::size_t { START, SIGN_IN, STORED, TOKEN, ACTIVATION, APP, DOWNLOAD, LIST, COUNT };

enum Party : int { TELEVISION, SERVICE, AUTHORISATION_SERVER, CLOUD };

/** A step in the picture of a run: an arrow from one party to another, or to itself. */
struct Arrow {
    Part part;
    Party from;
    Party to;
    const char* label;
};
const Arrow& ArrowOf(Step step);
Step FirstOf(Part part);
/** Of a request its answer, before which it is asked. */
Step LastOf(Part part);
/** The request that is asked or answered in the step; nothing for other steps. */
std::optional<Part> RequestOf(Step step);
bool IsAnswer(Step step);

/** What a statement is about, in the order of a chapter; from WAIT on, of a request it is the answer. */
enum class About { WHETHER, WHY, LEFT, WAIT, STATUS, CODE, WORDS, TOOK, RESULT, COUNT, NEXT, ALSO };

// What is said in the WHETHER of a request: of a token, of the other two that may be stored, of the download.
inline constexpr char HOLDS[] = "stored and still valid";
inline constexpr char NEW_TOKEN[] = "new";
inline constexpr char REFRESHED_TOKEN[] = "refreshed";
inline constexpr char ASKED[] = "asked for";
inline constexpr char EVERYTHING[] = "of everything";

struct Chapter {
    /** As a story has it. */
    Json::Value ToJson() const;

    /** Whether the story has it: not where the run never came to it. */
    bool shown = false;
    /** Whether it went well, "fine" or "fault"; "unknown" where the log does not tell. */
    const char* sign = "unknown";
    /** What the log tells, each a statement that holds by itself; one of each kind, but for ALSO. */
    std::multimap<About, std::string> told;
    /** What it does not tell, and what would. */
    Statements untold;
    // Of a request: whether the run came to it, whether it went out, and what became of it.
    bool asked = false;
    bool sent = false;
    bool answered = false;
    std::optional<std::int64_t> status;
    std::optional<std::int64_t> milliseconds;
};

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
    std::string text;
    std::string time;
};

struct Run {
    using Moment = std::optional<std::int64_t>;

    /** @param linesKept whether the story gets its lines, too */
    Run(std::size_t itsNumber, std::int64_t itsPid, bool linesKept)
        : number(itsNumber), pid(itsPid), keepsLines(linesKept) {}

    /** A message of the service's own, or a line of something else in its process; masked already. */
    void Take(const Message& message);

    /** Says it in the chapter, instead of what was said about that; ALSO adds. Nothing where it is empty. */
    void Say(Part part, About about, const std::string& words);
    /** Says how long that took, where it is known. */
    void SayTime(Part part, About about, const char* what, const Moment& milliseconds);
    /** What was said about that; empty for nothing. */
    std::string Said(Part part, About about) const;
    bool Has(Part part, About about) const {
        return !Said(part, about).empty();
    }
    Chapter& In(Part part) {
        return chapters[static_cast<std::size_t>(part)];
    }
    const Chapter& In(Part part) const {
        return chapters[static_cast<std::size_t>(part)];
    }
    /** How long ago that was; nothing where no time tells, or where the clock was set on the way. */
    Moment Since(const Moment& moment) const;
    /** Lines of the priority would be in the log. */
    bool Shows(char priority) const;
    bool FailedIn(Step from, Step to) const;
    /** Which request failed is not told. */
    bool IsUnlocated() const {
        return failure && failure->known != nullptr && !failure->step &&
               In(Part::DOWNLOAD).status != STATUS_OK;
    }
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
    /** Their text is empty where it was not asked for. */
    std::map<Step, StepLines> lines;

    // Times as the log has them, and moments in milliseconds; and how long the last answer took.
    std::string began;
    std::string ended;
    std::string time;
    Moment first;
    Moment now;
    Moment checkFailedAt;
    Moment codeAskedAt;
    Moment sentAt;
    Moment answerTook;
    bool clockJumped = false;
    /** What is odd about the set's clock, beside a token's times; empty for nothing. */
    std::string clock;
    /** For how long the tokens hold, in words. */
    std::string accessLeft;
    std::string refreshLeft;

private:
    void TakeLine(const Line& line);
    void TakeOther(const Line& line);
    void Keep(const Line& line);
    void TakeTime(const Line& line);
    std::string LeftUntil(std::int64_t end, std::int64_t clockNow, const std::optional<std::int64_t>& issued);
    void TakeClock(std::int64_t clockNow, const std::string& far);
    void Advance(Step next);
    void TakeFault(const Line& line, const KnownLine* known);
    std::optional<Step> StepOf(const Line& line, const KnownLine* known) const;

    const Message* m_message = nullptr;
    std::size_t m_at = 0;
};

}  // namespace Log
