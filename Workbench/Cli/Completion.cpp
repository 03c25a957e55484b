#include "Cli/Completion.h"

#include <algorithm>
#include <map>

#include "Cli/Text.h"

namespace Cli {

namespace {

std::vector<std::string> OptionNames(const std::vector<Option>& options) {
    std::vector<std::string> names;
    names.reserve(options.size());
    for (const Option& option : options) {
        names.push_back("--" + option.name);
    }
    return names;
}

/** Words that may follow each beginning of a command: the next word of its name, or its options. */
std::map<std::string, std::vector<std::string>> Continuations(const Tool& tool) {
    std::map<std::string, std::vector<std::string>> continuations;
    const auto add = [&continuations](const std::string& after, const std::string& word) {
        auto& words = continuations[after];
        if (std::find(words.begin(), words.end(), word) == words.end()) {
            words.push_back(word);
        }
    };
    for (const Command& command : tool.commands) {
        std::string begun;
        for (std::size_t at = 0; at <= command.name.size();) {
            const std::size_t end = std::min(command.name.find(' ', at), command.name.size());
            add(begun, command.name.substr(at, end - at));
            begun = command.name.substr(0, end);
            at = end + 1;
        }
        for (const std::string& choice : command.choices) {
            add(command.name, choice);
        }
        for (const auto& options : {command.options, tool.options, {Option{"help", "", ""}}}) {
            for (const std::string& name : OptionNames(options)) {
                add(command.name, name);
            }
        }
    }
    for (const std::string& name : OptionNames(tool.options)) {
        add("", name);
    }
    add("", "--help");
    add("", "--version");
    return continuations;
}

/** Options whose next word is their value, in the form of a shell pattern. */
std::string ValuePattern(const Tool& tool) {
    std::vector<std::string> names;
    const auto collect = [&names](const std::vector<Option>& options) {
        for (const Option& option : options) {
            const std::string name = "--" + option.name;
            if (!option.valueName.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
    };
    collect(tool.options);
    for (const Command& command : tool.commands) {
        collect(command.options);
    }
    return Join(names, "|");
}

/**
 * The body that both shells share: from the words in $before, those before the cursor, it sets $begun to the
 * command that they name and $choices to what may come next; nothing where a file name or a value may stand.
 */
std::string SharedBody(const Tool& tool) {
    const std::string valued = ValuePattern(tool);
    std::string body =
        "    local word begun= choices= value=\n    for word in \"${before[@]}\"; do\n"
        "        if [ -n \"$value\" ]; then value=; continue; fi\n        case \"$word\" in\n";
    if (!valued.empty()) {
        body += "            " + valued + ") value=1; continue ;;\n";
    }
    body += "            -*) continue ;;\n        esac\n        case \"${begun:+$begun }$word\" in\n";
    const auto continuations = Continuations(tool);
    std::string choices;
    for (const auto& [begun, words] : continuations) {
        const std::string pattern = "'" + begun + "'";
        if (!begun.empty()) {
            body.append("            ").append(pattern).append(") begun=").append(pattern).append(" ;;\n");
        }
        choices.append("        ")
            .append(pattern)
            .append(") choices='")
            .append(Join(words, " "))
            .append("' ;;\n");
    }
    return body + "        esac\n    done\n    [ -n \"$value\" ] || case \"$begun\" in\n" + choices +
           "    esac\n";
}

}  // namespace

std::string CompletionScript(const Tool& tool, const std::string& shell) {
    std::string function = "_" + tool.name;
    std::replace(function.begin(), function.end(), '-', '_');
    if (shell == "bash") {
        return function + "() {\n    local before=(\"${COMP_WORDS[@]:1:COMP_CWORD-1}\")\n" +
               SharedBody(tool) +
               "    COMPREPLY=($(compgen -W \"$choices\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n}\n"
               "complete -o default -F " +
               function + " " + tool.name + "\n";
    }
    if (shell == "zsh") {
        return "#compdef " + tool.name + "\n" + function +
               "() {\n    local -a before\n    before=(\"${(@)words[2,CURRENT-1]}\")\n" + SharedBody(tool) +
               "    compadd -- ${=choices}\n    _files\n}\n"
               "if [ \"$funcstack[1]\" = \"" +
               function + "\" ]; then " + function + " \"$@\"; else compdef " + function + " " + tool.name +
               "; fi\n";
    }
    throw UsageError("bash or zsh, not " + shell);
}

}  // namespace Cli
