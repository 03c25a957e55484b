#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Bundle.h"
#include "Television/Commands/Commands.h"
#include "TvFolder.h"

namespace Commands {

namespace {

constexpr char STANDARD_STREAM[] = "-";

struct ReportArguments {
    std::string file;
    bool withSecrets = false;
    bool force = false;
};

void Report(const ReportArguments& arguments) {
    const bool toOutput = arguments.file == STANDARD_STREAM;
    if (!toOutput && !arguments.force && std::filesystem::exists(arguments.file)) {
        throw std::runtime_error(Cli::Escape(arguments.file) +
                                 " is already there\nName another file, or replace it with --force");
    }
    std::vector<std::string> leftOut;
    const std::string text = Cli::JsonText(Television::Report(arguments.withSecrets, leftOut));
    for (const std::string& problem : leftOut) {
        std::cerr << "infosync-tv: left out: " << Cli::Escape(problem) << "\n";
    }
    if (toOutput) {
        std::cout << text;
    } else {
        Files::Replace(arguments.file, text);
        std::cout << Cli::Escape(arguments.file)
                  << (arguments.withSecrets ? ": the television WITH its secrets: keep it to yourself\n"
                                            : ": the television, its secrets replaced\n");
    }
    if (!leftOut.empty()) {
        throw Cli::ToldAlready();
    }
}

void AddReport(Cli::Tool& tool) {
    const auto arguments = std::make_shared<ReportArguments>();
    Cli::Command command =
        tool.Add("report", "Write the whole television to one file, to attach to a bug report",
                 R"(One JSON document with tv.ini, the settings, the stored records, the runs that are kept
with their logs, and the last requests to its local cloud; - writes to standard output.
Tokens, codes and verifiers are replaced, and all other texts of the stored records that are
not known to be harmless; user, device names and addresses are not. Nothing is written when
a stored secret is found in it. What tv.ini names outside of the folder, such as a
certificate file, is not part of it.

Examples:
  infosync-tv report tv.json
  infosync-tv report - | less)",
                 [arguments] { Report(*arguments); });
    command.Operand("FILE", arguments->file).Required();
    command.Flag("--with-secrets", arguments->withSecrets, "leave tokens, codes and verifiers in it");
    command.Flag("--force", arguments->force, "replace FILE");
}

std::string ReadAll(const std::string& file) {
    return file == STANDARD_STREAM ? std::string(std::istreambuf_iterator<char>(std::cin), {})
                                   : Files::Read(file);
}

void Import(const std::string& file, bool force) {
    bool secretsReplaced = false;
    std::vector<std::string> dropped;
    try {
        secretsReplaced = Television::Import(ReadAll(file), force, dropped);
    } catch (const std::exception& error) {
        throw std::runtime_error(Cli::Escape(file) + " was not imported: " + Cli::Reason(error));
    }
    std::cout << "the television of " << Cli::Escape(file) << " is now in " << Cli::Escape(TvFolder::Path())
              << "\n";
    for (const std::string& key : dropped) {
        std::cout << "Left out: " << key << ", which named a file outside of the television\n";
    }
    if (secretsReplaced) {
        std::cout << "Masked in it: tokens, device ids, the authorisation code and its verifier.\n"
                     "Tokens and activations count as run out, so that the next run gets new ones.\n";
    }
}

void AddImport(Cli::Tool& tool) {
    const auto file = std::make_shared<std::string>();
    const auto force = std::make_shared<bool>(false);
    Cli::Command command = tool.Add(
        "import", "Make the television that a file of report describes",
        R"(- reads standard input. Tokens and device ids that were masked count as run out: the next run
gets new ones.

Example:
  infosync-tv --dir /tmp/theirs import tv.json)",
        [file, force] { Import(*file, *force); });
    command.Operand("FILE", *file).Required();
    command.Flag("--force", *force, "replace the television that is in the folder");
}

}  // namespace

void AddBundle(Cli::Tool& tool) {
    AddReport(tool);
    AddImport(tool);
}

}  // namespace Commands
