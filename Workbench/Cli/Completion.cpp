#include "Cli/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "Cli/Text.h"

namespace Cli {

namespace {

// FUNCTION and TOOL stand for the tool's name. What the last word is and what takes its place is told by $2:
// bash parts words at some marks that addresses and users hold, so the pieces are put together again as on
// the line.
constexpr char BASH[] = R"sh(FUNCTION() {
    local line=${COMP_LINE:0:COMP_POINT} words=() piece kept
    for piece in "${COMP_WORDS[@]:0:COMP_CWORD+1}"; do
        if [[ $line == [[:space:]]* || ${#words[@]} -eq 0 ]]; then words+=("$piece"); else words[-1]+=$piece; fi
        line=${line#*"$piece"}
    done
    kept=${words[-1]%"$2"}
    COMPREPLY=()
    while IFS=$'\t' read -r piece _; do
        COMPREPLY+=("$(printf %q "${piece#"$kept"}")")
    done < <("${1/#\~/$HOME}" __complete "${words[@]:1}" 2>/dev/null)
}
complete -o default -F FUNCTION TOOL
)sh";

// Works from a folder of fpath, where loading it calls it, and when it is read with source.
constexpr char ZSH[] = R"sh(#compdef TOOL
_TOOL() {
    local -a found
    found=("${(@f)$("${words[1]/#\~/$HOME}" __complete "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null)}")
    found=("${(@)found//:/\\:}")
    found=("${(@)found/$'\t'/:}")
    if [[ -n $found ]]; then _describe TOOL found; else _files; fi
}
if [[ $funcstack[1] == _TOOL ]]; then _TOOL "$@"; else compdef _TOOL TOOL; fi
)sh";

std::string Replaced(std::string text, const std::string& mark, const std::string& by) {
    for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + by.size())) {
        text.replace(at, mark.size(), by);
    }
    return text;
}

const CLI::Option* FindOption(const CLI::App& command, const std::string& name) {
    const CLI::Option* option = command.get_option_no_throw(name);
    const CLI::App* group = command.get_parent();
    return option != nullptr || group == nullptr ? option : FindOption(*group, name);
}

/** The command of this name in the group; null when there is none. */
const CLI::App* FindCommand(const CLI::App& group, const std::string& name) {
    const auto found =
        group.get_subcommands([&name](const CLI::App* app) { return app->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

/** The command that the words lead to; null where the last one is an option that awaits its value. */
const CLI::App* Follow(const CLI::App* command, const std::vector<std::string>& words) {
    for (auto word = words.begin(); word != words.end(); ++word) {
        const CLI::App* next = FindCommand(*command, *word);
        const CLI::Option* option = StartsWith(*word, "-") ? FindOption(*command, *word) : nullptr;
        if (next != nullptr) {
            command = next;
        } else if (option != nullptr && option->get_items_expected() > 0 && ++word == words.end()) {
            return nullptr;
        }
    }
    return command;
}

/** What a word that is being typed may become, and what is shown beside it. */
struct Candidate {
    std::string word;
    std::string meaning;
};
using Candidates = std::vector<Candidate>;

void AddOptions(const CLI::App& command, Candidates& candidates) {
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            candidates.push_back({"--" + name, option->get_description()});
        }
    }
    if (command.get_parent() != nullptr) {
        AddOptions(*command.get_parent(), candidates);
    }
}

Candidates WhatMayFollow(const CLI::App& command, bool isOption) {
    Candidates candidates;
    if (isOption) {
        AddOptions(command, candidates);
        return candidates;
    }
    for (const CLI::App* next : command.get_subcommands(std::function<bool(const CLI::App*)>())) {
        candidates.push_back({next->get_name(), next->get_description()});
    }
    return candidates;
}

}  // namespace

std::string Complete(const CLI::App& app, std::vector<std::string> words) {
    const std::string typed = words.empty() ? std::string() : words.back();
    words.resize(std::max<std::size_t>(words.size(), 1) - 1);
    const CLI::App* command = Follow(&app, words);
    std::string lines;
    for (const auto& [word, meaning] :
         command == nullptr ? Candidates() : WhatMayFollow(*command, StartsWith(typed, "-"))) {
        if (StartsWith(word, typed)) {
            lines += word + (meaning.empty() ? "" : "\t" + Replaced(meaning, "\n", " ")) + "\n";
        }
    }
    return lines;
}

std::string CompletionScript(const std::string& tool, const std::string& shell) {
    std::string function = "_" + tool;
    std::replace(function.begin(), function.end(), '-', '_');
    return Replaced(Replaced(shell == "zsh" ? ZSH : BASH, "FUNCTION", function), "TOOL", tool);
}

}  // namespace Cli
