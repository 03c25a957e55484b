#include <glib.h>
#include <sys/utsname.h>

#include <ctime>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Errors.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Cloud.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Log/Message.h"
#include "Television/Stored.h"
#include "TvFolder.h"

namespace Commands {

namespace {

namespace fs = std::filesystem;

/** The television's files without their secrets, in a folder for the time of packing. */
class Packing {
public:
    /** @param name of the one folder in the archive */
    explicit Packing(const std::string& name)
        : m_name(name), m_folder(Cli::Taken(g_dir_make_tmp("infosync-report-XXXXXX", nullptr))) {
        if (m_folder.empty()) {
            throw std::runtime_error("no temporary folder could be made: see TMPDIR");
        }
    }
    ~Packing() {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    Packing(const Packing&) = delete;
    Packing& operator=(const Packing&) = delete;

    /** @throws std::runtime_error when a stored secret is in it all the same */
    void Add(const fs::path& name, const std::string& bytes) const {
        std::string masked =
            name.extension() == ".log" ? Log::MaskLog(bytes, m_masker) : m_masker.Mask(bytes);
        if (name.parent_path() == "keys") {
            masked = m_ends.Replace(masked, "0");
        }
        const std::string secret = m_masker.FindStored(masked);
        if (!secret.empty()) {
            throw std::runtime_error("the secret " + Cli::Abbreviate(secret) + " was not masked in " +
                                     name.string() +
                                     ", so nothing was written\nThis is a fault of infosync-tv: please "
                                     "tell its developers, without the television");
        }
        Files::Replace(m_folder / m_name / name, masked);
    }

    /** @return the archive's bytes */
    std::string Pack() const {
        const std::string archive = m_folder / "archive";
        // Whoever takes it out owns it.
        const char* const command[] = {"tar",  "--owner=0",     "--group=0", "--numeric-owner",
                                       "-czf", archive.c_str(), "-C",        m_folder.c_str(),
                                       "--",   m_name.c_str(),  nullptr};
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

private:
    std::string m_name;
    fs::path m_folder;
    Cli::Masker m_masker{Television::StoredSecrets()};
    /** What tokens and activations end by: at the beginning of time they have run out. */
    Cli::Pattern m_ends{std::string(R"("(?:)") + CJsonWebToken::EXPIRE_TIME + "|" +
                        CServiceActivationInfo::EXPIRE_TIME + "|" + CAccessToken::ISSUED_TIME +
                        R"re()"\s*:\s*(?<v>[^,}\s]+))re"};
};

/** Of what made it. */
std::string Versions() {
    Json::Value versions;
    versions["infosync-tv"] = INFOSYNC_VERSION;
    versions["written"] = Json::Int64{std::time(nullptr)};
    versions["distribution"] = Cli::Taken(g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME));
    struct utsname machine = {};
    if (uname(&machine) == 0) {
        versions["system"] = std::string(machine.sysname) + " " + machine.release + " " + machine.machine;
    }
    return Cli::JsonText(versions);
}

/** The bytes of a file; nothing for a folder. @throws std::exception when it cannot be read */
std::optional<std::string> ReadPart(const fs::path& path) {
    if (fs::is_directory(path)) {
        static_cast<void>(fs::directory_iterator(path));  // what is in it comes by itself, if it can be read
        return std::nullopt;
    }
    return Files::Read(path);
}

/**
 * Packs the television, with what its local cloud was asked and the versions of what made it beside it.
 * @return whether all of it could be read; what could not is left out and told
 */
bool PackTelevision(const Packing& packing) {
    bool isWhole = true;
    for (const fs::path& path : Television::TelevisionPaths()) {
        std::optional<std::string> bytes;
        try {
            bytes = ReadPart(path);
        } catch (const std::exception& error) {
            std::cerr << "infosync-tv: left out: " << Cli::Escape(Cli::Reason(error)) << "\n";
            isWhole = false;
        }
        if (bytes) {
            packing.Add(path.lexically_relative(TvFolder::Path()), *bytes);
        }
    }
    const std::string exchanges = Television::Cloud::Find().folder + "/state/exchanges.jsonl";
    packing.Add("exchanges.jsonl", Files::ReadIfThere(exchanges).value_or(""));
    packing.Add("versions.json", Versions());
    return isWhole;
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
    const Packing packing(name);
    const bool isWhole = PackTelevision(packing);
    Files::Replace(file, packing.Pack());
    std::cout << Cli::Escape(arguments.file)
              << ": the television, its secrets masked\nTo look into it: tar xzf "
              << Cli::Escape(arguments.file) << ", then infosync-tv --dir " << Cli::Escape(name)
              << " status\n";
    if (!isWhole) {
        throw Cli::ToldAlready();
    }
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
