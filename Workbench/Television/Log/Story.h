/** What a log makes known of one run of the service, in words. It is told the same everywhere. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Television/Log/Devices.h"

namespace Log {

inline constexpr char SUCCESS[] = "success";
inline constexpr char FAILED[] = "failed";
inline constexpr char NOT_TOLD[] = "not told";

/** Of HTTP. */
inline constexpr std::int64_t STATUS_OK = 200;

using Words = std::vector<std::string>;

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
    END,
};

/** The chapters of a story, in their order; four of them are requests, too. */
enum class Part : std::size_t { START, SIGN_IN, STORED, TOKEN, ACTIVATION, APP, DOWNLOAD, LIST, COUNT };

/** The steps that a chapter tells of. */
struct PartSteps {
    const char* name;
    Step first;
    /** Of a request. */
    Step asking;
    /** Of a request, its answer. */
    Step last;
};
const PartSteps& StepsOf(Part part);

inline constexpr Part REQUESTS[] = {Part::TOKEN, Part::ACTIVATION, Part::APP, Part::DOWNLOAD};

/** The request that is asked or answered in the step; nothing for other steps. */
std::optional<Part> RequestOf(Step step);
bool IsAnswer(Step step);

/** What a statement is about, in the order of a chapter; from WAIT on, of a request it is the answer. */
enum class About { WHETHER, WHY, LEFT, WAIT, STATUS, CODE, WORDS, TOOK, RESULT, COUNT, NEXT, ALSO };

/** Whether something went well; UNKNOWN where the log does not tell. */
enum class Sign { FINE, FAULT, UNKNOWN };

/** @see StepsOf() for its name */
struct Chapter {
    Part part = Part::START;
    // Of a request that was sent, its name: token, refresh, activation, app or download; "token or refresh"
    // where the log does not tell which. And what became of it.
    std::string request = {};
    bool answered = false;
    std::optional<std::int64_t> status = {};
    std::optional<std::int64_t> milliseconds = {};
    Sign sign = Sign::UNKNOWN;
    /** What the log tells, each a statement that holds by itself; one of each kind, but for ALSO. */
    std::multimap<About, std::string> told = {};
    /** What it does not tell, and what would. */
    Words untold = {};

    /** All of it, or what is told from one kind up to another. */
    std::string Text() const;
    std::string Text(About first, About last) const;
};

// What is said in the WHETHER of a request: of a token, of the other two that may be stored, of the download.
inline constexpr char HOLDS[] = "stored and still valid";
inline constexpr char NEW_TOKEN[] = "new";
inline constexpr char REFRESHED_TOKEN[] = "refreshed";
inline constexpr char ASKED[] = "asked for";
inline constexpr char EVERYTHING[] = "of everything";

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

struct Story {
    std::size_t number = 0;
    std::string user;
    /** "success", "failed" or "not told"; of a kept run also what its process tells: "crashed", ... */
    std::string outcome;
    /** Why, unless it is a success; each a statement that holds by itself. */
    Words reason;
    /** What to do, each once. */
    Words remedies;
    /** The first time in the log; empty for none. */
    std::string began;
    /** Process, times, level and lines, as far as the log tells; odd times among them. */
    Words heading;
    std::vector<Chapter> chapters;
    /** What the download asks from; nothing where that is everything, or not told. And what the next one
     * will. */
    std::optional<std::int64_t> mark;
    std::optional<std::int64_t> nextMark;
    std::vector<Record> records;
    /** What ended the run, if that is not told as its end. */
    std::optional<Fault> failure;
    bool sawEnd = false;
    /** Where they were asked for; without a line where a step must have been. */
    std::map<Step, StepLines> lines;
};

/** Adds what is not there yet, and not empty. */
void Add(Words& words, const std::string& more);

/** What is told of the records whose name, address or id has the text in it; empty for all. */
void Narrow(Story& story, const std::string& device);

/** The whole of it for people. */
std::string StoryText(const Story& story, const Cli::Style& style);

Json::Value StoryJson(const Story& story);

/** "failed: the cloud refused the activation; status 401", of an object of that form, however damaged */
std::string OutcomeWords(const Json::Value& story);

}  // namespace Log
