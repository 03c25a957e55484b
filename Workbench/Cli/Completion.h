/** Completion in shells: the shell asks the tool itself which commands and options a word may become. */
#pragma once

#include <string>
#include <vector>

namespace Cli {

/** The first word with which a tool is asked: "TOOL __complete WORD...", of which the last is being typed. */
inline constexpr char COMPLETE[] = "__complete";

/** An option as completion sees it: with its dashes. */
struct OptionWord {
    std::string name;
    std::string meaning;
    bool takesValue = false;
};

/** A command, a group or the whole tool, with what it takes from those above it. */
struct CommandWord {
    std::string name;
    std::string meaning;
    std::vector<OptionWord> options;
    std::vector<CommandWord> commands;
};

/** A line for each command or option that the last word may become, with a tab and its meaning. */
std::string Complete(const CommandWord& tool, std::vector<std::string> words);

/** @param shell bash or zsh */
std::string CompletionScript(const std::string& tool, const std::string& shell);

}  // namespace Cli
