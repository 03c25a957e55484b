#include <iostream>
#include <map>

#include "Cloud/Commands/Command.h"
#include "Cloud/Util/Errors.h"

namespace LocalCloud {

namespace {

// The options come from the commands' own help, so that there is one place that knows them.
constexpr char FUNCTION_START[] = R"(_infosync_cloud() {
    local current=${COMP_WORDS[COMP_CWORD]} words
    COMPREPLY=()
    if [[ $current == -* ]]; then
        local command=("${COMP_WORDS[0]}" "${COMP_WORDS[1]}")
        [[ $COMP_CWORD -gt 2 && ${COMP_WORDS[2]} != -* ]] && command+=("${COMP_WORDS[2]}")
        words=$("${command[@]}" --help 2>/dev/null | grep -oE '^  (-h, )?--[a-z-]+' | grep -o -- '--.*')
    else
        case $COMP_CWORD:${COMP_WORDS[1]} in
)";
constexpr char FUNCTION_END[] = R"(        esac
    fi
    COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -o default -F _infosync_cloud infosync-cloud
)";

std::string Script() {
    std::string firstWords;
    std::map<std::string, std::string> secondWords;
    for (const auto& command : AllCommands()) {
        const auto blank = command.text.name.find(' ');
        const std::string first = command.text.name.substr(0, blank);
        if (blank == std::string::npos || secondWords.count(first) == 0) {
            firstWords += " " + first;
        }
        if (blank != std::string::npos) {
            secondWords[first] += command.text.name.substr(blank);
        }
    }
    secondWords["lifetime"] = " access refresh activation app";
    secondWords["completion"] = " bash zsh";
    std::string script = FUNCTION_START;
    script += "            1:*) words='" + firstWords.substr(1) + "' ;;\n";
    for (const auto& [first, second] : secondWords) {
        script += "            2:" + first + ") words='" + second.substr(1) + "' ;;\n";
    }
    return script + FUNCTION_END;
}

void Completion(CommandLine& line) {
    const auto words = line.Parse();
    if (words[0] != "bash" && words[0] != "zsh") {
        throw UsageError("there is completion for bash and zsh only");
    }
    if (words[0] == "zsh") {
        std::cout << "autoload -U +X compinit bashcompinit && compinit && bashcompinit\n";
    }
    std::cout << Script();
}

}  // namespace

Command CompletionCommand() {
    return {{"completion", "SHELL", "Print a script that completes this program's words in bash or zsh.",
             "Example:\n  source <(infosync-cloud completion bash)"},
            Completion};
}

}  // namespace LocalCloud
