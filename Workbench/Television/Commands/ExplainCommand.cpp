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

std::runtime_error Failure(const std::string& file) {
    return std::runtime_error(Cli::Escape(file) + ": " + std::generic_category().message(errno));
}

void CheckPage(const ExplainArguments& arguments) {
    const fs::path page = arguments.page;
    std::error_code ignored;
    if (arguments.page == STANDARD_INPUT) {
        throw Cli::UsageError("a page needs a file: standard output has the story");
    }
    if (!arguments.page.empty() && fs::equivalent(page, arguments.file, ignored)) {
        throw Cli::UsageError(Cli::Escape(arguments.page) + " is the log itself");
    }
    if (page.has_parent_path() && !fs::is_directory(page.parent_path(), ignored)) {
        throw std::runtime_error(Cli::Escape(page.parent_path().string()) + ": no such folder");
    }
}

/** @throws std::runtime_error for a file that begins as a compressed one does */
void CheckBeginning(const std::string& name, std::string_view beginning) {
    struct Compression {
        std::string_view start;
        const char* reader;
    };
    constexpr Compression COMPRESSIONS[] = {{"\x1f\x8b", "zcat"},
                                            {"BZh", "bzcat"},
                                            {"\xfd"
                                             "7zXZ",
                                             "xzcat"},
                                            {"\x28\xb5\x2f\xfd", "zstdcat"},
                                            {"PK\x03\x04", "unzip -p"}};
    for (const auto& [start, reader] : COMPRESSIONS) {
        if (Cli::StartsWith(beginning, start)) {
            throw std::runtime_error(Cli::Escape(name) + " is compressed\nUnpack it: " + reader + " " +
                                     Cli::Escape(name == STANDARD_INPUT ? "FILE" : name) +
                                     " | infosync-tv explain");
        }
    }
}

/** Hands the log over piece by piece. */
template <typename Reader>
void Read(const std::string& name, Reader& reader) {
    std::ifstream file;
    if (name != STANDARD_INPUT) {
        file.open(name, std::ios::binary);
    } else if (isatty(STDIN_FILENO) == 1) {
        std::cerr << "infosync-tv: reading the log from standard input, up to Ctrl-D\n";
    }
    std::istream& log = name == STANDARD_INPUT ? std::cin : file;
    std::array<char, 65536> piece = {};
    bool isFirst = true;
    while (log.read(piece.data(), piece.size()) || log.gcount() > 0) {
        const std::string_view read(piece.data(), static_cast<std::size_t>(log.gcount()));
        if (isFirst) {
            CheckBeginning(name, read);
        }
        isFirst = false;
        reader.Feed(read);
    }
    if (!log.eof()) {
        throw Failure(name);
    }
    reader.Finish();
}

void ShowMasked(const std::string& name) {
    const Cli::Masker masker;
    Log::MaskedLog log(&masker,
                       [](const Log::Line& line) { std::cout << Cli::EscapeLines(line.text) << "\n"; });
    Read(name, log);
}

/** Writes the stories one by one, as text or as an array of JSON. */
class Teller {
public:
    explicit Teller(const ExplainArguments& arguments) : m_arguments(arguments) {}

    void Tell(const Log::Story& story) {
        m_hasDevice = m_hasDevice || !story.records.empty();
        std::cout << (m_count > 0        ? (m_arguments.json ? ",\n" : "\n")
                      : m_arguments.json ? "[\n"
                                         : "")
                  << (m_arguments.json ? Cli::JsonText(Log::StoryJson(story))
                                       : Log::StoryText(story, m_style));
        ++m_count;
    }

    /** @throws std::runtime_error where nothing was told. @param remark on the log as a whole */
    void Finish(const std::string& remark) {
        std::cout << (!m_arguments.json ? "" : m_count == 0 ? "[]\n" : "]\n") << std::flush;
        if (m_count == 0) {
            throw std::runtime_error(
                Cli::Escape(m_arguments.file) + ": " +
                (remark.empty()
                     ? std::string("no line of the service is in it; its tag is ") + InfoSyncLog::TAG
                     : remark));
        }
        if (!remark.empty()) {
            std::cerr << "infosync-tv: " << remark << "\n";
        }
        if (!m_arguments.device.empty() && !m_hasDevice) {
            throw std::runtime_error("no run in this log tells of " + Cli::Escape(m_arguments.device));
        }
    }

private:
    const ExplainArguments& m_arguments;
    Cli::Style m_style{STDOUT_FILENO};
    std::size_t m_count = 0;
    bool m_hasDevice = false;
};

void Explain(const ExplainArguments& arguments) {
    if (arguments.masked) {
        ShowMasked(arguments.file);
        return;
    }
    CheckPage(arguments);
    const bool hasPage = !arguments.page.empty();
    Log::Page page(arguments.file == STANDARD_INPUT ? "standard input"
                                                    : fs::path(arguments.file).filename().string());
    Teller teller(arguments);
    Log::Runs runs(hasPage, [&](Log::Story& story) {
        Log::Narrow(story, arguments.device);
        teller.Tell(story);
        if (hasPage) {
            page.Add(story);
        }
    });
    Read(arguments.file, runs);
    teller.Finish(runs.Remark());
    if (hasPage) {
        Files::Replace(arguments.page, page.Code());
        std::cerr << Cli::Escape(arguments.page) << ": the page, for a browser\n";
    }
}

void Declare(Cli::Command& command, ExplainArguments& arguments) {
    command.Operand("FILE", arguments.file, "the log; - for standard input");
    const Cli::Parameter device =
        command
            .Option("--device", "NAME", arguments.device,
                    "tell of the records with this in their name, address or id alone")
            .Must(&Cli::IsNotEmpty);
    const Cli::Parameter page =
        command.Option("--html", "PAGE", arguments.page, "write a page with a picture of each run")
            .Must(&Cli::IsNotEmpty);
    const Cli::Parameter json = command.Flag("--json", arguments.json,
                                             "write JSON for scripts: an array with an object for each run");
    command.Flag("--masked", arguments.masked, "write the log itself, to be handed on")
        .Excludes(device)
        .Excludes(page)
        .Excludes(json);
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
