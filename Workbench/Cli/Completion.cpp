#include <CLI/CLI.hpp>
#include <iostream>
#include <numeric>
#include <set>

#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Cli/Tool.h"

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

bool AwaitsValue(const CLI::App& app, const std::string& word) {
    const CLI::Option* option = StartsWith(word, "-") ? app.get_option_no_throw(word) : nullptr;
    return option != nullptr && option->get_items_expected() > 0;
}

std::vector<const CLI::App*> Below(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* /*any*/) { return true; });
}

}  // namespace

std::string Tool::Complete(std::vector<std::string> words) const {
    static const Pattern lineEnd("(?<v>\n)");
    const std::string typed = words.empty() ? "" : words.back();
    words.resize(words.empty() ? 0 : words.size() - 1);
    const CLI::App* command = m_app.get();
    bool isValue = false;
    for (const std::string& word : words) {
        const CLI::App& last = *command;
        for (const CLI::App* next : Below(last)) {
            command = !isValue && next->check_name(word) ? next : command;
        }
        isValue = !isValue && (AwaitsValue(last, word) || AwaitsValue(*m_app, word));
    }
    std::set<std::string> lines;
    const auto offer = [&](const std::string& name, const std::string& meaning) {
        if (!isValue && StartsWith(name, typed)) {
            lines.insert(name + "\t" + lineEnd.Replace(meaning, " ") + "\n");
        }
    };
    for (const CLI::App* next : Below(*command)) {
        offer(next->get_name(), next->get_description());
    }
    const std::set<const CLI::App*> takeOptions = {command, m_app.get()};
    for (const CLI::App* app : typed.empty() ? std::set<const CLI::App*>() : takeOptions) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                offer("--" + name, option->get_description());
            }
        }
    }
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

void Tool::AddCompletion() {
    const std::string name = m_app->get_name();
    const auto shell = std::make_shared<std::string>();
    Add("completion", "Write the completion script for a shell",
        "Examples:\n  source <(" + name + " completion bash)\n  " + name + " completion zsh > ~/.zfunc/_" +
            name + "   # a folder of fpath",
        [name, shell] { std::cout << Pattern("(?<v>TOOL)").Replace(*shell == "zsh" ? ZSH : BASH, name); })
        .Operand("SHELL", *shell, "bash or zsh")
        .OneOf({"bash", "zsh"})
        .Required();
}

}  // namespace Cli
