#include "Cli/Completion.h"

#include <algorithm>
#include <exception>

#include "Cli/Help.h"
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

/** Binds what the words say to the commands' variables. @return whether a value is missing after the last
 * word */
bool Bind(CLI::App& app, std::vector<std::string> words) {
    std::reverse(words.begin(), words.end());
    try {
        app.parse(std::move(words));
    } catch (const CLI::ArgumentMismatch&) {
        return true;
    } catch (const CLI::ParseError&) {
        // The line is not complete yet; what could be bound is.
    }
    return false;
}

const CLI::Option* FindOption(const CLI::App& command, const std::string& name) {
    for (const CLI::Option* option : Options(command)) {
        if (option->check_name(name)) {
            return option;
        }
    }
    return nullptr;
}

/** The operand that the next word is; null when there is none. */
const CLI::Option* NextOperand(const CLI::App& command) {
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_positional() && (option->count() == 0 || option->get_allow_extra_args())) {
            return option;
        }
    }
    return nullptr;
}

Candidates OptionNames(const CLI::App& command) {
    Candidates candidates;
    for (const CLI::Option* option : Options(command)) {
        for (const std::string& name : Names(*option)) {
            candidates.push_back({name, option->get_description()});
        }
    }
    return candidates;
}

Candidates Values(const ValueSources& values, const CLI::Option* option) {
    const auto source = values.find(option);
    try {
        return source == values.end() ? Candidates() : source->second();
    } catch (const std::exception&) {
        // A folder that is missing or damaged has nothing to offer; the command itself will say so.
        return {};
    }
}

}  // namespace

Candidates CommandNames(const CLI::App& group) {
    Candidates candidates;
    for (const CLI::App* command : Subcommands(group)) {
        candidates.push_back({command->get_name(), command->get_description()});
    }
    return candidates;
}

std::string Complete(CLI::App& app, const ValueSources& values, std::vector<std::string> words) {
    // Called when all words are understood, before the command: which must not run.
    app.parse_complete_callback([] { throw CLI::Success(); });
    const std::string typed = words.empty() ? std::string() : words.back();
    words.resize(std::max<std::size_t>(words.size(), 1) - 1);
    Candidates candidates;
    const auto equals = typed.rfind("--", 0) == 0 ? typed.find('=') : std::string::npos;
    if (Bind(app, words)) {
        const CLI::Option* option = FindOption(Selected(app), words.back());
        words.pop_back();
        Bind(app, words);
        candidates = Values(values, option);
    } else if (equals != std::string::npos) {
        candidates = Values(values, FindOption(Selected(app), typed.substr(0, equals)));
        for (Candidate& candidate : candidates) {
            candidate.word.insert(0, typed, 0, equals + 1);
        }
    } else if (typed.rfind('-', 0) == 0) {
        candidates = OptionNames(Selected(app));
    } else {
        const CLI::App& command = Selected(app);
        candidates =
            Subcommands(command).empty() ? Values(values, NextOperand(command)) : CommandNames(command);
    }
    std::string lines;
    for (const auto& [word, meaning] : candidates) {
        // What has to be escaped cannot be typed.
        if (word.rfind(typed, 0) == 0 && Escape(word) == word) {
            lines += word + (meaning.empty() ? "" : "\t" + Escape(meaning)) + "\n";
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
