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
#include <sstream>

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

using Cli::Arguments;
using Cli::Colour;
using Cli::Style;
using Television::DeviceChange;

constexpr unsigned DEFAULT_TIMEOUT_SECONDS = 120;
constexpr unsigned LONGEST_TIMEOUT_SECONDS = 86400;
constexpr char SERVICE_NAME[] = "bt-infosync";
// How a run ended is told by lines of this priority and above.
constexpr char LEVEL_NEEDED = 'W';

std::string ServicePath(const Arguments& arguments) {
    if (arguments.Has("service")) {
        return arguments.Value("service");
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

char Level(const Arguments& arguments) {
    const std::string level =
        arguments.Value("level", TvFolder::ReadIni()->Text(TvKeys::LOG_LEVEL).value_or("I"));
    if (level.size() != 1 || Severity(level[0]) < 0) {
        throw Cli::UsageError("--level: \"" + level + "\" is none of V, D, I, W, E, F");
    }
    return level[0];
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

int Run(const Arguments& arguments) {
    Television::Require();
    const char level = Level(arguments);
    Television::RunOptions options;
    options.service = ServicePath(arguments);
    options.level = Severity(level) > Severity(LEVEL_NEEDED) ? LEVEL_NEEDED : level;
    options.timeoutSeconds = static_cast<unsigned>(
        arguments.Number("timeout", DEFAULT_TIMEOUT_SECONDS, 1, LONGEST_TIMEOUT_SECONDS));
    if (const auto file = TvFolder::ReadIni()->Text(TvKeys::LOG_FILE)) {
        options.logFile = TvFolder::Resolve(*file);
    }
    const Television::DeviceList before = Television::ReadDeviceList();
    const auto started = std::chrono::steady_clock::now();
    const Television::RunOutcome outcome =
        Television::RunService(options, PassOn(level, arguments.Has("show-secrets")));
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - started;

    const Style style(STDOUT_FILENO);
    const bool isSuccess = outcome.kind == Television::RunOutcome::Kind::SUCCESS;
    Cli::Print(ChangesText(before, Television::ReadDeviceList(), style));
    std::ostringstream seconds;
    seconds << std::fixed << std::setprecision(2) << duration.count();
    Cli::Print(
        "run: " +
        style(isSuccess ? Colour::GREEN : Colour::RED, Cli::Escape(Television::OutcomeWords(outcome))) +
        " (" + seconds.str() + " s)\n");
    Television::WriteLastRun(outcome, std::time(nullptr), duration.count());
    return isSuccess ? Cli::EXIT_FINE : Cli::EXIT_FAILED;
}

}  // namespace

Cli::Command RunCommand() {
    return {"run",
            {},
            "Run the service once on this television",
            "The service's log goes to standard error; what changed in the device list and how the run ended "
            "goes to\n"
            "standard output and is kept for `infosync-tv status`. The exit status is 0 only for a run that "
            "came to "
            "its\ngood end. Secrets in the log are cut to their first characters.",
            {"infosync-tv run", "infosync-tv run --level E",
             "infosync-tv run --level D --show-secrets 2>run.log"},
            {{"level", "LEVEL", "show this priority and above: V, D, I, W, E or F (default: [log] level)"},
             {"timeout", "SECONDS", "end a run that does not end by itself (default 120)"},
             {"service", "FILE", "the service's executable (default: bt-infosync beside this tool)"},
             {"show-secrets", "", "leave tokens, codes and verifiers in the log as they are"}},
            {},
            &Run};
}

}  // namespace Commands
