#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

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
using Television::KeptRun;

struct RunArguments {
    /** Empty for that of tv.ini. */
    std::string level;
    std::string timeout = "2m";
    /** Empty for the usual one. */
    std::string service;
    bool showSecrets = false;
    bool json = false;
};

struct LogArguments {
    /** 0 for the newest. */
    std::int64_t number = 0;
    std::string level = "V";
    bool follow = false;
    bool showSecrets = false;
};

Colour LineColour(const Log::Line& line) {
    constexpr Colour OF_PRIORITIES[] = {Colour::DIM,    Colour::DIM, Colour::PLAIN,
                                        Colour::YELLOW, Colour::RED, Colour::RED};
    const bool isMarked = line.tag.empty() || line.text.find("<<Not Error>>") != std::string::npos;
    const std::size_t priority = Log::PRIORITIES.find(line.priority);
    return isMarked || priority == std::string_view::npos ? Colour::PLAIN : OF_PRIORITIES[priority];
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

/** The story, with what the log cannot tell: how the process ended, and what the cloud's side looks like. */
KeptRun Tell(Log::Run& told, Television::Ending ending) {
    KeptRun run = Log::Tell(told);
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

/** How a run ends is told by lines of I and above, but of a log file that is to have less only W is asked. */
Television::RunOptions OptionsOf(const RunArguments& arguments, char level, const TvIni& television) {
    const char* chosen = std::getenv("INFOSYNC_SERVICE");
    const auto beside = std::filesystem::read_symlink("/proc/self/exe").replace_filename("bt-infosync");
    const std::string usual = chosen != nullptr && *chosen != '\0' ? chosen : beside.string();
    const auto logFile = television.Text(TvKeys::LOG_FILE);
    const char needed = logFile ? 'W' : 'I';
    return {arguments.service.empty() ? usual : arguments.service,
            Log::IsBelow(needed, level) ? needed : level, logFile ? TvFolder::Resolve(*logFile) : "",
            Cli::ParseDuration(arguments.timeout).value()};
}

/** Runs the service, keeps its log, and shows that with its secrets masked and with what people should not
 * wait for in vain. @param told gets what the log makes known */
Television::Ending Watch(const Television::RunOptions& options, char level, bool showSecrets,
                         Television::RunKeeper& keeper, Log::Run& told) {
    const Cli::Style style(STDERR_FILENO);
    const Cli::Masker masker(Television::StoredSecrets());
    std::string awaited;
    Log::Messages messages([&](Log::Message& message) {
        const Log::Message whole = message;
        Log::Mask(message, masker);
        const Log::Line& first = whole.lines.front();
        // One that is no log line is always shown.
        if (first.tag.empty() || !Log::IsBelow(first.priority, level)) {
            for (const Log::Line& line : (showSecrets ? whole : message).lines) {
                std::cerr << style(LineColour(line), Cli::EscapeLines(line.text)) << "\n";
            }
        }
        const std::string awaits = Awaited(first);
        std::cerr << (awaits.empty() || awaits == awaited ? "" : "infosync-tv: " + awaits + "\n");
        awaited = awaits.empty() ? awaited : awaits;
        told.Take(message);
    });
    const auto onLine = [&](const Log::Line& line) {
        keeper.Take(line);
        messages.Take(line);
    };
    return Television::RunService(
        options, [&keeper] { keeper.Begin(); }, onLine, [&messages] { messages.Flush(); });
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
    Log::Run told(0, 0, false);
    const Television::Ending ending = Watch(options, level, arguments.showSecrets, keeper, told);
    KeptRun run = Tell(told, ending);
    run["level"] = std::string(1, options.level);
    const std::string unkept = keeper.Keep(run);
    std::cout << (arguments.json ? Cli::JsonText(run)
                                 : Television::KeptRunText(run, Cli::Style(STDOUT_FILENO)));
    if (!unkept.empty()) {
        throw std::runtime_error(unkept);
    }
    if (run["outcome"] != Log::SUCCESS) {
        // As a shell tells of what a signal ended.
        throw Cli::ToldAlready(ending.signal != 0 ? 128 + ending.signal : Cli::EXIT_FAILED);
    }
}

/** A line for each run: what is too long for a terminal, `log` and --json have whole. */
void ShowRuns(const bool& json) {
    constexpr std::size_t OTHER_COLUMNS = sizeof("1000  2026-11-24 14:02:10  CHANGES  ") - 1;
    Television::Require();
    const Json::Value runs = Cli::JsonArray(Television::KeptRunNumbers(), &Television::ReadKeptRun);
    const Cli::Style style(STDOUT_FILENO);
    Cli::Table table({"N", "ENDED", "CHANGES", "OUTCOME"});
    for (const KeptRun& run : runs) {
        const std::string words = Cli::Escape(Log::OutcomeWords(run));
        const std::int64_t finished = Cli::IntegerMember(run, "finished");
        table.Add({Cli::TextMember(run, "number"), finished == 0 ? "" : Cli::DateTime(finished),
                   std::to_string(run["changes"].size()),
                   Cli::Shorten(words, style.Width() - OTHER_COLUMNS)});
    }
    std::cout << (json           ? Cli::JsonText(runs)
                  : runs.empty() ? "no runs yet: infosync-tv run\n"
                                 : table.Lines(style));
}

/** Feeds a run's log, up to its end or to that of the run. */
void Feed(std::int64_t number, bool follow, Log::Messages& log) {
    std::ifstream file(Television::RunFile(number, ".log"), std::ios::binary);
    if (!file) {
        throw std::runtime_error("the log of run " + std::to_string(number) +
                                 " cannot be read: " + std::generic_category().message(errno) +
                                 "\nThose that are kept: infosync-tv runs");
    }
    for (bool isOver = false; !isOver && std::cout;) {
        // Asked before each look at the log, so that its end is not missed.
        isOver = !follow || Television::ReadKeptRun(number)["outcome"] != Television::UNDER_WAY;
        char buffer[65536];
        while (file.read(buffer, sizeof(buffer)) || file.gcount() > 0) {
            log.Feed({buffer, static_cast<std::size_t>(file.gcount())});
        }
        if (!isOver) {
            constexpr gulong LOOK_EVERY_MICROSECONDS = 100'000;
            log.Flush();
            std::cout.flush();
            file.clear();
            g_usleep(LOOK_EVERY_MICROSECONDS);
        }
    }
    log.Finish();
}

void ShowLog(const LogArguments& arguments) {
    Television::Require();
    const std::vector<std::int64_t> runs = Television::KeptRunNumbers();
    if (arguments.number == 0 && runs.empty()) {
        throw std::runtime_error("no run is kept\nStart one: infosync-tv run");
    }
    const Cli::Masker masker(Television::StoredSecrets());
    const auto show = [&arguments](const Log::Line& line) {
        if (!Log::IsBelow(line.priority, arguments.level.front())) {
            std::cout << Cli::EscapeLines(line.text) << "\n";
        }
    };
    Log::Messages log = Log::MaskedLines(arguments.showSecrets ? nullptr : &masker, show);
    Feed(arguments.number == 0 ? runs.back() : arguments.number, arguments.follow, log);
}

}  // namespace

void AddRuns(Cli::Tool& tool) {
    tool.Add<RunArguments>(
        "run", "Run the service once on this television",
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
        [](Cli::Command& command, RunArguments& arguments) {
            command
                .Option("--level", "LEVEL", arguments.level,
                        "show this priority and above: V, D, I, W, E or F (default: [log] level)")
                .OneOf({"V", "D", "I", "W", "E", "F"});
            command
                .Option("--timeout", "DURATION", arguments.timeout,
                        "end a run that does not end by itself (default: 2m)")
                .Must([](const std::string& text) {
                    const double seconds = Cli::ParseDuration(text).value_or(0);
                    return seconds >= 1 && seconds <= 86400 ? "" : "a time from 1s to 1d, such as 30s or 2m";
                });
            command.Option("--service", "FILE", arguments.service,
                           "the service's executable (default: bt-infosync beside this tool)");
            command.Flag("--show-secrets", arguments.showSecrets,
                         "leave tokens, codes and verifiers in the log as they are");
            command.Json(arguments.json);
        },
        &Run);
    tool.AddView("runs", "List the last " + std::to_string(Television::MOST_KEPT_RUNS) + " runs",
                 R"(An outcome of "unfinished" is that of a run whose tool was killed; of one that
is "not kept", no more could be written.)",
                 &ShowRuns);
    tool.Add<LogArguments>(
        "log", "Show the log of a run",
        R"(N is the run's number, as `runs` shows it; without it, the newest run's log is
shown. It has every line of the level that the run had, with times, in the log
viewer's form "time".

Examples:
  infosync-tv log
  infosync-tv log 12 --level W
  infosync-tv log -f              # until the run has ended)",
        [](Cli::Command& command, LogArguments& arguments) {
            command.Operand("N", arguments.number).Between(1, 1'000'000'000);
            command
                .Option("--level", "LEVEL", arguments.level,
                        "show this priority and above: V, D, I, W, E or F")
                .OneOf({"V", "D", "I", "W", "E", "F"});
            command.Flag("-f,--follow", arguments.follow, "go on showing it until the run has ended");
            command.Flag("--show-secrets", arguments.showSecrets,
                         "leave tokens, codes and verifiers as they are");
        },
        &ShowLog);
}

}  // namespace Commands
