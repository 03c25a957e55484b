/** A run in words: what it did, why, what failed and what to do. It is told the same everywhere. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "Cli/Style.h"
#include "Television/Log/Run.h"

namespace Log {

inline constexpr char SUCCESS[] = "success";
inline constexpr char FAILED[] = "failed";
inline constexpr char NOT_TOLD[] = "not told";

/** Whether something went well; UNKNOWN where the log does not tell. */
enum class Sign { FINE, FAULT, UNKNOWN };

struct Chapter {
    std::string name;
    Sign sign = Sign::UNKNOWN;
    /** What the log tells, each a statement that holds by itself. */
    std::vector<std::string> told = {};
    /** What it does not tell, and what would. */
    std::vector<std::string> untold = {};
    /** Of a request: how many of what is told are of what asked for it; the others are its answer. */
    std::size_t asking = 0;

    std::string Words() const;
};

/** A request as a script wants it; what is null is not told. */
struct Exchange {
    /** token, refresh, activation, app or download; "token or refresh" where the log does not tell which */
    std::string request;
    bool answered = false;
    Json::Value status = {};
    Json::Value seconds = {};
    /** What a download asks from; null where it asks for everything, or it is not told. */
    Json::Value mark = {};
};

struct Story {
    std::size_t number = 0;
    std::string user;
    /** "success", "failed" or "not told"; of a kept run also what its process tells: "crashed", ... */
    std::string outcome;
    /** Why, unless it is a success; each a statement that holds by itself. */
    std::vector<std::string> reason;
    /** What to do, each once. */
    std::vector<std::string> remedies;
    /** Process, times, level and lines, as far as the log tells; odd times among them. */
    std::vector<std::string> heading;
    std::vector<Chapter> chapters;
    std::vector<Exchange> requests;
    std::vector<Record> records;
    Json::Value mark;
    Json::Value nextMark;
};

Story Tell(const Run& run);

/** Sets the story's outcome, its reason and what to do. */
void TellOutcome(const Run& run, Story& story);

/** "failed: the cloud refused the activation; status 401" */
std::string OutcomeWords(const Story& story);

/** "token, activation 200, download from mark 1795 200" */
std::string RequestsWords(const Story& story);

/** What is told of the records whose name, address or id has the text in it; empty for all. */
void Narrow(Story& story, const std::string& device);

/** The whole of it for people. */
std::string StoryText(const Story& story, const Cli::Style& style);

Json::Value StoryJson(const Story& story);

/** The part of a story that a kept run has of it: outcome, reason, requests, user and what to do. */
Story StoryFromJson(const Json::Value& json);

}  // namespace Log
