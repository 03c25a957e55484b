#include <glib.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "Cli/FileLock.h"
#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Text.h"
#include "Television/Commands/Commands.h"
#include "Television/Explain/RunReader.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Masker.h"
#include "Television/ServiceRun.h"
#include "Television/Stored.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Cli::Colour;
using Cli::Style;
using Television::DeviceChange;

constexpr int LONGEST_TIMEOUT_SECONDS = 86400;
constexpr char SERVICE_NAME[] = "bt-infosync";
// How a run ended is told by lines of this priority and above: what was refused at I, but that is nothing for
// a log file that is to have less.
constexpr char LEVEL_NEEDED = 'I';
constexpr char LEVEL_NEEDED_IN_FILE = 'W';

struct RunArguments {
    /** Empty for that of tv.ini. */
    std::string level;
    int timeoutSeconds = 120;
    /** Empty for the usual one. */
    std::string service;
    bool wait = false;
    bool showSecrets = false;
    bool json = false;
};

std::string ServicePath(const RunArguments& arguments) {
    if (!arguments.service.empty()) {
        return arguments.service;
    }
    const char* chosen = std::getenv("INFOSYNC_SERVICE");
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename(SERVICE_NAME).string();
}

bool IsLessSevere(char priority, char level) {
    return Explain::PRIORITIES.find(priority) < Explain::PRIORITIES.find(level);
}

Colour LineColour(char priority) {
    return priority == 'E' || priority == 'F'   ? Colour::RED
           : priority == 'W'                    ? Colour::YELLOW
           : priority == 'V' || priority == 'D' ? Colour::DIM
                                                : Colour::PLAIN;
}

/** What the service waits for after this line, which may take long, and what helps; empty for nothing. */
std::string Awaited(const Explain::LogLine& line) {
    if (Cli::StartsWith(line.message, "Not logged in, try : ")) {
        return "waiting for sign-in, up to 20 seconds: infosync-tv sign-in USER";
    }
    const bool isForCode = line.message == "result != SSO_TRUE" || line.message == "userData is authcode";
    return isForCode ? "no code came, and the service waits for one: Ctrl-C ends the run" : "";
}

/** Shows the log with its secrets masked, and what of it people should not wait for in vain. */
class Show {
public:
    Show(char level, bool showSecrets) : m_level(level), m_showSecrets(showSecrets) {
        m_masker.LearnKeys();
    }

    /** Shows a line that was asked for; one that is no log line is always shown. @return it, masked */
    Explain::LogLine Line(const Explain::LogLine& line) {
        // Lines that are not shown are learned from as well.
        Explain::LogLine masked = m_masker.MaskLine(line);
        if (line.continues || line.priority == '\0' || !IsLessSevere(line.priority, m_level)) {
            const bool isPlain = line.continues || line.text.find("<<Not Error>>") != std::string::npos;
            std::cerr << m_style(isPlain ? Colour::PLAIN : LineColour(line.priority),
                                 Cli::EscapeLines(m_showSecrets ? line.text : masked.text))
                      << "\n";
        }
        const std::string awaited = Awaited(line);
        if (!awaited.empty() && awaited != m_awaited) {
            std::cerr << "infosync-tv: " << awaited << "\n";
        }
        m_awaited = awaited.empty() ? m_awaited : awaited;
        return masked;
    }

    /** What the run ended in, which may have a secret in it that was not known as one before. */
    void Mask(Television::RunOutcome& outcome) const {
        outcome.reason = m_masker.MaskKnown(outcome.reason);
    }

private:
    char m_level;
    bool m_showSecrets;
    Style m_style{STDERR_FILENO};
    Television::Masker m_masker;
    std::string m_awaited;
};

std::string DeviceWords(const Television::Device& device) {
    return Cli::Escape(device.name) + "  " + Cli::Escape(device.address);
}

std::string ChangeText(const DeviceChange& change, const Style& style) {
    const bool isRemoved = change.kind == "removed";
    const Colour colour = isRemoved ? Colour::RED : change.kind == "added" ? Colour::GREEN : Colour::YELLOW;
    const std::string before = change.kind == "renamed" ? Cli::Escape(change.before.name) + " -> " : "";
    const std::string after =
        change.kind == "changed" ? "  users " + Cli::Escape(Cli::Join(change.after.users, ", ")) : "";
    return "  " + style(colour, Cli::Pad(change.kind, sizeof("renamed  ") - 1)) + before +
           DeviceWords(isRemoved ? change.before : change.after) + after + "  (" + Cli::Escape(change.id) +
           ")\n";
}

std::string ChangesText(const Television::DeviceList& after, const std::vector<DeviceChange>& changes,
                        const Style& style) {
    if (!after.problem.empty()) {
        return style(Colour::RED, after.problem) + "\n";
    }
    std::string text = "device list: " + Cli::Count(after.devices.size(), "device") +
                       (changes.empty() ? ", nothing changed" : "") + "\n";
    for (const DeviceChange& change : changes) {
        text += ChangeText(change, style);
    }
    return text;
}

