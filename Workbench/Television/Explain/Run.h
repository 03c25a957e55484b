/** What a log tells of one run of the service. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Television/Explain/KnownLines.h"

namespace Explain {

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
    ASK_APP_TOKEN,
    APP_TOKEN_ANSWER,
    ASK_RECORDS,
    RECORDS_ANSWER,
    LIST,
    END,
};

inline Step Next(Step step) {
    return static_cast<Step>(static_cast<std::size_t>(step) + 1);
}

/** The lines of a step: of many, the first and the last 64 KiB. */
struct StepLines {
    void Add(const std::string& line);

    std::size_t count = 0;
    std::vector<std::string> first;
    std::deque<std::string> last;
    std::size_t firstSize = 0;
    std::size_t lastSize = 0;
    /** When it began, as the log has it. */
    std::string time;
};

/** One request and its answer, as far as the log shows them. */
struct Exchange {
    bool asked = false;
    /** Told by the HTTP client at I; a status tells both. */
    bool sent = false;
    bool answered = false;
    /** Why it was asked for; or for how long what is stored still holds. */
    std::string why;
    std::optional<std::int64_t> status;
    /** The answer's "rcode", or the authorisation server's "error", and the words that came with it. */
    std::string code;
    std::string words;
};

/** What became of a record; in the order in which the story counts them. */
enum class Listing { ADDED, REMOVED, SKIPPED, PAIRED, NO_SINK, OTHER_USERS, NOT_LISTED, UPDATED, UNKNOWN };

struct Record {
    std::string id;
    std::string name;
    std::string address;
    /** UUIDs, where the log shows them. */
    std::string services;
    Listing listing = Listing::UNKNOWN;
};

/** The words for what a store reported, which the service itself does not always look at. */
inline constexpr char STORE_FAILED[] = "something could not be stored or read";

/** Something that went wrong. */
struct Fault {
    /** In the service's words. */
    std::string text;
    /** What the platform said of it; empty for nothing. */
    std::string causes;
    /** Null where nothing more is known of it. */
    const KnownLine* known = nullptr;
};

struct Run {
    enum class Token { UNKNOWN, REFRESHED, NEW };

    std::size_t number = 0;
    std::int64_t pid = 0;
    std::string began;
    std::string ended;
    std::size_t lineCount = 0;
    /** The last step that the log shows, the last one before the end, and that of the failure. */
    Step step = Step::START;
    Step reached = Step::START;
    Step failedStep = Step::START;
    std::map<Step, StepLines> steps;

    int failedChecks = 0;
    Token token = Token::UNKNOWN;
    /** Of what is kept, what was missing or damaged. */
    std::vector<std::string> missing;
    Exchange tokenRequest;
    Exchange activation;
    Exchange appToken;
    Exchange download;
    /** The mark that the download asked from and the one for the next; empty where not told. */
    std::string mark;
    std::string nextMark;
    /** How many records the download brought; of an answer that the log cuts, those that it shows. */
    std::optional<std::size_t> downloaded;
    /** The first 2000, and how many of each kind there were. */
    std::vector<Record> records;
    std::map<Listing, std::size_t> listings;
    /** What went wrong, without repeats; and what ended the run, if that did. */
    std::vector<Fault> faults;
    std::optional<Fault> failure;

    /** The least severe priority among the lines. */
    char level = 'F';
    bool sawStart = false;
    bool sawEnd = false;
    bool wasReset = false;
    bool gotToken = false;
    bool downloadIsCut = false;
    /** The request that failed is that of the step or one before it. */
    bool isUnlocated = false;
};

/** The request that is asked or answered in the step; null for other steps. */
Exchange Run::*ExchangeOf(Step step);

}  // namespace Explain
