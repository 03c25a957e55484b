#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "CBtInfoSync.h"
#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Log/Run.h"
#include "Television/Log/Story.h"
#include "Television/Log/Table.h"
#include "Television/ServiceRun.h"
#include "Television/Stored.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Cli::Colour;
using Cli::Style;

struct RunArguments {
    /** Empty for that of tv.ini. */
    std::string level;
    std::string timeout = "2m";
    /** Empty for the usual one. */
    std::string service;
    bool showSecrets = false;
    bool json = false;
};

/** What the service waits for after this line, which may take long, and what helps; empty for nothing. */
std::string Awaited(const Log::Line& line) {
    if (Cli::StartsWith(line.message, "Not logged in, try : ")) {
        return "waiting for sign-in, up to " +
               Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS}) +
               ": infosync-tv sign-in USER";
    }
    const bool isForCode = line.message == "result != SSO_TRUE" || line.message == "userData is authcode";
    return isForCode ? "no code came, and the service waits for one: Ctrl-C ends the run" : "";
}

Colour LineColour(const Log::Line& line) {
    const bool isMarked = line.tag.empty() || line.text.find("<<Not Error>>") != std::string::npos;
    const char priority = isMarked ? '\0' : line.priority;
    return priority == 'E' || priority == 'F'   ? Colour::RED
           : priority == 'W'                    ? Colour::YELLOW
           : priority == 'V' || priority == 'D' ? Colour::DIM
                                                : Colour::PLAIN;
}

/** Shows the log with its secrets masked, and what of it people should not wait for in vain. */
class Watcher {
public:
    Watcher(char level, bool showSecrets) : m_level(level), m_showSecrets(showSecrets) {}

    void Take(Log::Message& message) {
        const Log::Message whole = message;
        const Log::Line& first = whole.lines.front();
        Log::Mask(message, m_masker);
        // One that is no log line is always shown.
        if (first.tag.empty() || first.priority == '\0' || !Log::IsBelow(first.priority, m_level)) {
            for (const Log::Line& line : (m_showSecrets ? whole : message).lines) {
                std::cerr << m_style(LineColour(line), Cli::EscapeLines(line.text)) << "\n";
            }
        }
        const std::string awaited = Awaited(first);
        if (!awaited.empty() && awaited != m_awaited) {
            std::cerr << "infosync-tv: " << awaited << "\n";
            m_awaited = awaited;
        }
        run.Take(message);
    }

    /** What the log makes known. */
    Log::Run run{0, 0, false};

private:
    char m_level;
    bool m_showSecrets;
    Style m_style{STDERR_FILENO};
    Cli::Masker m_masker{Television::StoredSecrets()};
    std::string m_awaited;
};

/** The story, with what the log cannot tell: how the process ended, and what the cloud's side looks like. */
Television::KeptRun Tell(Log::Run& told, Television::Ending ending) {
    Television::KeptRun run = Log::Tell(told);
    if (ending.outcome.empty() && run["outcome"] == Log::NOT_TOLD && !told.sawEnd) {
        ending = {"crashed", "the log ends before the service did"};
    }
    if (!ending.outcome.empty()) {
        Log::Statements reason;
        Log::Add(reason, ending.reason);
        Log::Add(reason, told.failure ? Log::Joined(run["reason"], "; ") : "");
        run["outcome"] = ending.outcome;
        run["reason"] = Cli::JsonArray(reason);
    }
    const Log::KnownLine* known = told.failure ? told.failure->known : nullptr;
    if (known != nullptr && known->kind == Log::KnownLine::Kind::NO_ANSWER) {
        const Television::Cloud cloud = Television::Cloud::Find();
        if (!cloud.folder.empty() && cloud.port == 0) {
            run["what_to_do"] = Cli::JsonArray(Log::Statements{cloud.words});
        }
    }
    return run;
}

std::string ServicePath(const std::string& named) {
    const char* chosen = std::getenv("INFOSYNC_SERVICE");
    const auto beside = std::filesystem::read_symlink("/proc/self/exe").replace_filename("bt-infosync");
    return !named.empty() ? named : chosen != nullptr && *chosen != '\0' ? chosen : beside.string();
}

