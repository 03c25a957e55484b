#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Commands/Commands.h"
#include "Television/Log/Message.h"
#include "Television/Log/Page.h"
#include "Television/Log/Runs.h"
#include "Television/Log/Story.h"
#include "Util/Log.h"

namespace Commands {

namespace {

namespace fs = std::filesystem;

constexpr char STANDARD_INPUT[] = "-";

struct ExplainArguments {
    std::string file = STANDARD_INPUT;
    std::string device;
    std::string page;
    bool json = false;
    bool masked = false;
};

void CheckPage(const ExplainArguments& arguments) {
    std::error_code ignored;
    if (arguments.page == STANDARD_INPUT) {
        throw Cli::UsageError("a page needs a file: standard output has the story");
    }
    if (fs::equivalent(arguments.page, arguments.file, ignored)) {
        throw Cli::UsageError(Cli::Escape(arguments.page) + " is the log itself");
    }
    RequireFolderOf(arguments.page);
}

/** Hands the log over piece by piece. @throws std::runtime_error for one that is compressed or cannot be read
 */
template <typename Reader>
void Read(const std::string& name, Reader& reader) {
    static const Cli::Pattern compressed(R"(^(?:\x1f\x8b|BZh|\xfd7zXZ|\x28\xb5\x2f\xfd|PK\x03\x04))");
    std::ifstream file;
    if (name != STANDARD_INPUT) {
        file.open(name, std::ios::binary);
    } else if (isatty(STDIN_FILENO) == 1) {
        std::cerr << "infosync-tv: reading the log from standard input, up to Ctrl-D\n";
    }
    std::istream& log = name == STANDARD_INPUT ? std::cin : file;
    std::array<char, 65536> buffer = {};
    for (bool isFirst = true; log.read(buffer.data(), buffer.size()) || log.gcount() > 0; isFirst = false) {
        const std::string_view piece(buffer.data(), static_cast<std::size_t>(log.gcount()));
        if (isFirst && compressed.Find(piece)) {
            throw std::runtime_error(Cli::Escape(name) + " is compressed\nUnpack it first: zcat, xzcat, ...");
        }
        reader.Feed(piece);
    }
    if (!log.eof()) {
        throw std::runtime_error(Cli::Escape(name) + ": " + std::generic_category().message(errno));
    }
    reader.Finish();
}

/** Tells the stories one by one, as text or as an array of JSON. */
void Tell(const ExplainArguments& arguments, Log::Page& page) {
    const Cli::Style style(STDOUT_FILENO);
    const char* before = arguments.json ? "[\n" : "";
    std::size_t count = 0;
    bool hasDevice = arguments.device.empty();
    Log::Runs runs(!arguments.page.empty(), [&](Log::Story& story) {
        Log::Narrow(story, arguments.device);
        if (!arguments.page.empty()) {
            page.Add(story);
        }
        std::cout << before << (arguments.json ? Cli::JsonText(story) : Log::StoryText(story, style));
        before = arguments.json ? ",\n" : "\n";
        ++count;
        hasDevice = hasDevice || !story["records"].empty();
    });
    Read(arguments.file, runs);
    std::cout << (!arguments.json ? "" : count > 0 ? "]\n" : "[]\n") << std::flush;
    std::string remark = runs.Remark();
    if (count == 0) {
        remark = remark.empty() ? std::string("no line of the service is in it, such as \"E/") +
                                      InfoSyncLog::TAG + "(700): FILE: FUNCTION(LINE) > ...\""
                                : remark;
        throw std::runtime_error(Cli::Escape(arguments.file) + ": " + remark);
    }
    std::cerr << (remark.empty() ? "" : "infosync-tv: " + remark + "\n");
    if (!hasDevice) {
        throw std::runtime_error("no run in this log tells of " + Cli::Escape(arguments.device));
    }
}

void Explain(const ExplainArguments& arguments) {
    if (arguments.masked) {
        const Cli::Masker masker;
        Log::Messages log = Log::MaskedLines(
            &masker, [](const Log::Line& line) { std::cout << Cli::EscapeLines(line.text) << "\n"; });
        Read(arguments.file, log);
        return;
    }
    if (!arguments.page.empty()) {
        CheckPage(arguments);
    }
    Log::Page page;
    Tell(arguments, page);
    if (!arguments.page.empty()) {
        const std::string name = fs::path(arguments.file).filename();
        Files::Replace(arguments.page, page.Code(name == STANDARD_INPUT ? "standard input" : name));
        std::cerr << Cli::Escape(arguments.page) << ": the page, for a browser\n";
    }
}

void Declare(Cli::Command& command, ExplainArguments& arguments) {
    command.Operand("FILE", arguments.file, "the log; - for standard input");
    const Cli::Parameter masked =
        command.Flag("--masked", arguments.masked, "write the log itself, to be handed on");
    command
        .Option("--device", "NAME", arguments.device,
                "tell of the records with this in their name, address or id alone")
        .Must(&Cli::IsNotEmpty)
        .Excludes(masked);
    command.Option("--html", "PAGE", arguments.page, "write a page with a picture of each run")
        .Must(&Cli::IsNotEmpty)
        .Excludes(masked);
    command.Flag("--json", arguments.json, "write JSON for scripts: an array with an object for each run")
        .Excludes(masked);
}

}  // namespace

void AddExplain(Cli::Tool& tool) {
    tool.Add("explain", "Tell what the service did, from its log alone",
             R"(FILE, or standard input, is a log from a set or a desk: of the log viewer, of
journalctl (-o json too), found by grep, quoted in a mail or a table, with other
programs' lines between and cut anywhere. Each run is told as a short story:
what it did and why, what failed and what to do. What the log does not tell is
told as that, with what would tell it: mostly a lower level (`run --level`, down
to D). Tokens, codes and verifiers are masked.

The page shows a run as a picture: who said what to whom, each step with its
lines. It needs neither a network nor scripts. A log that is written --masked
has its user and device names and its addresses still.

Examples:
  infosync-tv explain set.log
  infosync-tv explain set.log --html set.html
  infosync-tv explain set.log --device kitchen
  infosync-tv explain set.log --masked > masked.log
  journalctl -u bt-infosync | infosync-tv explain)",
             &Declare, &Explain);
}

}  // namespace Commands
