/** The story of a run: what its log makes known, in words. It is told the same everywhere. */
#pragma once

#include <json/json.h>

#include <string>

#include "Cli/Display.h"

namespace Log {

inline constexpr char SUCCESS[] = "success";
inline constexpr char FAILED[] = "failed";
inline constexpr char NOT_TOLD[] = "not told";

/** As --json shows it and as it is kept; the members are in docs/formats.md. */
using Story = Json::Value;

struct Run;

/** What is told of all that the run's lines made known. "steps" is there for the page alone: what each of
 * them is in its picture. */
Story Tell(Run& run);

/** Statements of a story, however damaged, in one text. */
std::string Joined(const Json::Value& words, const char* separator);

/** All that a chapter tells, and what it does not. */
std::string ChapterText(const Json::Value& chapter);

/** Keeps of the records those whose name, address or id has the text in it; all for the empty one. */
void Narrow(Story& story, const std::string& device);

/** The whole of it for people. */
std::string StoryText(const Story& story, const Cli::Style& style);

/** "failed: the cloud refused the activation; status 401", of a story however damaged. */
std::string OutcomeWords(const Story& story);

}  // namespace Log