/** How a run ends is told by lines of I and above, but of a log file that is to have less only W is asked. */
Television::RunOptions OptionsOf(const RunArguments& arguments, char level, const TvIni& television) {
    const auto logFile = television.Text(TvKeys::LOG_FILE);
    const char needed = logFile ? 'W' : 'I';
    return {ServicePath(arguments.service), Log::IsBelow(needed, level) ? needed : level,
            logFile ? TvFolder::Resolve(*logFile) : "", Cli::ParseDuration(arguments.timeout).value()};
}

void Run(const RunArguments& arguments) {
    const auto television = Television::RequireSound();
    const std::string usual = television->Text(TvKeys::LOG_LEVEL).value_or("I");
    const char level = (arguments.level.empty() ? usual : arguments.level).front();
    const Television::RunOptions options = OptionsOf(arguments, level, *television);
    const Cli::FileLock lock(TvFolder::Resolve("run.lock"), Cli::FileLock::Wait::NO);
    if (!lock.IsHeld()) {
        throw std::runtime_error("a run of this television is under way\nWatch it: infosync-tv log -f");
    }
    Television::WarnOfIni();
    Television::RunKeeper keeper;
    Watcher watcher(level, arguments.showSecrets);
    Log::Messages messages([&watcher](Log::Message& message) { watcher.Take(message); });
    const auto onLine = [&](const Log::Line& line) {
        keeper.Take(line);
        messages.Take(line);
    };
    const Television::Ending ending = Television::RunService(
        options, [&keeper] { keeper.Begin(); }, onLine, [&messages] { messages.Flush(); });
    Television::KeptRun run = Tell(watcher.run, ending);
    run["level"] = std::string(1, options.level);
    const std::string unkept = keeper.Keep(run);
    std::cout << (arguments.json ? Cli::JsonText(run) : Television::KeptRunText(run, Style(STDOUT_FILENO)));
    if (!unkept.empty()) {
        throw std::runtime_error(unkept);
    }
    if (run["outcome"] != Log::SUCCESS) {
        // As a shell tells of what a signal ended.
        constexpr int SIGNALLED = 128;
        throw Cli::ToldAlready(ending.signal != 0 ? SIGNALLED + ending.signal : Cli::EXIT_FAILED);
    }
}

std::string IsTimeout(const std::string& text) {
    constexpr double LONGEST_SECONDS = 86400;
    const double seconds = Cli::ParseDuration(text).value_or(0);
    return seconds >= 1 && seconds <= LONGEST_SECONDS ? "" : "a time from 1s to 1d, such as 30s or 2m";
}

void Declare(Cli::Command& command, RunArguments& arguments) {
    command
        .Option("--level", "LEVEL", arguments.level,
                "show this priority and above: V, D, I, W, E or F (default: [log] level)")
        .OneOf({"V", "D", "I", "W", "E", "F"});
    command
        .Option("--timeout", "DURATION", arguments.timeout,
                "end a run that does not end by itself (default: 2m)")
        .Must(&IsTimeout);
    command.Option("--service", "FILE", arguments.service,
                   "the service's executable (default: bt-infosync beside this tool)");
    command.Flag("--show-secrets", arguments.showSecrets,
                 "leave tokens, codes and verifiers in the log as they are");
    command.Json(arguments.json);
}

}  // namespace

void AddRun(Cli::Tool& tool) {
    tool.Add("run", "Run the service once on this television",
             R"(The service's log goes to standard error; what changed in the device list and
how the run ended goes to standard output. Both are kept, for `runs`, `log` and
`status`. The exit status is 0 only for a run that came to its good end and
stored what it brought; 128 and the number of the signal for one that SIGINT,
SIGTERM or SIGHUP interrupted.

Of tokens, codes and verifiers, the log shows the first four characters: of the
values of names that they have, and of each that is stored, wherever it stands.

Examples:
  infosync-tv run
  infosync-tv run --level E
  infosync-tv run --level D --show-secrets 2>run.log)",
             &Declare, &Run);
}

}  // namespace Commands
