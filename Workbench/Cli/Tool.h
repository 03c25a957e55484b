/** A command-line tool: CLI11 takes the words apart, and what both tools do alike is done here. */
#pragma once

#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "Cli/Completion.h"
#include "Cli/Errors.h"

namespace Cli {

/** Has --help, --version, help and completion; the rest is added to it. */
class Tool {
public:
    /** overview: below the list of commands, as the details of a command. */
    Tool(const std::string& name, const std::string& summary, const std::string& overview);

    /**
     * Adds a command; two words such as "device add" make it one of a group. Its options are to be bound to
     * what its callback holds.
     * @param summary one line without a full stop
     * @param details prose, which is wrapped, and examples, which are indented; may be empty
     */
    CLI::App& Command(const std::string& name, const std::string& summary, const std::string& details = "");

    /** The same for one that only reads: it has --json, and run is told whether that was given. */
    CLI::App& ReadingCommand(const std::string& name, const std::string& summary, const std::string& details,
                             std::function<void(bool json)> run);

    /**
     * Adds --dir, which is taken before the command and after it. The folder, or the default below the user's
     * state folder, is in the environment variable when a command runs.
     */
    void AddFolder(const char* variable, const char* defaultName, const std::string& help);

    /** For completion: what the option's value may be. @return the option */
    CLI::Option* Offer(CLI::Option* option, std::function<Candidates()> values);
    /** Takes these values only, and offers them. @return the option */
    CLI::Option* OneOf(CLI::Option* option, const std::vector<std::string>& values);

    /** Runs the command that the arguments name and reports a failure on standard error. @return the exit
     * status */
    int Run(int argc, char** argv);

private:
    void AddHelp();
    void AddCompletion();
    int Report(const std::string& message, ExitStatus status) const;
    /** @param problem is what is wrong with how the tool was called */
    int Refuse(const std::string& problem) const;

    CLI::App m_app;
    ValueSources m_values;
    std::function<void()> m_beforeCommand = [] {};
};

}  // namespace Cli
