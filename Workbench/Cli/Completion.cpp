#include "Cli/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "Cli/Text.h"

namespace Cli {

namespace {

// FUNCTION and TOOL stand for the tool's name; it is asked as it was typed.
constexpr char BASH[] = R"sh(FUNCTION() {
    local word
    COMPREPLY=()
    while IFS=$'\t' read -r word _; do
        COMPREPLY+=("$word")
    done < <("${1/#\~/$HOME}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
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

const CLI::Option* FindOption(const CLI::App* command, const std::string& name) {
    const CLI::Option* option = nullptr;
    for (; option == nullptr && command != nullptr; command = command->get_parent()) {
        option = command->get_option_no_throw(name);
    }
    return option;
}

/** The command that the words lead to; null where the last one is an option that awaits its value. */
const CLI::App* Follow(const CLI::App* command, const std::vector<std::string>& words) {
    for (auto word = words.begin(); word != words.end(); ++word) {
        const auto isCalled = [word](const CLI::App* app) { return app->get_name() == *word; };
        const auto next = command->get_subcommands(isCalled);
        const CLI::Option* option = StartsWith(*word, "-") ? FindOption(command, *word) : nullptr;
        command = next.empty() ? command : next.front();
        if (option != nullptr && option->get_items_expected() > 0 && ++word == words.end()) {
            return nullptr;
        }
    }
    return command;
}

}  // namespace

std::string Complete(const CLI::App& app, std::vector<std::string> words) {
    const std::string typed = words.empty() ? "" : words.back();
    words.resize(std::max<std::size_t>(words.size(), 1) - 1);
    std::string lines;
    const auto offer = [&](const std::string& word, const std::string& meaning) {
        if (StartsWith(word, typed)) {
            lines += word + "\t" + Replaced(meaning, "\n", " ") + "\n";
        }
    };
    const CLI::App* const command = Follow(&app, words);
    const bool isOption = StartsWith(typed, "-");
    for (const CLI::App* at = command; at != nullptr && isOption; at = at->get_parent()) {
        for (const CLI::Option* option : at->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                offer("--" + name, option->get_description());
            }
        }
    }
    if (command != nullptr && !isOption) {
        for (const CLI::App* next : command->get_subcommands(std::function<bool(const CLI::App*)>())) {
            offer(next->get_name(), next->get_description());
        }
    }
    return lines;
}

std::string CompletionScript(const std::string& tool, const std::string& shell) {
    const std::string function = "_" + Replaced(tool, "-", "_");
    return Replaced(Replaced(shell == "zsh" ? ZSH : BASH, "FUNCTION", function), "TOOL", tool);
}

}  // namespace Cli
