#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "Cli/Text.h"
#include "Files.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Report.h"

namespace Commands {

namespace {

namespace fs = std::filesystem;

struct ReportArguments {
    std::string file;
    bool force = false;
};

void Report(const ReportArguments& arguments) {
    Television::Require();
    const std::string shown = Cli::Escape(arguments.file);
    const fs::path file = fs::absolute(arguments.file);
    if (!fs::is_directory(file.parent_path())) {
        throw std::runtime_error("there is no folder " + Cli::Escape(file.parent_path().string()));
    }
    if (!arguments.force && fs::exists(file)) {
        throw std::runtime_error(shown + " is already there\nName another file, or replace it with --force");
    }
    const std::string fileName = file.filename().string();
    const std::string name = fileName.substr(0, fileName.find('.', 1));
    std::vector<std::string> leftOut;
    Files::Replace(file, Television::PackReport(name, leftOut));
    std::cout << shown << ": the television, its secrets masked\nTo look into it: tar xzf " << shown
              << ", then infosync-tv --dir " << Cli::Escape(name) << " status\n";
    for (const std::string& problem : leftOut) {
        std::cerr << "infosync-tv: left out: " << Cli::Escape(problem) << "\n";
    }
    if (!leftOut.empty()) {
        throw Cli::ToldAlready();
    }
}

void DeclareReport(Cli::Command& command, ReportArguments& arguments) {
    command.Operand("FILE.tar.gz", arguments.file).Required();
    command.Flag("--force", arguments.force, "replace the file");
}

}  // namespace

void AddReport(Cli::Tool& tool) {
    tool.Add("report", "Write the whole television to an archive, to attach to a bug report",
             R"(The television's folder with tv.ini, the settings, the stored records and the runs that are
kept, and beside it versions.json and exchanges.json, the last requests to its local cloud.
Tokens, codes and verifiers are masked, and masked tokens have run out in it; user, device
names and addresses are as they are. Nothing is written when a stored secret is found in it.
What tv.ini names outside of the folder, such as a certificate file, is not part of it.

Example:
  infosync-tv report tv.tar.gz
  tar xzf tv.tar.gz; infosync-tv --dir tv status      # at who gets it)",
             &DeclareReport, &Report);
}

}  // namespace Commands
