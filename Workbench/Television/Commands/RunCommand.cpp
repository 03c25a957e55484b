#include <glib.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>

#include "Cli/Style.h"
#include "Cli/Text.h"
#include "Television/Commands/Commands.h"
#include "Television/DeviceList.h"
#include "Television/IniFile.h"
#include "Television/LastRun.h"
#include "Television/LogReader.h"
#include "Television/Masker.h"
#include "Television/ServiceRun.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Cli::Colour;
using Cli::Style;
using Television::DeviceChange;

constexpr unsigned LONGEST_TIMEOUT_SECONDS = 86400;
constexpr char SERVICE_NAME[] = "bt-infosync";
// How a run ended is told by lines of this priority and above.
constexpr char LEVEL_NEEDED = 'W';

struct RunArguments {
    /** Empty for that of tv.ini. */
    std::string level;
    unsigned timeoutSeconds = 120;
    /** Empty for the usual one. */
    std::string service;
    bool showSecrets = false;
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

/** Larger for the more severe; -1 for what is no level. */
int Severity(char level) {
    const char* found = level == '\0' ? nullptr : std::strchr(Television::LOG_LEVELS, level);
    return found == nullptr ? -1 : static_cast<int>(found - Television::LOG_LEVELS);
}

Colour LineColour(char priority) {
    switch (priority) {
        case 'E':
        case 'F':
            return Colour::RED;
        case 'W':
            return Colour::YELLOW;
        case 'V':
        case 'D':
            return Colour::DIM;
        default:
            return Colour::PLAIN;
    }
}

/** Passes on the lines that were asked for; a line that is no log line is always shown. */
Television::LogReader::LineHandler PassOn(char level, bool showSecrets) {
    const auto masker = std::make_shared<Television::Masker>();
    masker->LearnKeys();
    return [level, showSecrets, masker, style = Style(STDERR_FILENO)](const Television::LogLine& line) {
        const std::string head = line.text.substr(0, line.messageAt);
        // Lines that are not shown are learned from as well.
        const std::string message =
            showSecrets ? line.Message() : masker->Mask(line.Message(), line.file.empty() ? "" : head);
        if (line.priority != '\0' && Severity(line.priority) < Severity(level)) {
            return;
        }
        const bool isError = line.text.find("<<Not Error>>") == std::string::npos;
        std::cerr << style(isError ? LineColour(line.priority) : Colour::PLAIN, head + message) << "\n";
    };
}

std::string DeviceWords(const Television::Device& device) {
    return Cli::Escape(device.name) + "  " + Cli::Escape(device.address);
}

std::string ChangeText(const DeviceChange& change, const Style& style) {
    const std::string id = "  (" + Cli::Escape(change.id) + ")\n";
    switch (change.kind) {
        case DeviceChange::Kind::ADDED:
            return style(Colour::GREEN, "  added    ") + DeviceWords(change.after) + id;
        case DeviceChange::Kind::REMOVED:
            return style(Colour::RED, "  removed  ") + DeviceWords(change.before) + id;
        case DeviceChange::Kind::RENAMED:
            return style(Colour::YELLOW, "  renamed  ") + Cli::Escape(change.before.name) + " -> " +
                   DeviceWords(change.after) + id;
        default:
            return style(Colour::YELLOW, "  changed  ") + DeviceWords(change.after) + "  users " +
                   Cli::Escape(Cli::Join(change.after.users, ", ")) + id;
    }
}

std::string ChangesText(const Television::DeviceList& before, const Television::DeviceList& after,
                        const Style& style) {
    if (!after.problem.empty()) {
        return style(Colour::RED, "the device list is damaged: ") + Cli::Escape(after.problem) +
               "\nA factory reset clears it: infosync-tv factory-reset\n";
    }
    const std::vector<DeviceChange> changes = Television::Compare(before, after);
    std::string text = "device list: " + Cli::Count(after.devices.size(), "device") +
                       (changes.empty() ? ", nothing changed" : "") + "\n";
    for (const DeviceChange& change : changes) {
        text += ChangeText(change, style);
    }
    return text;
}

void Run(const RunArguments& arguments) {
    Television::Require();
    const auto television = TvFolder::ReadIni();
    const std::string level =
        arguments.level.empty() ? television->Text(TvKeys::LOG_LEVEL).value_or("I") : arguments.level;
    Television::RunOptions options;
    options.service = ServicePath(arguments);
    options.level = Severity(level[0]) > Severity(LEVEL_NEEDED) ? LEVEL_NEEDED : level[0];
    options.timeoutSeconds = arguments.timeoutSeconds;
    if (const auto file = television->Text(TvKeys::LOG_FILE)) {
        options.logFile = TvFolder::Resolve(*file);
    }
    const Television::DeviceList before = Television::ReadDeviceList();
    const auto started = std::chrono::steady_clock::now();
    const Television::RunOutcome outcome =
        Television::RunService(options, PassOn(level[0], arguments.showSecrets));
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - started;

    const Style style(STDOUT_FILENO);
    const bool isSuccess = outcome.kind == Television::RunOutcome::Kind::SUCCESS;
    std::cout << ChangesText(before, Television::ReadDeviceList(), style) << "run: "
              << style(isSuccess ? Colour::GREEN : Colour::RED,
                       Cli::Escape(Television::OutcomeWords(outcome)))
              << " (" << std::fixed << std::setprecision(2) << duration.count() << " s)\n";
    Television::WriteLastRun(outcome, std::time(nullptr), duration.count());
    if (!isSuccess) {
        throw CLI::RuntimeError(Cli::EXIT_FAILED);
    }
}

}  // namespace

void AddRun(Cli::Tool& tool) {
    const auto arguments = std::make_shared<RunArguments>();
    CLI::App& command = tool.Command(
        "run", "Run the service once on this television",
        R"(The service's log goes to standard error; what changed in the device list and how the run
ended goes to standard output and is kept for `infosync-tv status`. The exit status is 0
only for a run that came to its good end. Secrets in the log are cut to their first
characters.

Examples:
  infosync-tv run
  infosync-tv run --level E
  infosync-tv run --level D --show-secrets 2>run.log)");
    tool.OneOf(command.add_option("--level", arguments->level,
                                  "show this priority and above: V, D, I, W, E or F (default: [log] level)"),
               {"V", "D", "I", "W", "E", "F"})
        ->option_text("LEVEL");
    command
        .add_option("--timeout", arguments->timeoutSeconds,
                    "end a run that does not end by itself (default: 120)")
        ->option_text("SECONDS")
        ->check(CLI::Range(1U, LONGEST_TIMEOUT_SECONDS));
    command
        .add_option("--service", arguments->service,
                    "the service's executable (default: bt-infosync beside this tool)")
        ->option_text("FILE");
    command.add_flag("--show-secrets", arguments->showSecrets,
                     "leave tokens, codes and verifiers in the log as they are");
    command.callback([arguments] { Run(*arguments); });
}

}  // namespace Commands
