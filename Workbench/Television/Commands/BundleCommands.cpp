#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/Bundle.h"
#include "Television/Commands/Commands.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Cli::Arguments;

constexpr char STANDARD_STREAM[] = "-";

int Export(const Arguments& arguments) {
    const std::string file = arguments.Operand(0);
    const bool toOutput = file == STANDARD_STREAM;
    if (!toOutput && !arguments.Has("force") && std::filesystem::exists(file)) {
        throw std::runtime_error(Cli::Escape(file) +
                                 " is already there\nName another file, or replace it with --force");
    }
    std::vector<std::string> unreadable;
    const bool withSecrets = arguments.Has("with-secrets");
    const std::string text = Cli::JsonText(Television::Export(withSecrets, unreadable));
    for (const std::string& problem : unreadable) {
        std::cerr << "infosync-tv: left out: " << Cli::Escape(problem) << "\n";
    }
    if (toOutput) {
        Cli::Print(text);
    } else {
        TvFolder::WriteFile(file, text);
        Cli::Print(Cli::Escape(file) + (withSecrets
                                            ? ": the television WITH its secrets: keep it to yourself\n"
                                            : ": the television, its secrets replaced\n"));
    }
    return unreadable.empty() ? Cli::EXIT_FINE : Cli::EXIT_FAILED;
}

int Import(const Arguments& arguments) {
    const std::string file = arguments.Operand(0);
    bool secretsReplaced = false;
    try {
        secretsReplaced = Television::Import(TvFolder::ReadFile(file), arguments.Has("force"));
    } catch (const std::exception& error) {
        throw std::runtime_error(Cli::Escape(file) + " was not imported: " + error.what());
    }
    Cli::Print("the television of " + Cli::Escape(file) + " is now in " + Cli::Escape(TvFolder::Path()) +
               "\n" +
               (secretsReplaced
                    ? "Its secrets were replaced when it was exported: the servers will refuse its tokens.\n"
                    : ""));
    return Cli::EXIT_FINE;
}

}  // namespace

std::vector<Cli::Command> BundleCommands() {
    return {
        {"export",
         {"FILE"},
         "Write the whole television to one file, to attach to a bug report",
         "One JSON document with tv.ini, the settings and the stored records; - writes to standard output. "
         "Tokens, "
         "codes\nand verifiers are replaced; user, device names and addresses are not. What tv.ini names "
         "outside of "
         "these, such as\na certificate file, is not part of it.",
         {"infosync-tv export tv.json", "infosync-tv export - | less"},
         {{"with-secrets", "", "leave tokens, codes and verifiers in it"}, {"force", "", "replace FILE"}},
         {},
         &Export},
        {"import",
         {"FILE"},
         "Make the television that a file of export describes",
         "",
         {"infosync-tv --dir /tmp/theirs import tv.json"},
         {{"force", "", "replace the television that is in the folder"}},
         {},
         &Import},
    };
}

}  // namespace Commands
