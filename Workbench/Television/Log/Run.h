/** What a log makes known of one run of the service: each of it told, denied, or not told by this log. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Television/Log/Devices.h"

namespace Log {

/** The steps of a run, in their order; an answer stands right after its request. */
enum class Step : std::size_t {
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
    END,
};

inline Step Next(Step step) {
    return static_cast<Step>(static_cast<std::size_t>(step) + 1);
}

using Words = std::vector<std::string>;

/** Adds what is not there yet, and not empty. */
void Add(Words& words, const std::string& more);

/** A request's part in a run; what is empty is not told. */
struct Request {
    /** False where what is stored still holds. */
    std::optional<bool> asked;
    /** Why it was asked for. */
    std::string why;
    /** How long what is stored still holds, or has run out since, in seconds. */
    std::optional<std::int64_t> left;
    bool sent = false;
    bool answered = false;
    std::optional<std::int64_t> milliseconds;
    std::optional<std::int64_t> status;
    /** The answer's "rcode", or the authorisation server's "error", and the words that came with it. */
    std::string code;
    std::string words;

    bool IsRefused() const {
        return !code.empty() && code != "0";
    }
    /** The mark was refused, and so the stored records dropped. */
    bool IsDropped() const;
    /** Status and code, each for itself. */
    Words AnswerWords() const;
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
    std::optional<Step> step = {};

    std::string Meaning() const;
};

/** The lines of a step: of many, the first. */
struct StepLines {
    void Add(const std::string& line);

    std::size_t count = 0;
    std::size_t leftOut = 0;
    std::string text;
    /** When it began, as the log has it. */
    std::string time;
};

struct Run {
    enum Kind : std::size_t { TOKEN, ACTIVATION, APP, DOWNLOAD, REQUESTS };
    enum class Source { NOT_TOLD, STORED, REFRESHED, NEW };

    std::size_t number = 0;
    std::int64_t pid = 0;
    std::string began;
    std::string ended;
    std::optional<std::int64_t> milliseconds;
    /** The clock was set on the way. */
    bool clockJumped = false;
    /** What is odd about the set's clock, beside a token's times; empty for nothing. */
    std::string clock;
    std::size_t lineCount = 0;
    /** The least severe priority that the log is known to have; '\0' where no line tells. */
    char level = '\0';
    std::map<Step, StepLines> lines;
    /** The furthest step that the log shows, and the furthest before the end. */
    Step step = Step::START;
    Step reached = Step::START;

    std::string user;
    /** What the set was asked for last, or which element was missing. */
    std::string subject;
    bool sawStart = false;
    bool sawEnd = false;
    std::optional<bool> reset;
    std::size_t failedChecks = 0;
    /** In milliseconds: how long nobody was signed in, how long a code was waited for. */
    std::optional<std::int64_t> signInWait;
    std::optional<std::int64_t> codeWait;
    /** Of what is kept, what could not be read, in words. */
    std::vector<std::string> missing;
    Source source = Source::NOT_TOLD;
    /** Whether the authorisation server's answer holds a token. */
    std::optional<bool> gotToken;
    /** The service said that the run ends for want of one. */
    bool endedWithoutToken = false;
    std::array<Request, REQUESTS> requests;
    /** The mark that the download asks from, 0 for none; the one for the next. */
    std::optional<std::int64_t> mark;
    std::optional<std::int64_t> nextMark;
    /** Why everything is downloaded. */
    std::string markWhy;
    /** How many records the download brought; of an answer that the log cuts, those that it shows. */
    std::optional<std::size_t> downloaded;
    bool downloadIsCut = false;
    bool sawList = false;
    Devices devices;
    /** What went wrong, each once; and what ended the run, if that did. */
    std::vector<Fault> faults;
    std::optional<Fault> failure;
    /** The HTTP client told why no answer came. */
    bool sawClient = false;

    /** Lines of the priority would be in the log. */
    bool Shows(char priority) const;
    /** All that a run logs before the step, were it there at this level, would be in the log. */
    bool HasAllBefore(Step before, char priority) const;
    bool FailedIn(Step first, Step last) const;
    /** Which request failed is not told. */
    bool IsUnlocated() const;
    /** The service waits for a code, and nothing has ended it yet. */
    bool IsWaiting() const;
    /** What came could not be stored, though the request itself went well. */
    bool IsOfStoring() const;
    /** Where the token came from, as far as what is not logged tells, too. */
    Source TokenSource() const;
    Request& Of(Kind kind) {
        return requests[kind];
    }
    const Request& Of(Kind kind) const {
        return requests[kind];
    }
};

/** The request that is asked or answered in the step; nothing for other steps. */
std::optional<Run::Kind> RequestOf(Step step);

}  // namespace Log
