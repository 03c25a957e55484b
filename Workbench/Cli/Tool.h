/** A command-line tool as a table: its commands with their options, operands and help. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace Cli {

/** Exit statuses; scripts rely on them. */
enum ExitStatus { EXIT_FINE = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/** The command was called wrongly. Any other exception of a command says that its operation failed. */
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Option {
    /** The long name, without its dashes. */
    std::string name;
    /** What stands for the value in the help, such as "SECONDS"; empty for a switch. */
    std::string valueName;
    std::string help;
};

/** What a command was called with. */
class Arguments {
public:
    void Add(const std::string& option, const std::string& value);
    void SetOperands(std::vector<std::string> operands);

    bool Has(const std::string& option) const;
    /** The option's last value, or the fallback when it was not given. */
    std::string Value(const std::string& option, const std::string& fallback = "") const;
    /** All values of an option that may be repeated, in their order. */
    std::vector<std::string> Values(const std::string& option) const;
    /** @throws UsageError when the value is no whole number from least to most */
    std::int64_t Number(const std::string& option, std::int64_t fallback, std::int64_t least,
                        std::int64_t most) const;

    const std::vector<std::string>& Operands() const {
        return m_operands;
    }
    /** The operand, or the empty text when it was left out. */
    std::string Operand(std::size_t index) const;

private:
    std::map<std::string, std::vector<std::string>> m_options;
    std::vector<std::string> m_operands;
};

struct Command {
    /** One word, or several such as "device add". */
    std::string name;
    /** "USER" is needed, "[USER]" may be left out, "VALUE..." and "[VALUE...]" take all that follow. */
    std::vector<std::string> operands;
    /** One line, without a full stop. */
    std::string summary;
    /** Prose below the summary; may be empty. */
    std::string details;
    std::vector<std::string> examples;
    std::vector<Option> options;
    /** What the first operand may be, for completion; empty where that is open. */
    std::vector<std::string> choices;
    /** @return the exit status */
    std::function<int(const Arguments&)> run;
};

struct Tool {
    std::string name;
    std::string version;
    std::string summary;
    /** Shown below the list of commands: environment variables, exit statuses and the like. */
    std::string details;
    std::vector<std::string> examples;
    /** Taken by each command, before its name or after it. */
    std::vector<Option> options;
    std::vector<Command> commands;
};

/**
 * Runs the command that the arguments name, with what every tool has: --help, --version, help and completion.
 * Reports each failure on standard error.
 * @return the exit status
 */
int Run(Tool tool, int argc, char** argv);

/** Writes to standard output; a failure to do so is reported by Run. */
void Print(const std::string& text);

}  // namespace Cli
