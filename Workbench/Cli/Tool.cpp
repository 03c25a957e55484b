#include "Cli/Tool.h"

#include <dlog.h>
#include <glib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>

#include "Cli/Display.h"
#include "Cli/StateFolder.h"
#include "Cli/Text.h"

namespace {

std::string lastLoggedError;

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* /*tag*/, const char* fmt, ...) {
    if (prio == DLOG_ERROR) {
        std::array<char, 1024> text = {};
        va_list arguments;
        va_start(arguments, fmt);
        static_cast<void>(std::vsnprintf(text.data(), text.size(), fmt, arguments));
        va_end(arguments);
        lastLoggedError = text.data();
    }
    return 0;
}

namespace Cli {

namespace {

constexpr std::size_t HELP_COLUMN = 28;

/** In lines that fit beside the names; --help indents all but the first. */
std::string Beside(const std::string& help) {
    std::string lines = Wrap(help, 0, HELP_WIDTH - HELP_COLUMN);
    lines.erase(lines.find_last_not_of('\n') + 1);
    return lines;
}

/** @throws UsageError for "--option=", which the library would give the next word */
void RefuseEmptyValues(int argc, char** argv) {
    for (const std::string& word : std::vector<std::string>(argv, argv + argc)) {
        if (StartsWith(word, "--") && word.find('=') == word.size() - 1) {
            throw UsageError(word.substr(0, word.size() - 1) + ": it is empty");
        }
    }
}

/** What the command does, unless one of the group below it is called. */
void Does(CLI::App* app, std::function<void()> run) {
    app->callback([app, run = std::move(run)] {
        if (app->get_subcommands().empty()) {
            run();
        }
    });
}

[[noreturn]] void RefuseNoCommand() {
    throw UsageError("a command is missing");
}

/** The names of the commands that the words have led to. */
std::string Called(const CLI::App& app) {
    const auto next = app.get_subcommands();
    return app.get_name() + (next.empty() ? "" : " " + Called(*next.back()));
}

int Report(const CLI::App& app, const std::string& message, ExitStatus status = EXIT_FAILED) {
    const Style style(STDERR_FILENO);
    std::cerr << style(Colour::RED, app.get_name() + ":") << " " << EscapeLines(message) << "\n";
    return status;
}

/** @param problem is what is wrong with how the tool was called */
int Refuse(const CLI::App& app, const std::string& problem) {
    return Report(app, problem + "\nTry: " + Called(app) + " --help", EXIT_USAGE);
}

}  // namespace

std::string Reason(const std::exception& error) {
    const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error);
    return file == nullptr ? error.what() : file->path1().string() + ": " + file->code().message();
}

const std::string& LastLoggedError() {
    return lastLoggedError;
}

Parameter& Parameter::Required() {
    m_option->required();
    return *this;
}

Parameter& Parameter::OneOf(const std::vector<std::string>& words) {
    // The help's own words name them: in a line of its own, the library's would not be broken.
    m_option->transform(CLI::IsMember(words, CLI::ignore_case).description(""));
    return *this;
}

Parameter& Parameter::Between(std::int64_t lowest, std::int64_t highest) {
    m_option->check(CLI::Range(lowest, highest));
    return *this;
}

Parameter& Parameter::Must(const Check& check) {
    m_option->check([check](const std::string& value) { return check(value); });
    return *this;
}

Parameter& Parameter::Excludes(const Parameter& other) {
    m_option->excludes(other.m_option);
    return *this;
}

template <typename VALUE>
Parameter Command::Operand(const std::string& name, VALUE& value, const std::string& help) {
    return Parameter(m_app->add_option(name, value, Beside(help)));
}

template <typename VALUE>
Parameter Command::Option(const std::string& names, const std::string& valueName, VALUE& value,
                          const std::string& help) {
    CLI::Option* option = m_app->add_option(names, value, Beside(help))->option_text(valueName);
    if constexpr (std::is_same_v<VALUE, std::vector<std::string>>) {
        option->allow_extra_args(false)->take_all();
    }
    return Parameter(option);
}

#define TAKES(VALUE)                                                                     \
    template Parameter Command::Operand(const std::string&, VALUE&, const std::string&); \
    template Parameter Command::Option(const std::string&, const std::string&, VALUE&, const std::string&)
TAKES(std::string);
TAKES(int);
TAKES(std::int64_t);
TAKES(std::vector<std::string>);
TAKES(std::optional<std::string>);
TAKES(std::optional<std::int64_t>);
#undef TAKES

Parameter Command::Flag(const std::string& names, bool& value, const std::string& help) {
    return Parameter(m_app->add_flag(names, value, Beside(help)));
}

Parameter Command::Json(bool& value) {
    return Flag("--json", value, "write JSON for scripts");
}

Tool::Tool(const std::string& name, const std::string& summary, const std::string& overview)
    : m_app(std::make_unique<CLI::App>(summary, name)) {
    Does(m_app->require_subcommand(0, 1), &RefuseNoCommand);
    m_app->fallthrough();
    m_app->footer(overview);
    m_app->set_help_flag("-h,--help", "show this help");
    m_app->set_version_flag("--version", name + " " + INFOSYNC_VERSION, "show the version");
    m_app->option_defaults()->take_last();
    m_app->get_formatter()->column_width(HELP_COLUMN);
}

Tool::~Tool() = default;

Command Tool::Add(const std::string& name, const std::string& summary, const std::string& details,
                  std::function<void()> run) {
    CLI::App* parent = m_app.get();
    const auto blank = name.find(' ');
    if (blank != std::string::npos) {
        const std::string group = name.substr(0, blank);
        const auto known = m_app->get_subcommands([&](CLI::App* app) { return app->get_name() == group; });
        const std::string words = "Has commands of its own: " + group + " --help";
        parent =
            known.empty() ? m_app->add_subcommand(group, words)->require_subcommand(0, 1) : known.front();
        if (known.empty()) {
            Does(parent, &RefuseNoCommand);
        }
    }
    CLI::App* app = parent->add_subcommand(name.substr(blank + 1), Beside(summary))->footer(details);
    Does(app, std::move(run));
    return Command(app);
}

void Tool::AddFolder(const char* variable, const char* defaultName, const std::string& help) {
    const auto choose = [variable](const std::string& folder) { g_setenv(variable, folder.c_str(), TRUE); };
    m_app->add_option_function<std::string>("--dir", choose, Beside(help))
        ->option_text("DIR")
        ->check([](const std::string& folder) { return IsNotEmpty(folder); });
    m_beforeCommand = [variable, defaultName, choose] { choose(StateFolder(variable, defaultName)); };
}

int Tool::Run(int argc, char** argv) {
    AddCompletion();
    int status = EXIT_FINE;
    try {
        // The scripts ask so, with the words up to the one that is being typed.
        if (argc > 1 && std::string(argv[1]) == "__complete") {
            std::cout << Complete({argv + 2, argv + argc});
        } else {
            RefuseEmptyValues(argc, argv);
            m_app->parse_complete_callback(m_beforeCommand);
            m_app->parse(argc, argv);
        }
    } catch (const CLI::Success& shown) {
        m_app->exit(shown);
    } catch (const CLI::ParseError& error) {
        return Refuse(*m_app, error.what());
    } catch (const UsageError& error) {
        return Refuse(*m_app, error.what());
    } catch (const ToldAlready& told) {
        status = told.status;
    } catch (const std::exception& error) {
        return Report(*m_app, Reason(error));
    }
    return std::cout.flush() ? status : Report(*m_app, "the output could not be written");
}

}  // namespace Cli
