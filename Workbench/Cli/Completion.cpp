#include "Cli/Completion.h"

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

/** The one of this name; null when there is none. */
template <typename Word>
const Word* Find(const std::vector<Word>& words, const std::string& name) {
    const auto found =
        std::find_if(words.begin(), words.end(), [&name](const Word& word) { return word.name == name; });
    return found == words.end() ? nullptr : &*found;
}

/** The command that the words lead to; null where the last one is an option that awaits its value. */
const CommandWord* Follow(const CommandWord* command, const std::vector<std::string>& words) {
    for (auto word = words.begin(); word != words.end(); ++word) {
        const OptionWord* option = Find(command->options, *word);
        if (option != nullptr && option->takesValue && ++word == words.end()) {
            return nullptr;
        }
        const CommandWord* next = option == nullptr ? Find(command->commands, *word) : nullptr;
        command = next != nullptr ? next : command;
    }
    return command;
}

/** A line for each of those that begin as what was typed. */
template <typename Word>
std::string Offer(const std::vector<Word>& words, const std::string& typed) {
    std::string lines;
    for (const Word& word : words) {
        lines +=
            StartsWith(word.name, typed) ? word.name + "\t" + Replaced(word.meaning, "\n", " ") + "\n" : "";
    }
    return lines;
}

}  // namespace

std::string Complete(const CommandWord& tool, std::vector<std::string> words) {
    const std::string typed = words.empty() ? "" : words.back();
    words.resize(std::max<std::size_t>(words.size(), 1) - 1);
    const CommandWord* command = Follow(&tool, words);
    return command == nullptr       ? ""
           : StartsWith(typed, "-") ? Offer(command->options, typed)
                                    : Offer(command->commands, typed);
}

std::string CompletionScript(const std::string& tool, const std::string& shell) {
    const std::string function = "_" + Replaced(tool, "-", "_");
    return Replaced(Replaced(shell == "zsh" ? ZSH : BASH, "FUNCTION", function), "TOOL", tool);
}

}  // namespace Cli
