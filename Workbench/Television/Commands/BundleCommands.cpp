#include <filesystem>
#include <iostream>
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

struct ExportArguments {
    std::string file;
    bool withSecrets = false;
    bool force = false;
};

void Export(const ExportArguments& arguments) {
    const bool toOutput = arguments.file == STANDARD_STREAM;
    if (!toOutput && !arguments.force && std::filesystem::exists(arguments.file)) {
        throw std::runtime_error(Cli::Escape(arguments.file) +
                                 " is already there\nName another file, or replace it with --force");
    }
    std::vector<std::string> unreadable;
    const std::string text = Cli::JsonText(Television::Export(arguments.withSecrets, unreadable));
    for (const std::string& problem : unreadable) {
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
    if (!unreadable.empty()) {
        throw CLI::RuntimeError(Cli::EXIT_FAILED);
    }
}

void AddExport(Cli::Tool& tool) {
    const auto arguments = std::make_shared<ExportArguments>();
    CLI::App& command = tool.Command(
        "export", "Write the whole television to one file, to attach to a bug report",
        R"(One JSON document with tv.ini, the settings and the stored records; - writes to standard
output. Tokens, codes and verifiers are replaced; user, device names and addresses are
not. Of the stored records, all other texts are replaced as well. What tv.ini names
outside of the folder, such as a certificate file, is not part of it.

Examples:
  infosync-tv export tv.json
  infosync-tv export - | less)");
    command.add_option("FILE", arguments->file)->required();
    command.add_flag("--with-secrets", arguments->withSecrets, "leave tokens, codes and verifiers in it");
    command.add_flag("--force", arguments->force, "replace FILE");
    command.callback([arguments] { Export(*arguments); });
}

void Import(const std::string& file, bool force) {
    bool secretsReplaced = false;
    try {
        secretsReplaced = Television::Import(Files::Read(file), force);
    } catch (const std::exception& error) {
        throw std::runtime_error(Cli::Escape(file) + " was not imported: " + Cli::Reason(error));
    }
    std::cout << "the television of " << Cli::Escape(file) << " is now in " << Cli::Escape(TvFolder::Path())
              << "\n";
    if (secretsReplaced) {
        std::cout << "Its secrets were replaced when it was exported: the servers will refuse its tokens.\n";
    }
}

void AddImport(Cli::Tool& tool) {
    const auto file = std::make_shared<std::string>();
    const auto force = std::make_shared<bool>(false);
    CLI::App& command = tool.Command("import", "Make the television that a file of export describes",
                                     "Example:\n  infosync-tv --dir /tmp/theirs import tv.json");
    command.add_option("FILE", *file)->required();
    command.add_flag("--force", *force, "replace the television that is in the folder");
    command.callback([file, force] { Import(*file, *force); });
}

}  // namespace

void AddBundle(Cli::Tool& tool) {
    AddExport(tool);
    AddImport(tool);
}

}  // namespace Commands
