#include "Cli/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <set>

#include "Cli/Text.h"

namespace Cli {

namespace {

// TOOL stands for the tool's name; it is asked as it was typed.
constexpr char BASH[] = R"sh(_TOOL() {
    local word
    COMPREPLY=()
    while IFS=$'\t' read -r word _; do
        COMPREPLY+=("$word")
    done < <("${1/#\~/$HOME}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -o default -F _TOOL TOOL
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

bool AwaitsValue(const CLI::App& app, const std::string& word) {
    const CLI::Option* option = StartsWith(word, "-") ? app.get_option_no_throw(word) : nullptr;
    return option != nullptr && option->get_items_expected() > 0;
}

std::vector<const CLI::App*> Below(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* /*any*/) { return true; });
}

}  // namespace

std::string Complete(const CLI::App& tool, std::vector<std::string> words) {
    const std::string typed = words.empty() ? "" : words.back();
    words.resize(std::max<std::size_t>(words.size(), 1) - 1);
    const CLI::App* command = &tool;
    bool isValue = false;
    for (const std::string& word : words) {
        const CLI::App& last = *command;
        for (const CLI::App* next : Below(last)) {
            command = !isValue && next->check_name(word) ? next : command;
        }
        isValue = !isValue && (AwaitsValue(last, word) || AwaitsValue(tool, word));
    }
    if (isValue) {
        return "";
    }
    std::set<std::string> lines;
    const auto offer = [&lines, &typed](const std::string& name, const std::string& meaning) {
        if (StartsWith(name, typed)) {
            lines.insert(name + "\t" + Replaced(meaning, "\n", " ") + "\n");
        }
    };
    for (const CLI::App* next : Below(*command)) {
        offer(next->get_name(), next->get_description());
    }
    for (const CLI::App* app : {command, &tool}) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                if (!typed.empty()) {
                    offer("--" + name, option->get_description());
                }
            }
        }
    }
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

std::string CompletionScript(const std::string& tool, const std::string& shell) {
    return Replaced(shell == "zsh" ? ZSH : BASH, "TOOL", tool);
}

}  // namespace Cli
