/** Completion in shells: the shell asks the tool itself which commands and options a word may become. */
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Cli {

/** The first word with which a tool is asked: "TOOL __complete WORD...", of which the last is being typed. */
inline constexpr char COMPLETE[] = "__complete";

/** A line for each command or option that the last word may become, with a tab and its meaning. */
std::string Complete(const CLI::App& tool, std::vector<std::string> words);

/** @param shell bash or zsh */
std::string CompletionScript(const std::string& tool, const std::string& shell);

}  // namespace Cli
