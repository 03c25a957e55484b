#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Log/Message.h"
#include "Television/Log/Story.h"
#include "Television/Stored.h"

namespace Commands {

namespace {

// Far beyond every run that there will be.
constexpr std::int64_t HIGHEST_NUMBER = 1'000'000'000;
constexpr gulong LOOK_EVERY_MICROSECONDS = 100'000;

/** A line for each run: what is too long for a terminal, `log` and --json have whole. */
std::string RunsText(const Json::Value& runs) {
    constexpr std::size_t OTHER_COLUMNS = sizeof("1000  2026-11-24 14:02:10  CHANGES  ") - 1;
    const Cli::Style style(STDOUT_FILENO);
    Cli::Table table({"N", "ENDED", "CHANGES", "OUTCOME"});
    for (const Television::KeptRun& run : runs) {
        const std::string words = Cli::Escape(Log::OutcomeWords(run));
        const std::int64_t finished = Cli::IntegerMember(run, "finished");
        table.Add({Cli::TextMember(run, "number"), finished == 0 ? "" : Cli::DateTime(finished),
                   std::to_string(run["changes"].size()),
                   Cli::Shorten(words, style.Width() - OTHER_COLUMNS)});
    }
    return runs.empty() ? "no runs yet: infosync-tv run\n" : table.Lines(style);
}

void ShowRuns(const bool& json) {
    Television::Require();
    const Json::Value runs = Cli::JsonArray(Television::KeptRunNumbers(), &Television::ReadKeptRun);
    std::cout << (json ? Cli::JsonText(runs) : RunsText(runs));
}

struct LogArguments {
    /** 0 for the newest. */
    std::int64_t number = 0;
    std::string level = "V";
    bool follow = false;
    bool showSecrets = false;
};

/** @throws std::runtime_error when the run that is meant is not kept */
std::int64_t FindRun(std::int64_t number) {
    const std::vector<std::int64_t> runs = Television::KeptRunNumbers();
    if (number == 0 ? runs.empty() : std::find(runs.begin(), runs.end(), number) == runs.end()) {
        throw std::runtime_error(number == 0 ? "no run is kept\nStart one: infosync-tv run"
                                             : "the run " + std::to_string(number) +
                                                   " is not kept\nThose that are: infosync-tv runs");
    }
    return number == 0 ? runs.back() : number;
}

void ShowLog(const LogArguments& arguments) {
    Television::Require();
    const std::int64_t number = FindRun(arguments.number);
    std::ifstream file(Television::RunFile(number, ".log"), std::ios::binary);
    if (!file) {
        throw std::runtime_error("the log of the run cannot be read: " + Television::RunFile(number, ".log"));
    }
    const Cli::Masker masker(Television::StoredSecrets());
    const auto show = [&arguments](const Log::Line& line) {
        if (line.priority == '\0' || !Log::IsBelow(line.priority, arguments.level[0])) {
            std::cout << Cli::EscapeLines(line.text) << "\n";
        }
    };
    Log::Messages log = Log::MaskedLines(arguments.showSecrets ? nullptr : &masker, show);
    while (std::cout) {
        // Asked before each look at the log, so that its end is not missed.
        const bool isOver =
            !arguments.follow || Television::ReadKeptRun(number)["outcome"] != Television::UNDER_WAY;
        char buffer[65536];
        while (file.read(buffer, sizeof(buffer)) || file.gcount() > 0) {
            log.Feed({buffer, static_cast<std::size_t>(file.gcount())});
        }
        if (isOver) {
            break;
        }
        log.Flush();
        std::cout.flush();
        file.clear();
        g_usleep(LOOK_EVERY_MICROSECONDS);
    }
    log.Finish();
}

void DeclareLog(Cli::Command& command, LogArguments& arguments) {
    command.Operand("N", arguments.number).Between(1, HIGHEST_NUMBER);
    command.Option("--level", "LEVEL", arguments.level, "show this priority and above: V, D, I, W, E or F")
        .OneOf({"V", "D", "I", "W", "E", "F"});
    command.Flag("-f,--follow", arguments.follow, "go on showing it until the run has ended");
    command.Flag("--show-secrets", arguments.showSecrets, "leave tokens, codes and verifiers as they are");
}

}  // namespace

void AddRunLog(Cli::Tool& tool) {
    tool.Add<bool>(
        "runs", "List the last " + std::to_string(Television::MOST_KEPT_RUNS) + " runs",
        R"(An outcome of "unfinished" is that of a run whose tool was killed; of one that
is "not kept", no more could be written.

Examples:
  infosync-tv runs
  infosync-tv runs --json)",
        [](Cli::Command& command, bool& json) { command.Json(json); }, &ShowRuns);
    tool.Add("log", "Show the log of a run",
             R"(N is the run's number, as `runs` shows it; without it, the newest run's log is
shown. It has every line of the level that the run had, with times, in the log
viewer's form "time".

Examples:
  infosync-tv log
  infosync-tv log 12 --level W
  infosync-tv log -f              # until the run has ended)",
             &DeclareLog, &ShowLog);
}

}  // namespace Commands