/** @throws std::runtime_error when a run is under way already and is not to be waited for */
std::unique_ptr<Cli::FileLock> LockTelevision(bool wait) {
    const std::string path = TvFolder::Resolve(Television::RUN_LOCK_FILE);
    auto lock = std::make_unique<Cli::FileLock>(path, Cli::FileLock::Wait::NO);
    if (!lock->IsHeld() && !wait) {
        throw std::runtime_error(
            "a run of this television is under way\nWait for its end with --wait, or end it first");
    }
    if (!lock->IsHeld()) {
        std::cerr << "infosync-tv: waiting for the run that is under way\n";
        lock = std::make_unique<Cli::FileLock>(path, Cli::FileLock::Wait::YES);
    }
    return lock;
}

void Run(const RunArguments& arguments) {
    Television::RequireSound();
    const auto television = TvFolder::ReadIni();
    const std::string level =
        arguments.level.empty() ? television->Text(TvKeys::LOG_LEVEL).value_or("I") : arguments.level;
    Television::RunOptions options;
    options.service = ServicePath(arguments);
    options.timeoutSeconds = static_cast<unsigned>(arguments.timeoutSeconds);
    const auto file = television->Text(TvKeys::LOG_FILE);
    options.logFile = file ? TvFolder::Resolve(*file) : "";
    const char needed = file ? LEVEL_NEEDED_IN_FILE : LEVEL_NEEDED;
    options.level = IsLessSevere(needed, level[0]) ? needed : level[0];
    const auto lock = LockTelevision(arguments.wait);
    std::cerr << Television::IniWarnings();

    const Television::DeviceList before = Television::ReadDeviceList();
    // Begun when the service is: what did not start is no run.
    std::optional<Television::RunKeeper> keeper;
    Show show(level[0], arguments.showSecrets);
    const auto started = std::chrono::steady_clock::now();
    Explain::RunReader reader(0, 0);
    Television::ServiceRun service(options, [&](const Explain::LogLine& line) {
        keeper->Take(line);
        reader.Take(show.Line(line));
    });
    keeper.emplace(options.level);
    Television::RunOutcome outcome = service.Wait();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - started;
    const Explain::Run run = reader.Finish();
    const std::string lastFault = Television::LastFault(run);
    if (outcome.kind == Television::RunOutcome::Kind::SUCCESS) {
        outcome = Television::OutcomeOf(run);
    } else if (outcome.kind == Television::RunOutcome::Kind::TIMED_OUT && !lastFault.empty()) {
        outcome.reason += "; the last error was: " + lastFault;
    }
    show.Mask(outcome);

    const Style style(STDOUT_FILENO);
    const Television::DeviceList after = Television::ReadDeviceList();
    const bool isSuccess = outcome.kind == Television::RunOutcome::Kind::SUCCESS;
    const std::vector<DeviceChange> changes = Television::Compare(before, after);
    const Json::Value summary =
        keeper->Summary(outcome, Television::RequestsOf(run), duration.count(), changes);
    if (arguments.json) {
        std::cout << Cli::JsonText(summary);
    } else {
        std::ostringstream ended;
        ended << "run: " << Television::OutcomeWords(outcome) << " (" << std::fixed << std::setprecision(2)
              << duration.count() << " s)";
        std::cout << ChangesText(after, changes, style)
                  << style(isSuccess ? Colour::GREEN : Colour::RED,
                           Cli::Wrap(Cli::Escape(ended.str()), 5, style.Width()));
    }
    try {
        keeper->Keep(summary);
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string("how the run ended could not be kept: ") + error.what());
    }
    if (!isSuccess) {
        // As a shell tells of what a signal ended.
        constexpr int SIGNALLED = 128;
        throw Cli::ToldAlready(outcome.signal != 0 ? SIGNALLED + outcome.signal : Cli::EXIT_FAILED);
    }
}

}  // namespace

void AddRun(Cli::Tool& tool) {
    const auto arguments = std::make_shared<RunArguments>();
    Cli::Command command =
        tool.Add("run", "Run the service once on this television",
                 R"(The service's log goes to standard error; what changed in the device list and how the run
ended goes to standard output. Both are kept, for `runs`, `log` and `status`. The exit
status is 0 only for a run that came to its good end and stored what it brought; 128 and the
number of the signal for one that SIGINT, SIGTERM or SIGHUP interrupted.

Of tokens, codes and verifiers, the log shows the first four characters: of the values of
names that they have, of texts of 16 bytes or more under unknown names, and of each that
was seen or is stored, wherever it stands. What is not masked: Workbench/README.md.

Examples:
  infosync-tv run
  infosync-tv run --level E
  infosync-tv run --level D --show-secrets 2>run.log)",
                 [arguments] { Run(*arguments); });
    command
        .Option("--level", "LEVEL", arguments->level,
                "show this priority and above: V, D, I, W, E or F (default: [log] level)")
        .OneOf({"V", "D", "I", "W", "E", "F"});
    command
        .Option("--timeout", "SECONDS", arguments->timeoutSeconds,
                "end a run that does not end by itself (default: 120)")
        .Between(1, LONGEST_TIMEOUT_SECONDS);
    command.Option("--service", "FILE", arguments->service,
                   "the service's executable (default: bt-infosync beside this tool)");
    command.Flag("--wait", arguments->wait, "wait for the end of a run that is under way");
    command.Flag("--show-secrets", arguments->showSecrets,
                 "leave tokens, codes and verifiers in the log as they are");
    command.Json(arguments->json);
}

}  // namespace Commands
