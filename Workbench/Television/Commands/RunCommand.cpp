#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "CBtInfoSync.h"
#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Cloud.h"
#include "Television/Commands/Commands.h"
#include "Television/DeviceChanges.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Log/RunReader.h"
#include "Television/Log/Table.h"
#include "Television/ServiceRun.h"
#include "Television/Stored.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Cli::Colour;
using Cli::Style;

constexpr double LONGEST_TIMEOUT_SECONDS = 86400;
constexpr char SERVICE_NAME[] = "bt-infosync";

struct RunArguments {
    /** Empty for that of tv.ini. */
    std::string level;
    std::string timeout = "2m";
    /** Empty for the usual one. */
    std::string service;
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
    const char priority = line.text.find("<<Not Error>>") == std::string::npos ? line.priority : '\0';
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
            Show(m_showSecrets ? whole : message);
        }
        const std::string awaited = Awaited(first);
        if (!awaited.empty() && awaited != m_awaited) {
            std::cerr << "infosync-tv: " << awaited << "\n";
            m_awaited = awaited;
        }
        m_reader.Take(message);
    }

    Log::Story Finish() {
        return m_reader.Finish();
    }

private:
    void Show(const Log::Message& message) const {
        for (const Log::Line& line : message.lines) {
            std::cerr << m_style(line.tag.empty() ? Colour::PLAIN : LineColour(line),
                                 Cli::EscapeLines(line.text))
                      << "\n";
        }
    }

    char m_level;
    bool m_showSecrets;
    Style m_style{STDERR_FILENO};
    Cli::Masker m_masker{Television::StoredSecrets()};
    Log::RunReader m_reader{0, 0, false};
    std::string m_awaited;
};

/** The story, with what the log cannot tell: how the process ended, and what the cloud's side looks like. */
Log::Story Tell(Log::Story story, const Television::Ending& ending) {
    if (!ending.outcome.empty()) {
        story.outcome = ending.outcome;
        story.reason = story.failure ? story.reason : std::vector<std::string>();
        if (!ending.reason.empty()) {
            story.reason.insert(story.reason.begin(), ending.reason);
        }
    } else if (story.outcome == Log::NOT_TOLD && !story.sawEnd) {
        story.outcome = "crashed";
        story.reason = {"the log ends before the service did"};
    }
    const bool isUnanswered = story.failure && story.failure->known != nullptr &&
                              story.failure->known->kind == Log::KnownLine::Kind::NO_ANSWER;
    const Television::Cloud cloud = isUnanswered ? Television::Cloud::Find() : Television::Cloud();
    if (!cloud.folder.empty() && cloud.port == 0) {
        story.remedies = {cloud.words};
    }
    return story;
}

std::string EndText(const Television::KeptRun& run, const Style& style) {
    std::string text;
    for (const Json::Value& remedy : run["what_to_do"]) {
        text += Cli::Wrap("to do: " + Cli::Escape(remedy.asString()), 7, style.Width());
    }
    const std::string ended = "run: " + Cli::Escape(Log::OutcomeWords(run)) + " (" +
                              Cli::DurationText(run["seconds"].asDouble()) + ")";
    return text + style(Television::IsSuccess(run) ? Colour::GREEN : Colour::RED,
                        Cli::Wrap(ended, 5, style.Width()));
}

/** What television and arguments ask for; how a run ended is told by lines of I and above, but of a log file
 * that is to have less only W is asked. */
Television::RunOptions OptionsOf(const RunArguments& arguments, char level, const TvIni& television) {
    const auto file = television.Text(TvKeys::LOG_FILE);
    const char needed = file ? 'W' : 'I';
    return {ServicePath(arguments), Log::IsBelow(needed, level) ? needed : level,
            file ? TvFolder::Resolve(*file) : "", Cli::ParseDuration(arguments.timeout).value()};
}

void Run(const RunArguments& arguments) {
    const auto television = Television::RequireSound();
    const char level =
        (arguments.level.empty() ? television->Text(TvKeys::LOG_LEVEL).value_or("I") : arguments.level)
            .front();
    const Television::RunOptions options = OptionsOf(arguments, level, *television);
    const Cli::FileLock lock(TvFolder::Resolve(Television::RUN_LOCK_FILE), Cli::FileLock::Wait::NO);
    if (!lock.IsHeld()) {
        throw std::runtime_error("a run of this television is under way\nWatch it: infosync-tv log -f");
    }
    Television::WarnOfIni();

    const Television::DeviceList before = Television::ReadDeviceList();
    // Begun when the service is: what did not start is no run.
    std::optional<Television::RunKeeper> keeper;
    Watcher watcher(level, arguments.showSecrets);
    Log::Messages messages([&watcher](Log::Message& message) { watcher.Take(message); });
    const auto started = std::chrono::steady_clock::now();
    Television::ServiceRun service(
        options,
        [&](const Log::Line& line) {
            keeper->Take(line);
            messages.Take(line);
        },
        [&messages] { messages.Flush(); });
    keeper.emplace();
    const Television::Ending ending = service.Wait();
    messages.Flush();

    const Television::DeviceList after = Television::ReadDeviceList();
    const Json::Value changes = Television::Compare(before, after);
    const auto took = std::chrono::duration<double>(std::chrono::steady_clock::now() - started);
    Television::KeptRun run = Television::MakeKeptRun(Tell(watcher.Finish(), ending));
    run["seconds"] = std::round(took.count() * 1000) / 1000;
    run["level"] = std::string(1, options.level);
    run["changes"] = changes;
    std::string unkept;
    try {
        keeper->Keep(run);
    } catch (const std::exception& error) {
        unkept = error.what();
    }
    const Style style(STDOUT_FILENO);
    std::cout << (arguments.json ? Cli::JsonText(run)
                                 : Television::ChangesText(after, changes, style) + EndText(run, style));
    if (!unkept.empty()) {
        throw std::runtime_error("how the run ended could not be kept: " + unkept);
    }
    if (!Television::IsSuccess(run)) {
        // As a shell tells of what a signal ended.
        constexpr int SIGNALLED = 128;
        throw Cli::ToldAlready(ending.signal != 0 ? SIGNALLED + ending.signal : Cli::EXIT_FAILED);
    }
}

std::string IsTimeout(const std::string& text) {
    const double seconds = Cli::ParseDuration(text).value_or(0);
    return seconds >= 1 && seconds <= LONGEST_TIMEOUT_SECONDS ? ""
                                                              : "a time from 1s to 1d, such as 30s or 2m";
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
