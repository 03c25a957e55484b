#include "Cli/Tool.h"

#include <unistd.h>

#include <iostream>
#include <utility>

#include "Cli/Completion.h"
#include "Cli/Help.h"
#include "Cli/OptionParser.h"
#include "Cli/Text.h"

namespace Cli {

namespace {

const Option HELP{"help", "", "show this help"};
const Option VERSION{"version", "", "show the version"};

std::vector<Option> operator+(std::vector<Option> left, const std::vector<Option>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Style OutputStyle() {
    return Style(STDOUT_FILENO);
}

/** The command whose name the words begin with. The number of words in its name is in nameLength. */
const Command* FindCommand(const Tool& tool, const std::vector<std::string>& words, std::size_t& nameLength) {
    std::string name;
    for (nameLength = 1; nameLength <= words.size(); ++nameLength) {
        name += (name.empty() ? "" : " ") + words[nameLength - 1];
        for (const Command& command : tool.commands) {
            if (command.name == name) {
                return &command;
            }
        }
    }
    return nullptr;
}

bool IsGroup(const Tool& tool, const std::string& word) {
    for (const Command& command : tool.commands) {
        if (command.name.rfind(word + " ", 0) == 0) {
            return true;
        }
    }
    return false;
}

/** Checks the number of operands against the command's pattern. @throws UsageError */
void CheckOperands(const Command& command, const std::vector<std::string>& operands) {
    std::size_t least = 0;
    bool open = false;
    for (const std::string& operand : command.operands) {
        least += operand.front() == '[' ? 0U : 1U;
        open = open || operand.find("...") != std::string::npos;
    }
    if (operands.size() < least) {
        throw UsageError(command.operands[operands.size()] + " is missing");
    }
    if (!open && operands.size() > command.operands.size()) {
        throw UsageError("one operand too many: " + operands[command.operands.size()]);
    }
}

Command HelpCommand(const Tool& tool) {
    Command command;
    command.name = "help";
    command.operands = {"[COMMAND...]"};
    command.summary = "Show what the tool or a command does";
    command.run = [&tool](const Arguments& arguments) {
        const std::vector<std::string>& words = arguments.Operands();
        std::size_t length = 0;
        if (words.empty()) {
            Print(ToolHelp(tool, OutputStyle()));
        } else if (const Command* found = FindCommand(tool, words, length)) {
            Print(CommandHelp(tool, *found, OutputStyle()));
        } else if (IsGroup(tool, words.front())) {
            Print(GroupHelp(tool, words.front(), OutputStyle()));
        } else {
            throw UsageError("there is no command " + Join(words, " "));
        }
        return EXIT_FINE;
    };
    return command;
}

Command CompletionCommand(const Tool& tool) {
    Command command;
    command.name = "completion";
    command.operands = {"bash|zsh"};
    command.summary = "Write the completion script for a shell";
    command.examples = {"source <(" + tool.name + " completion bash)",
                        tool.name + " completion zsh > ~/.zfunc/_" + tool.name};
    command.choices = {"bash", "zsh"};
    command.run = [&tool](const Arguments& arguments) {
        Print(CompletionScript(tool, arguments.Operand(0)));
        return EXIT_FINE;
    };
    return command;
}

int RunCommand(const Tool& tool, const Command& command, const std::vector<std::string>& words,
               Arguments& arguments) {
    arguments.SetOperands(ParseOptions(command.options + tool.options + std::vector<Option>{HELP}, words,
                                       /*onlyLeading=*/false, arguments));
    if (arguments.Has(HELP.name)) {
        Print(CommandHelp(tool, command, OutputStyle()));
        return EXIT_FINE;
    }
    CheckOperands(command, arguments.Operands());
    return command.run(arguments);
}

/** @param tried is what the user tried to call, as far as that is known */
int Dispatch(const Tool& tool, const std::vector<std::string>& words, std::string& tried) {
    Arguments arguments;
    const std::vector<std::string> left = ParseOptions(tool.options + std::vector<Option>{HELP, VERSION},
                                                       words, /*onlyLeading=*/true, arguments);
    if (arguments.Has(VERSION.name)) {
        Print(tool.name + " " + tool.version + "\n");
        return EXIT_FINE;
    }
    if (arguments.Has(HELP.name)) {
        Print(ToolHelp(tool, OutputStyle()));
        return EXIT_FINE;
    }
    if (left.empty()) {
        throw UsageError("a command is missing");
    }
    std::size_t nameLength = 0;
    if (const Command* command = FindCommand(tool, left, nameLength)) {
        tried += " " + command->name;
        return RunCommand(tool, *command,
                          {left.begin() + static_cast<std::ptrdiff_t>(nameLength), left.end()}, arguments);
    }
    if (!IsGroup(tool, left.front())) {
        throw UsageError("there is no command " + left.front());
    }
    tried += " " + left.front();
    if (left.size() == 2 && left.back() == "--" + HELP.name) {
        Print(GroupHelp(tool, left.front(), OutputStyle()));
        return EXIT_FINE;
    }
    throw UsageError(left.size() == 1 ? "a command is missing"
                                      : "there is no command " + left[0] + " " + left[1]);
}

void Report(const Tool& tool, const std::string& message) {
    const Style style(STDERR_FILENO);
    // Our own messages have lines; what they quote is escaped where it is put in.
    std::cerr << style(Colour::RED, tool.name + ":") << " " << message << "\n";
}

}  // namespace

int Run(Tool tool, int argc, char** argv) {
    tool.commands.push_back(HelpCommand(tool));
    tool.commands.push_back(CompletionCommand(tool));
    std::string tried = tool.name;
    int status = EXIT_FAILED;
    try {
        status = Dispatch(tool, {argv + 1, argv + argc}, tried);
    } catch (const UsageError& error) {
        Report(tool, Escape(error.what()) + "\nTry: " + Escape(tried) + " --help");
        return EXIT_USAGE;
    } catch (const std::exception& error) {
        Report(tool, error.what());
        return EXIT_FAILED;
    }
    if (!std::cout.flush()) {
        Report(tool, "the output could not be written");
        return EXIT_FAILED;
    }
    return status;
}

void Print(const std::string& text) {
    std::cout << text;
}

}  // namespace Cli
