#include <glib.h>

#include <algorithm>
#include <clocale>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "Cloud/Commands/Command.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Terminal.h"

namespace LocalCloud {

namespace {

enum ExitStatus { FINE = 0, FAILED = 1, WRONG_USAGE = 2 };

constexpr std::size_t SUMMARY_COLUMN = 34;

/** One line for each command whose name begins so. @return whether there is any */
bool PrintCommands(std::ostream& output, const std::string& prefix) {
    bool any = false;
    for (const auto& command : AllCommands()) {
        if (command.text.name.compare(0, prefix.size(), prefix) == 0) {
            any = true;
            std::string line = "  " + command.text.name + " " + command.text.words;
            line.append(line.size() < SUMMARY_COLUMN ? SUMMARY_COLUMN - line.size() : 1, ' ');
            output << line << command.text.summary << "\n";
        }
    }
    return any;
}

void PrintOverview(std::ostream& output) {
    output << "Usage: infosync-cloud COMMAND [WORDS] [OPTIONS]\n\n"
           << "The authorisation server and the cloud service of the device synchronisation, on this "
              "machine.\n\n";
    PrintCommands(output, "");
    output << "\nEvery command knows --help and --dir. Begin with:\n"
           << "  infosync-cloud init\n"
           << "  infosync-cloud user add ann@example.com\n"
           << "  infosync-cloud device add ann@example.com 'Kitchen speaker' AA:BB:CC:00:11:22\n"
           << "  infosync-cloud serve\n";
}

bool AsksForHelp(const std::string& word) {
    return word == "--help" || word == "-h" || word == "help";
}

/** Finds the command that the words begin with and takes its words away. */
const Command* TakeCommand(std::vector<std::string>& words) {
    for (const std::size_t count : {std::size_t{2}, std::size_t{1}}) {
        if (words.size() < count) {
            continue;
        }
        const std::string name = count == 2 ? words[0] + " " + words[1] : words[0];
        for (const auto& command : AllCommands()) {
            if (command.text.name == name) {
                words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(count));
                return &command;
            }
        }
    }
    return nullptr;
}

/** Takes a "--dir DIR" that stands before the command. */
std::vector<std::string> TakeFolderOption(std::vector<std::string>& words) {
    const bool joined = !words.empty() && words[0].rfind("--dir=", 0) == 0;
    const bool apart = words.size() > 1 && words[0] == "--dir";
    const auto end = words.begin() + (joined ? 1 : apart ? 2 : 0);
    std::vector<std::string> option(words.begin(), end);
    words.erase(words.begin(), end);
    return option;
}

int Run(std::vector<std::string> words) {
    const auto folderOption = TakeFolderOption(words);
    if (words.empty()) {
        PrintOverview(std::cerr);
        return WRONG_USAGE;
    }
    if (AsksForHelp(words[0])) {
        PrintOverview(std::cout);
        return FINE;
    }
    const std::string first = words[0];
    const std::string second = words.size() > 1 ? words[1] : "";
    if (AsksForHelp(second) && PrintCommands(std::cout, first + " ")) {
        return FINE;
    }
    const Command* command = TakeCommand(words);
    if (command == nullptr) {
        if (second.empty() && PrintCommands(std::cerr, first + " ")) {
            return WRONG_USAGE;
        }
        throw UsageError("there is no command \"" + first + (second.empty() ? "" : " " + second) +
                         "\"; see: infosync-cloud --help");
    }
    words.insert(words.begin(), folderOption.begin(), folderOption.end());
    CommandLine line(command->text, std::move(words));
    command->run(line);
    std::cout.flush();
    return std::cout ? FINE : FAILED;
}

int Report(const std::exception& error, ExitStatus status) {
    const std::string name = "infosync-cloud:";
    const bool colours = Terminal::HasColours(Terminal::Output::Error);
    std::cerr << (colours ? Terminal::Paint(name, Terminal::Colour::Red) : name) << " "
              << Terminal::Printable(error.what()) << "\n";
    return status;
}

}  // namespace

}  // namespace LocalCloud

int main(int argc, char* argv[]) {
    static_cast<void>(std::setlocale(LC_ALL, ""));
    try {
        return LocalCloud::Run({argv + 1, argv + argc});
    } catch (const LocalCloud::UsageError& error) {
        return LocalCloud::Report(error, LocalCloud::WRONG_USAGE);
    } catch (const std::exception& error) {
        return LocalCloud::Report(error, LocalCloud::FAILED);
    }
}
