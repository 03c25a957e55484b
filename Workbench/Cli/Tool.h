/** A command-line tool: what both tools do alike. Only what stands behind it knows the library that takes the
 * words apart. */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Cli/Errors.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace Cli {

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

    /**
     * VALUE is a std::string, an int, a std::int64_t, one of these as std::optional, or a std::vector of
     * texts: one for each time that the option is given, or all words that follow as operands.
     */
    template <typename VALUE>
    Parameter Operand(const std::string& name, VALUE& value, const std::string& help = "");

    /** @param names such as "-n,--nth" @param valueName what --help shows for the value */
    template <typename VALUE>
    Parameter Option(const std::string& names, const std::string& valueName, VALUE& value,
                     const std::string& help);

    Parameter Flag(const std::string& names, bool& value, const std::string& help);

    /** --json, which commands have that only read. */
    Parameter Json(bool& value);

    /** What the command does, unless one of the group below it is called. */
    void Does(std::function<void()> run);

private:
    CLI::App* m_app;
};

/** Has --help, --version and completion; the commands are added to it. */
class Tool {
public:
    /** overview: shown below the list of commands. */
    Tool(const std::string& name, const std::string& summary, const std::string& overview);
    ~Tool();

    /**
     * A command whose arguments are a struct; two words such as "user add" make it one of a group.
     * @param summary one line without a full stop
     * @param details prose and examples, in lines of 80 columns; may be empty
     */
    template <typename Arguments>
    void Add(const std::string& name, const std::string& summary, const std::string& details,
             void (*declare)(Command&, Arguments&), void (*run)(const Arguments&)) {
        const auto arguments = std::make_shared<Arguments>();
        Command command = Add(name, summary, details, [arguments, run] { run(*arguments); });
        declare(command, *arguments);
    }

    Command Add(const std::string& name, const std::string& summary, const std::string& details,
                std::function<void()> run);

    /**
     * Adds --dir, which is taken before the command and after it. The folder, or the default below the user's
     * state folder, is in the environment variable when a command runs.
     */
    void AddFolder(const char* variable, const char* defaultName, const std::string& help);

    /** Runs the command that the arguments name and reports a failure on standard error. @return the exit
     * status */
    int Run(int argc, char** argv);

private:
    void AddCompletion();
    int RunCommand(int argc, char** argv);
    int Report(const std::string& message, ExitStatus status) const;
    /** @param problem is what is wrong with how the tool was called */
    int Refuse(const std::string& problem) const;

    std::unique_ptr<CLI::App> m_app;
    std::function<void()> m_beforeCommand = [] {};
};

}  // namespace Cli
