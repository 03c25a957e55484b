#include <glib.h>

#include <ctime>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>

#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Log/Message.h"
#include "Television/Stored.h"
#include "TvFolder.h"

namespace Commands {

namespace {

namespace fs = std::filesystem;

/** What the files of a report hold, by their names. */
using FilesOfReport = std::map<fs::path, std::string>;

/** The television's files, with what its local cloud was asked and the versions of what made the report. */
FilesOfReport ReadFiles() {
    FilesOfReport files;
    for (const fs::path& path : Television::TelevisionPaths()) {
        if (fs::is_directory(path)) {
            static_cast<void>(
                fs::directory_iterator(path));  // what is in it comes by itself, if it can be read
        } else if (const auto bytes = Files::ReadIfThere(path)) {
            files[path.lexically_relative(TvFolder::Path())] = *bytes;
        }
    }
    const std::string exchanges = Television::Cloud::Find().folder + "/state/exchanges.jsonl";
    files["exchanges.jsonl"] = Files::ReadIfThere(exchanges).value_or("");
    Json::Value versions;
    versions["infosync-tv"] = INFOSYNC_VERSION;
    versions["written"] = Json::Int64{std::time(nullptr)};
    versions["distribution"] = Cli::Taken(g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME));
    files["versions.json"] = Cli::JsonText(versions);
    return files;
}

/** Masks its secrets, and lets its tokens have run out. @throws std::runtime_error when a stored secret stays
 */
std::string Masked(const fs::path& file, const std::string& bytes, const Cli::Masker& masker) {
    // What tokens and activations end by: at the beginning of time they have run out.
    const Cli::Pattern ends(std::string(R"("(?:)") + CJsonWebToken::EXPIRE_TIME + "|" +
                            CServiceActivationInfo::EXPIRE_TIME + "|" + CAccessToken::ISSUED_TIME +
                            R"re()"\s*:\s*(?<v>[^,}\s]+))re");
    std::string masked = file.extension() == ".log" ? Log::MaskLog(bytes, masker) : masker.Mask(bytes);
    if (file.parent_path() == "keys") {
        masked = ends.Replace(masked, "0");
    }
    const std::string secret = masker.FindStored(masked);
    if (!secret.empty()) {
        throw std::runtime_error("the secret " + Cli::Abbreviate(secret) + " was not masked in " +
                                 file.string() +
                                 ", so nothing was written\nThis is a fault of infosync-tv: please "
                                 "tell its developers, without the television");
    }
    return masked;
}

/** @return an archive of one folder of that name */
std::string Pack(const std::string& name, const FilesOfReport& files) {
    const std::string folder = Cli::Taken(g_dir_make_tmp("infosync-report-XXXXXX", nullptr));
    if (folder.empty()) {
        throw std::runtime_error("no temporary folder could be made: see TMPDIR");
    }
    const auto remove = [](const std::string* path) {
        std::error_code ignored;
        fs::remove_all(*path, ignored);
    };
    const std::unique_ptr<const std::string, decltype(remove)> removed(&folder, remove);
    const Cli::Masker masker(Television::StoredSecrets());
    for (const auto& [file, bytes] : files) {
        Files::Replace(fs::path(folder) / name / file, Masked(file, bytes, masker));
    }
    const std::string archive = folder + "/archive";
    // Whoever takes it out owns it.
    const char* const command[] = {"tar",  "--owner=0",     "--group=0", "--numeric-owner",
                                   "-czf", archive.c_str(), "-C",        folder.c_str(),
                                   "--",   name.c_str(),    nullptr};
    char* said = nullptr;
    int status = -1;
    g_spawn_sync(nullptr, const_cast<char**>(command), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr,
                 nullptr, &said, &status, nullptr);
    const std::string problem = Cli::Taken(said);
    if (status != 0) {
        throw std::runtime_error("tar failed: " + (problem.empty() ? "is it installed?" : problem));
    }
    return Files::Read(archive);
}

struct ReportArguments {
    std::string file;
    bool force = false;
};

void Report(const ReportArguments& arguments) {
    Television::Require();
    const fs::path file = fs::absolute(arguments.file);
    RequireFolderOf(file);
    if (!arguments.force && fs::exists(file)) {
        throw std::runtime_error(arguments.file +
                                 " is already there\nName another file, or replace it with --force");
    }
    const std::string fileName = file.filename().string();
    const std::string name = fileName.substr(0, fileName.find('.', 1));
    Files::Replace(file, Pack(name, ReadFiles()));
    std::cout << Cli::Escape(arguments.file)
              << ": the television, its secrets masked\nTo look into it: tar xzf "
              << Cli::Escape(arguments.file) << ", then infosync-tv --dir " << Cli::Escape(name)
              << " status\n";
}

}  // namespace

void RequireFolderOf(const fs::path& file) {
    const fs::path folder = fs::absolute(file).parent_path();
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        throw std::runtime_error("there is no folder " + Cli::Escape(folder.string()));
    }
}

void AddReport(Cli::Tool& tool) {
    tool.Add(
        "report", "Write the whole television to an archive, to attach to a bug report",
        R"(The television's folder, and beside it versions.json and exchanges.jsonl, the
last requests to its local cloud. Tokens, codes and verifiers are masked, and
tokens have run out in it; user, device names and addresses are as they are.
Nothing is written when a stored secret is found in it.

Example:
  infosync-tv report tv.tar.gz
  tar xzf tv.tar.gz; infosync-tv --dir tv status      # at who gets it)",
        +[](Cli::Command& command, ReportArguments& arguments) {
            command.Operand("FILE.tar.gz", arguments.file).Required();
            command.Flag("--force", arguments.force, "replace the file");
        },
        &Report);
}

}  // namespace Commands
