#include "Cli/Tool.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <utility>

#include "Cli/Help.h"
#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Cli/Values.h"

namespace Cli {

namespace {

/** What CLI11 wants: the last word first. @throws UsageError for "--option=", which it would give the next
 * word */
std::vector<std::string> Reversed(std::vector<std::string> words) {
    for (const std::string& word : words) {
        if (word == "--") {
            break;
        }
        if (word.rfind("--", 0) == 0 && word.find('=') == word.size() - 1) {
            throw UsageError(word.substr(0, word.size() - 1) + ": it is empty");
        }
    }
    std::reverse(words.begin(), words.end());
    return words;
}

/** The first word that CLI11 could make nothing of; empty when there is none. */
std::string FirstLeftOver(const CLI::App& app) {
    for (const std::string& word : app.remaining(/*recurse=*/true)) {
        if (word != "--") {
            return word;
        }
    }
    return {};
}

std::string UnknownWord(const CLI::App& command, const std::string& word) {
    std::vector<std::string> known;
    if (word.rfind('-', 0) == 0) {
        for (const CLI::Option* option : Options(command)) {
            const std::vector<std::string> names = Names(*option);
            known.insert(known.end(), names.begin(), names.end());
        }
        const std::string name = word.substr(0, word.find('='));
        return "there is no option " + name + Nearest(name, known);
    }
    for (const CLI::App* subcommand : Subcommands(command)) {
        known.push_back(subcommand->get_name());
    }
    return known.empty() ? "one word too many: " + word
                         : "there is no command " + word + Nearest(word, known);
}

std::string Complaint(const CLI::App& app, const CLI::ParseError& error, const std::string& firstWord) {
    const CLI::App& command = Selected(app);
    const std::string leftOver = FirstLeftOver(app);
    const std::string reason = error.what();
    if (!leftOver.empty()) {
        return UnknownWord(firstWord == leftOver ? app : command, leftOver);
    }
    if (error.get_name() == "ArgumentMismatch") {
        return reason.substr(0, reason.find(':')) + ": a value is missing";
    }
    const bool wantsCommand = error.get_name() == "RequiredError" && !Subcommands(command).empty();
    return wantsCommand ? "a command is missing" : reason;
}

}  // namespace

Tool::Tool(const std::string& name, const std::string& summary, const std::string& overview)
    : m_app(summary, name) {
    m_app.require_subcommand(1);
    m_app.fallthrough();
    m_app.footer(overview);
    m_app.set_help_flag("-h,--help", "show this help");
    m_app.set_version_flag("--version", name + " " + INFOSYNC_VERSION, "show the version");
    m_app.option_defaults()->take_last();
    m_app.formatter_fn([](const CLI::App* command, const std::string&, CLI::AppFormatMode) {
        return HelpText(*command, Style(STDOUT_FILENO));
    });
}

CLI::App& Tool::Command(const std::string& name, const std::string& summary, const std::string& details) {
    CLI::App* parent = &m_app;
    const auto blank = name.find(' ');
    if (blank != std::string::npos) {
        const std::string group = name.substr(0, blank);
        const auto groups =
            m_app.get_subcommands([&group](const CLI::App* app) { return app->get_name() == group; });
        parent =
            groups.empty() ? m_app.add_subcommand(group)->require_subcommand(1)->footer("") : groups.front();
    }
    CLI::App* command = parent->add_subcommand(name.substr(blank + 1), summary);
    command->footer(details);
    return *command;
}

CLI::App& Tool::ReadingCommand(const std::string& name, const std::string& summary,
                               const std::string& details, std::function<void(bool json)> run) {
    CLI::App& command = Command(name, summary, details);
    const CLI::Option* json = command.add_flag("--json", "write JSON for scripts");
    command.callback([json, run = std::move(run)] { run(json->count() > 0); });
    return command;
}

void Tool::AddFolder(const char* variable, const char* defaultName, const std::string& help) {
    const auto choose = [variable](const std::string& folder) { g_setenv(variable, folder.c_str(), TRUE); };
    m_app.add_option_function<std::string>("--dir", choose, help)->option_text("DIR")->check(NotEmpty());
    m_beforeCommand = [variable, defaultName, choose] { choose(StateFolder(variable, defaultName)); };
}

CLI::Option* Tool::Offer(CLI::Option* option, std::function<Candidates()> values) {
    m_values[option] = std::move(values);
    return option;
}

int Tool::Run(int argc, char** argv) {
    AddHelp();
    AddCompletion();
    const std::vector<std::string> words(argv + 1, argv + argc);
    int status = EXIT_FINE;
    try {
        if (!words.empty() && words.front() == COMPLETE) {
            std::cout << Complete(m_app, m_values, {words.begin() + 1, words.end()});
        } else {
            m_app.parse_complete_callback(m_beforeCommand);
            m_app.parse(Reversed(words));
        }
    } catch (const CLI::CallForHelp&) {
        const CLI::App& command = Selected(m_app);
        const std::string leftOver = FirstLeftOver(m_app);
        if (!leftOver.empty() && !Subcommands(command).empty()) {
            return Refuse(UnknownWord(command, leftOver));
        }
        std::cout << m_app.help();
    } catch (const CLI::CallForVersion& version) {
        std::cout << version.what() << "\n";
    } catch (const CLI::RuntimeError& toldAlready) {
        status = toldAlready.get_exit_code();
    } catch (const CLI::ParseError& error) {
        return Refuse(Complaint(m_app, error, words.empty() ? "" : words.front()));
    } catch (const UsageError& error) {
        return Refuse(error.what());
    } catch (const std::exception& error) {
        return Report(Reason(error), EXIT_FAILED);
    }
    return std::cout.flush() ? status : Report("the output could not be written", EXIT_FAILED);
}

void Tool::AddHelp() {
    const auto words = std::make_shared<std::vector<std::string>>();
    // The command that the words name so far, and the first word that names none.
    const auto find = [this, words] {
        const CLI::App* found = &m_app;
        auto word = words->cbegin();
        for (; word != words->cend(); ++word) {
            const auto below = Subcommands(*found);
            const auto next = std::find_if(below.begin(), below.end(),
                                           [&word](const CLI::App* app) { return app->check_name(*word); });
            if (next == below.end()) {
                break;
            }
            found = *next;
        }
        return std::make_pair(found, word == words->cend() ? std::string() : *word);
    };
    CLI::App& command = Command("help", "Show what the tool or a command does");
    Offer(command.add_option("COMMAND", *words), [find] { return CommandNames(*find().first); });
    command.callback([find] {
        const auto [found, unknown] = find();
        if (!unknown.empty()) {
            throw UsageError(UnknownWord(*found, unknown));
        }
        std::cout << HelpText(*found, Style(STDOUT_FILENO));
    });
}

void Tool::AddCompletion() {
    const std::string name = m_app.get_name();
    const auto shell = std::make_shared<std::string>();
    CLI::App& command = Command("completion", "Write the completion script for a shell",
                                "Examples:\n  source <(" + name + " completion bash)\n  " + name +
                                    " completion zsh > ~/.zfunc/_" + name + "   # a folder of fpath");
    OneOf(command.add_option("SHELL", *shell), {"bash", "zsh"})->required();
    command.callback([name, shell] { std::cout << CompletionScript(name, *shell); });
}

CLI::Option* Tool::OneOf(CLI::Option* option, const std::vector<std::string>& values) {
    Candidates candidates;
    for (const std::string& value : values) {
        candidates.push_back({value, ""});
    }
    return Offer(option->check(Cli::OneOf(values)), [candidates] { return candidates; });
}

int Tool::Report(const std::string& message, ExitStatus status) const {
    const Style style(STDERR_FILENO);
    std::cerr << style(Colour::RED, m_app.get_name() + ":") << " " << EscapeLines(message) << "\n";
    return status;
}

int Tool::Refuse(const std::string& problem) const {
    return Report(problem + "\nTry: " + FullName(Selected(m_app)) + " --help", EXIT_USAGE);
}

}  // namespace Cli
