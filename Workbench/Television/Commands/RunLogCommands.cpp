#include <glib.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Masker.h"
#include "Util/JsonUtil.h"

namespace Commands {

namespace {

// Far beyond every run that there will be.
constexpr std::int64_t HIGHEST_NUMBER = 1'000'000'000;
constexpr gulong LOOK_EVERY_MICROSECONDS = 100'000;

void Runs(bool json) {
    Television::Require();
    const std::vector<Json::Value> runs = Television::ReadKeptRuns();
    Json::Value all(Json::arrayValue);
    Cli::Table table({"N", "ENDED", "CHANGES", "OUTCOME"});
    for (const Json::Value& run : runs) {
        all.append(run);
        const std::string requests = Television::RequestsWords(run["requests"]);
        table.Add({Cli::TextMember(run, "number"),
                   run.isMember("finished") ? Cli::DateTime(InfoSyncUtil::ToInt64(run["finished"])) : "",
                   std::to_string(run["changes"].size()),
                   Cli::TextMember(run, "words") + (requests.empty() ? "" : "; asked for: " + requests)});
    }
    std::cout << (json           ? Cli::JsonText(all)
                  : runs.empty() ? "no runs yet: infosync-tv run\n"
                                 : table.Text(Cli::Style(STDOUT_FILENO)));
}

struct LogArguments {
    /** 0 for the newest. */
    std::int64_t number = 0;
    bool follow = false;
    bool showSecrets = false;
};

/** The run that is meant. @throws std::runtime_error when it is not kept */
Json::Value FindRun(std::int64_t number) {
    for (const Json::Value& run : Television::ReadKeptRuns()) {
        if (InfoSyncUtil::ToInt64(run["number"]) == number) {
            return run;
        }
    }
    Json::Value newest = number == 0 ? Television::ReadNewestRun() : Json::Value();
    if (newest.isNull()) {
        throw std::runtime_error(number == 0 ? "no run is kept\nStart one: infosync-tv run"
                                             : "the run " + std::to_string(number) +
                                                   " is not kept\nThose that are: infosync-tv runs");
    }
    return newest;
}

void Log(const LogArguments& arguments) {
    Television::Require();
    const auto number = InfoSyncUtil::ToInt64(FindRun(arguments.number)["number"]);
    std::ifstream file(Television::KeptLogPath(number), std::ios::binary);
    if (!file) {
        throw std::runtime_error("the log of the run cannot be read: " + Television::KeptLogPath(number));
    }
    Television::Masker masker;
    masker.LearnKeys();
    Explain::LogForms reader([&](const Explain::LogLine& line) {
        std::cout << Cli::EscapeLines(arguments.showSecrets ? line.text : masker.MaskLine(line).text) << "\n";
    });
    // Asked before each look at the log, so that its end is not missed.
    bool isOver = false;
    while (std::cout) {
        isOver = !arguments.follow || !Television::IsUnderWay(number);
        char buffer[65536];
        while (file.read(buffer, sizeof(buffer)) || file.gcount() > 0) {
            reader.Feed({buffer, static_cast<std::size_t>(file.gcount())});
        }
        if (isOver) {
            break;
        }
        std::cout.flush();
        file.clear();
        g_usleep(LOOK_EVERY_MICROSECONDS);
    }
    reader.Finish();
}

}  // namespace

void AddRunLog(Cli::Tool& tool) {
    tool.AddReading("runs", "List the last 20 runs",
                    R"(An outcome of "unfinished" is that of a run under way, or of one that was killed.

Examples:
  infosync-tv runs
  infosync-tv runs --json)",
                    &Runs);
    const auto arguments = std::make_shared<LogArguments>();
    Cli::Command command = tool.Add(
        "log", "Show the log of a run",
        R"(N is the run's number, as `runs` shows it; without it, the newest run's log is shown. It has
every line of the level that the run had, with times, in the log viewer's form "time".

Examples:
  infosync-tv log
  infosync-tv log 12
  infosync-tv log -f              # until the run has ended)",
        [arguments] { Log(*arguments); });
    command.Operand("N", arguments->number).Between(1, HIGHEST_NUMBER);
    command.Flag("-f,--follow", arguments->follow, "go on showing it until the run has ended");
    command.Flag("--show-secrets", arguments->showSecrets, "leave tokens, codes and verifiers as they are");
}

}  // namespace Commands
