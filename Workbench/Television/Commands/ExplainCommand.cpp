#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Text.h"
#include "Cli/Values.h"
#include "Files.h"
#include "Television/Commands/Commands.h"
#include "Television/Explain/Explainer.h"
#include "Television/Explain/Page.h"
#include "Television/Explain/Story.h"
#include "Television/Explain/Trace.h"

namespace Commands {

namespace {

struct ExplainArguments {
    std::string file = "-";
    bool json = false;
    std::string page;
    std::string trace;
};

std::runtime_error Failure(const std::string& file) {
    return std::runtime_error(Cli::Escape(file) + ": " + std::generic_category().message(errno));
}

/** @return a stream that is not open where no trace is wanted */
std::ofstream OpenTrace(const ExplainArguments& arguments) {
    std::ofstream trace;
    for (const std::string& written : {arguments.page, arguments.trace}) {
        if (written == "-") {
            throw Cli::UsageError("a page or a trace needs a file: standard output has the story");
        }
        std::error_code error;
        if (!written.empty() && std::filesystem::equivalent(written, arguments.file, error)) {
            throw Cli::UsageError(Cli::Escape(written) + " is the log itself");
        }
    }
    if (!arguments.trace.empty()) {
        trace.open(arguments.trace, std::ios::binary);
        if (!trace) {
            throw Failure(arguments.trace);
        }
    }
    return trace;
}

/** Hands the log over piece by piece. */
void Read(const std::string& name, Explain::Explainer& explainer) {
    std::ifstream file;
    if (name != "-") {
        file.open(name, std::ios::binary);
    }
    std::istream& log = name == "-" ? std::cin : file;
    std::array<char, 65536> piece = {};
    while (log.read(piece.data(), piece.size()) || log.gcount() > 0) {
        explainer.Feed({piece.data(), static_cast<std::size_t>(log.gcount())});
    }
    if (!log.eof()) {
        throw Failure(name);
    }
    explainer.Finish();
}

void Close(std::ofstream& file, Explain::Trace& trace, const std::string& name) {
    trace.Finish();
    file.close();
    if (!file) {
        throw Failure(name);
    }
    if (trace.EventCount() == 0) {
        throw std::runtime_error(Cli::Escape(name) + " is empty: only a log of level D has the traced calls");
    }
    std::cerr << Cli::Escape(name) << ": the trace, for ui.perfetto.dev or chrome://tracing\n";
}

void ExplainLog(const ExplainArguments& arguments) {
    std::ofstream traceFile = OpenTrace(arguments);
    Explain::Trace trace(traceFile);
    Explain::Page page(arguments.file == "-" ? "standard input"
                                             : std::filesystem::path(arguments.file).filename().string());
    const Cli::Style style(STDOUT_FILENO);
    std::size_t count = 0;
    Explain::Explainer explainer(
        [&](const Explain::Run& run) {
            std::cout << (count > 0        ? (arguments.json ? ",\n" : "\n")
                          : arguments.json ? "[\n"
                                           : "")
                      << (arguments.json ? Cli::JsonText(Explain::StoryJson(run))
                                         : Explain::StoryText(run, style));
            if (!arguments.page.empty()) {
                page.Add(run);
            }
            ++count;
        },
        [&](const Explain::LogLine& line) {
            if (traceFile.is_open()) {
                trace.Take(line);
            }
        });
    Read(arguments.file, explainer);
    std::cout << (!arguments.json ? "" : count == 0 ? "[]\n" : "]\n");
    if (count == 0) {
        throw std::runtime_error(Cli::Escape(arguments.file) +
                                 ": no line of the service is in it; its tag is " + Explain::SERVICE_TAG);
    }
    if (!arguments.page.empty()) {
        Files::Replace(arguments.page, page.Code());
        std::cerr << Cli::Escape(arguments.page) << ": the page, for a browser\n";
    }
    if (traceFile.is_open()) {
        Close(traceFile, trace, arguments.trace);
    }
}

}  // namespace

void AddExplain(Cli::Tool& tool) {
    const auto arguments = std::make_shared<ExplainArguments>();
    Cli::Command command = tool.Add(
        "explain", "Tell what the service did, from its log alone",
        R"(FILE, or standard input, is a log from a set or a desk: of the log viewer in its forms brief,
time, threadtime or long, of journalctl, or of the service itself, with other programs' lines
between and cut anywhere. Each run is told as a short story: what it did and why, what failed
and what to do. The more a log holds (--level of run, up to D), the more is told. Tokens,
codes and verifiers are masked.

The page shows a run as a picture: who said what to whom, each step with its lines. It needs
neither a network nor scripts. The trace shows how long each call took.

Examples:
  infosync-tv explain set.log
  infosync-tv explain set.log --html set.html
  journalctl -u bt-infosync | infosync-tv explain
  infosync-tv run --level D 2>&1 | infosync-tv explain --trace trace.json)",
        [arguments] { ExplainLog(*arguments); });
    command.Operand("FILE", arguments->file, "the log; - for standard input");
    command.Json(arguments->json);
    command.Option("--html", "PAGE", arguments->page, "write a page with a picture of each run")
        .Must(&Cli::IsNotEmpty);
    command.Option("--trace", "TRACE", arguments->trace, "write the traced calls as Chrome trace events");
}

}  // namespace Commands
