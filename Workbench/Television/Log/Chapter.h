/** What a story is made of: the steps of a run, in chapters that tell what is known of them. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Television/Log/Line.h"

namespace Log {

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

const char* NameOf(Part part);

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

using Statements = std::vector<std::string>;

/** Adds what is not there yet, and not empty. */
void Add(Statements& words, const std::string& more);

/** What a statement is about, in the order of a chapter; from WAIT on, of a request it is the answer. */
enum class About { WHETHER, WHY, LEFT, WAIT, STATUS, CODE, WORDS, TOOK, RESULT, COUNT, NEXT, ALSO };

// What is said in the WHETHER of a request: of a token, of the other two that may be stored, of the download.
inline constexpr char HOLDS[] = "stored and still valid";
inline constexpr char NEW_TOKEN[] = "new";
inline constexpr char REFRESHED_TOKEN[] = "refreshed";
inline constexpr char ASKED[] = "asked for";
inline constexpr char EVERYTHING[] = "of everything";

/** Whether a chapter went well. */
enum class Sign { UNKNOWN, FINE, FAULT };

/** Of HTTP. */
inline constexpr std::int64_t STATUS_OK = 200;

struct Chapter {
    /** Says it instead of what was said about that; ALSO adds. Nothing where it is empty. */
    void Say(About about, const std::string& words);
    /** Says how long that took, where it is known. */
    void SayTime(About about, const char* what, const Moment& time);
    /** What was said about that; empty for nothing. */
    std::string Said(About about) const;
    bool Has(About about) const {
        return told.count(about) > 0;
    }
    /** As a story has it. */
    Json::Value ToJson() const;

    /** Whether the story has it: not where the run never came to it. */
    bool shown = false;
    Sign sign = Sign::UNKNOWN;
    /** What the log tells, each a statement that holds by itself; one of each kind, but for ALSO. */
    std::multimap<About, std::string> told;
    /** What it does not tell, and what would. */
    Statements untold;
    // Of a request: whether the run came to it, whether it went out, and what became of it.
    bool asked = false;
    bool sent = false;
    bool answered = false;
    std::optional<std::int64_t> status;
    Moment milliseconds;
};

}  // namespace Log
