#include <glib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
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
using Television::DeviceList;

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
Log::Story Tell(Log::Run& run, const Television::Ending& ending) {
    Log::Story story = Log::Tell(run);
    if (!ending.outcome.empty()) {
        Log::Statements reason;
        Log::Add(reason, ending.reason);
        Log::Add(reason, run.failure ? Log::Joined(story["reason"], "; ") : "");
        story["outcome"] = ending.outcome;
        story["reason"] = Cli::JsonArray(reason);
    } else if (story["outcome"] == Log::NOT_TOLD && !run.sawEnd) {
        story["outcome"] = "crashed";
        story["reason"] = Cli::JsonArray(Log::Statements{"the log ends before the service did"});
    }
    if (run.failure && run.failure->known != nullptr &&
        run.failure->known->kind == Log::KnownLine::Kind::NO_ANSWER) {
        const Television::Cloud cloud = Television::Cloud::Find();
        if (!cloud.folder.empty() && cloud.port == 0) {
            story["what_to_do"] = Cli::JsonArray(Log::Statements{cloud.words});
        }
    }
    return story;
}

Json::Value Change(const char* kind, const Television::Device& device, const std::string& was) {
    Json::Value change = Television::ToJson(device);
    change.removeMember("deleted_on_tv");
    change["change"] = kind;
    change["was"] = was;
    return change;
}

/** What the run changed in the device list, in the order of ids. */
Json::Value Compare(const DeviceList& before, const DeviceList& after) {
    std::map<std::string, Json::Value> changes;
    for (const auto& [id, device] : before.devices) {
        changes[id] = Change("removed", device, device.name);
    }
    for (const auto& [id, device] : after.devices) {
        const auto old = before.devices.find(id);
        if (old == before.devices.end()) {
            changes[id] = Change("added", device, "");
        } else if (Television::ToJson(old->second) == Television::ToJson(device)) {
            changes.erase(id);
        } else {
            const std::string& was = old->second.name;
            changes[id] = Change(was == device.name ? "changed" : "renamed", device, was);
        }
    }
    return Cli::JsonArray(changes, [](const auto& change) { return change.second; });
}

std::string ChangeText(const Json::Value& change, const Style& style) {
    const auto text = [&change](const char* member) { return change[member].asString(); };
    const std::string kind = text("change");
    const Colour colour = kind == "removed" ? Colour::RED : kind == "added" ? Colour::GREEN : Colour::YELLOW;
    const std::string words =
        (kind == "renamed" ? text("was") + " -> " : "") + text("name") + "  " + text("address") +
        (kind == "changed" ? "  users " + Log::Joined(change["users"], ", ") : "") + "  (" + text("id") + ")";
    return "  " + style(colour, Cli::Pad(kind, sizeof("renamed  ") - 1)) + Cli::Escape(words) + "\n";
}

/** For people: the device list, what changed in it, what to do, and how the run ended. */
std::string RunText(const Television::KeptRun& run, const DeviceList& list, const Style& style) {
    const Json::Value& changes = run["changes"];
    std::string text = "device list: " + Cli::Count(list.devices.size(), "device") +
                       (changes.empty() ? ", nothing changed" : "") + "\n";
    for (const Json::Value& change : changes) {
        text += ChangeText(change, style);
    }
    if (!list.problem.empty()) {
        text = style(Colour::RED, Cli::EscapeLines(list.problem)) + "\n";
    }
    for (const Json::Value& remedy : run["what_to_do"]) {
        text += Cli::Wrap("to do: " + Cli::Escape(remedy.asString()), 7, style.Width());
    }
    const std::string ended = "run: " + Cli::Escape(Log::OutcomeWords(run)) + " (" +
                              Cli::DurationText(run["seconds"].asDouble()) + ")";
    return text + style(Television::IsSuccess(run) ? Colour::GREEN : Colour::RED,
                        Cli::Wrap(ended, 5, style.Width()));
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

/** @return why the run could not be kept; empty where it was */
std::string Keep(Television::RunKeeper& keeper, Television::KeptRun& run) {
    try {
        keeper.Keep(run);
        return "";
    } catch (const std::exception& error) {
        return std::string("how the run ended could not be kept: ") + error.what();
    }
}

void Run(const RunArguments& arguments) {
    const auto television = Television::RequireSound();
    const std::string usual = television->Text(TvKeys::LOG_LEVEL).value_or("I");
    const char level = (arguments.level.empty() ? usual : arguments.level).front();
    const Television::RunOptions options = OptionsOf(arguments, level, *television);
    const Cli::FileLock lock(TvFolder::Resolve(Television::RUN_LOCK_FILE), Cli::FileLock::Wait::NO);
    if (!lock.IsHeld()) {
        throw std::runtime_error("a run of this television is under way\nWatch it: infosync-tv log -f");
    }
    Television::WarnOfIni();
    const DeviceList before = Television::ReadDeviceList();
    Watcher watcher(level, arguments.showSecrets);
    Log::Messages messages([&watcher](Log::Message& message) { watcher.Take(message); });
    std::optional<Television::RunKeeper> keeper;
    std::int64_t started = 0;
    const auto onStart = [&] {
        keeper.emplace();  // now: what did not start is no run
        started = g_get_monotonic_time();
    };
    const auto onLine = [&](const Log::Line& line) {
        keeper->Take(line);
        messages.Take(line);
    };
    const Television::Ending ending =
        Television::RunService(options, onStart, onLine, [&messages] { messages.Flush(); });
    const std::int64_t milliseconds = (g_get_monotonic_time() - started) / 1000;
    const DeviceList after = Television::ReadDeviceList();
    Television::KeptRun run = Tell(watcher.run, ending);
    run["seconds"] = static_cast<double>(milliseconds) / 1000;
    run["level"] = std::string(1, options.level);
    run["changes"] = Compare(before, after);
    const std::string unkept = Keep(*keeper, run);
    std::cout << (arguments.json ? Cli::JsonText(run) : RunText(run, after, Style(STDOUT_FILENO)));
    if (!unkept.empty()) {
        throw std::runtime_error(unkept);
    }
    if (!Television::IsSuccess(run)) {
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
