/** Completion in shells: the shell asks the tool itself what a word may become. */
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Cli {

/** What a word that is being typed may become. */
struct Candidate {
    std::string word;
    /** Shown beside it; may be empty. */
    std::string meaning;
};
using Candidates = std::vector<Candidate>;

/** What the values of an option or operand may be, asked when the words before them are known. */
using ValueSources = std::map<const CLI::Option*, std::function<Candidates()>>;

/** The first word with which a tool is asked: "TOOL __complete WORD...", of which the last is being typed. */
inline constexpr char COMPLETE[] = "__complete";

/** The commands of a group. */
Candidates CommandNames(const CLI::App& group);

/** A line for each word that the last one may become, with a tab and its meaning where it has one. Runs no
 * command. */
std::string Complete(CLI::App& app, const ValueSources& values, std::vector<std::string> words);

/** @param shell bash or zsh */
std::string CompletionScript(const std::string& tool, const std::string& shell);

}  // namespace Cli
