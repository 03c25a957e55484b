/** A command-line tool: what both tools do alike, and how a command ends. */
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace Cli {

/** Exit statuses; scripts rely on them. */
enum ExitStatus { EXIT_FINE = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/** The command was called wrongly. Any other exception of a command says that its operation failed. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The operation failed, and the user was told already why. */
struct ToldAlready : std::exception {
    explicit ToldAlready(int exitStatus = EXIT_FAILED) : status(exitStatus) {}
    int status;
};

/** What the error says; of one of std::filesystem's, whose own words few understand, the file and why. */
std::string Reason(const std::exception& error);

/** The last error that the service's code or the platform's stand-ins logged, empty for none. The tools
 * write none of their lines: whoever asks a tool did not ask for them. */
const std::string& LastLoggedError();

/** What is wrong with a value; empty when nothing is. */
using Check = std::function<std::string(const std::string& value)>;

/** An option or operand, to be narrowed. */
class Parameter {
public:
    explicit Parameter(CLI::Option* option) : m_option(option) {}

    Parameter& Required();
    /** Takes one of these words, in whatever case; the value has the case of the word. */
    Parameter& OneOf(const std::vector<std::string>& words);
    Parameter& Between(std::int64_t lowest, std::int64_t highest);
    Parameter& Must(const Check& check);
    Parameter& Excludes(const Parameter& other);

private:
    CLI::Option* m_option;
};

/** Declares what a command takes. The variables are to live until the tool has run. */
class Command {
public:
    explicit Command(CLI::App* app) : m_app(app) {}

    /** VALUE is a std::string, an int, a std::int64_t, one of these as std::optional, or a std::vector of
     * texts: one for each time that the option is given, or all words that follow as operands. */
    template <typename VALUE>
    Parameter Operand(const std::string& name, VALUE& value, const std::string& help = "");

    /** @param names such as "-n,--nth" @param valueName what --help shows for the value */
    template <typename VALUE>
    Parameter Option(const std::string& names, const std::string& valueName, VALUE& value,
                     const std::string& help);

    Parameter Flag(const std::string& names, bool& value, const std::string& help);

    /** --json, which commands have that only read. */
    Parameter Json(bool& value);

private:
    CLI::App* m_app;
};

/** Has --help, --version and completion; the commands are added to it. */
class Tool {
public:
    /** overview: shown below the list of commands. */
    Tool(const std::string& name, const std::string& summary, const std::string& overview);
    ~Tool();

    /** A command whose arguments are a struct; two words such as "user add" make it one of a group.
     * @param details prose and examples, in lines of 80 columns; may be empty */
    template <typename Arguments>
    void Add(const std::string& name, const std::string& summary, const std::string& details,
             void (*declare)(Command&, Arguments&), void (*run)(const Arguments&)) {
        const auto arguments = std::make_shared<Arguments>();
        Command command = Add(name, summary, details, [arguments, run] { run(*arguments); });
        declare(command, *arguments);
    }

    /** A command that takes --json and nothing else. */
    void AddView(const std::string& name, const std::string& summary, const std::string& details,
                 void (*show)(const bool& json)) {
        Add<bool>(
            name, summary, details, [](Command& command, bool& json) { command.Json(json); }, show);
    }

    Command Add(const std::string& name, const std::string& summary, const std::string& details,
                std::function<void()> run);

    /** Adds --dir, before the command or after it. The folder, or the default below the user's state folder,
     * is in the environment variable when a command runs. */
    void AddFolder(const char* variable, const char* defaultName, const std::string& help);

    /** Runs the command that the words name; a failure is told on standard error. @return the exit status */
    int Run(int argc, char** argv);

private:
    void AddCompletion();
    /** A line for each command or option that the last word may become, with a tab and its meaning. */
    std::string Complete(std::vector<std::string> words) const;

    std::unique_ptr<CLI::App> m_app;
    std::function<void()> m_beforeCommand = [] {};
};

}  // namespace Cli
