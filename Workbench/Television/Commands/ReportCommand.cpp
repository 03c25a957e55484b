#include <glib.h>
#include <sys/utsname.h>

#include <ctime>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>

#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Errors.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/Cloud.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/Log/Message.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Commands {

namespace {

namespace fs = std::filesystem;

/** A folder for the time of packing. */
class Staging {
public:
    Staging() {
        const std::string path = Cli::Taken(g_dir_make_tmp("infosync-report-XXXXXX", nullptr));
        if (path.empty()) {
            throw std::runtime_error("no temporary folder could be made: see TMPDIR");
        }
        m_path = path;
    }
    ~Staging() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    const fs::path& Path() const {
        return m_path;
    }

private:
    fs::path m_path;
};

/** A record of tokens or activations, all of which have run out; anything else as it is. */
std::string RunOut(const std::string& alias, const std::string& record) {
    // The member by which each ends: at the beginning of time.
    const std::map<std::string, const char*> ends = {
        {InfoSyncUtil::ALIAS_JWT, CJsonWebToken::EXPIRE_TIME},
        {InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO, CServiceActivationInfo::EXPIRE_TIME},
        {InfoSyncUtil::ALIAS_ACCESS_TOKEN, CAccessToken::ISSUED_TIME}};
    const auto end = ends.find(alias);
    if (end == ends.end()) {
        return record;
    }
    try {
        Json::Value users = InfoSyncUtil::ParseStoredObject(record);
        for (Json::Value& entry : users) {
            if (entry.isObject()) {
                entry[end->second] = 0;
            }
        }
        return InfoSyncUtil::WriteJson(users);
    } catch (const std::exception&) {
        return record;
    }
}

std::string Versions() {
    Json::Value versions;
    versions["infosync-tv"] = INFOSYNC_VERSION;
    versions["written"] = Json::Int64{std::time(nullptr)};
    struct utsname machine = {};
    if (uname(&machine) == 0) {
        versions["system"] = std::string(machine.sysname) + " " + machine.release + " " + machine.machine;
    }
    versions["distribution"] = Cli::Taken(g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME));
    return Cli::JsonText(versions);
}

/** Takes the television's files without their secrets. */
class Packing {
public:
    explicit Packing(const std::string& name) : m_name(name) {}

    void AddMasked(const fs::path& name, const std::string& bytes) {
        const bool isLog = name.extension() == ".log";
        const std::string masked = isLog ? Log::MaskLog(bytes, m_masker) : m_masker.Mask(bytes);
        Add(name, name.parent_path() == "keys" ? RunOut(name.filename(), masked) : masked);
    }

    /** @throws std::runtime_error when a stored secret is in it */
    void Add(const fs::path& name, const std::string& bytes) const {
        const std::string secret = m_masker.FindStored(bytes);
        if (!secret.empty()) {
            throw std::runtime_error("the secret " + Cli::Abbreviate(secret) + " was not masked in " +
                                     name.string() +
                                     ", so nothing was written\nThis is a fault of infosync-tv: please "
                                     "tell its developers, without the television");
        }
        Files::Replace(m_staging.Path() / m_name / name, bytes);
    }

    std::string Pack() const {
        const std::string archive = m_staging.Path() / "archive";
        // Whoever takes it out owns it.
        const std::string command =
            "tar --owner=0 --group=0 --numeric-owner -czf " + Television::Quoted(archive) + " -C " +
            Television::Quoted(m_staging.Path()) + " -- " + Television::Quoted(m_name);
        char* said = nullptr;
        int status = -1;
        g_spawn_command_line_sync(command.c_str(), nullptr, &said, &status, nullptr);
        const std::string problem = Cli::Taken(said);
        if (status != 0) {
            throw std::runtime_error("tar failed: " + (problem.empty() ? "is it installed?" : problem));
        }
        return Files::Read(archive);
    }

private:
    std::string m_name;
    Cli::Masker m_masker{Television::StoredSecrets()};
    Staging m_staging;
};

/**
 * Packs the television, with what its local cloud was asked and the versions of what made it beside it.
 * @param name of the one folder in the archive
 * @param leftOut gets a line for each file that could not be read
 * @return the archive's bytes
 * @throws std::runtime_error when a stored secret is still in it
 */
std::string PackReport(const std::string& name, std::vector<std::string>& leftOut) {
    Packing packing(name);
    for (const fs::path& path : Television::TelevisionPaths()) {
        std::optional<std::string> bytes;
        try {
            if (!fs::is_directory(path)) {
                bytes = Files::Read(path);
            } else {
                fs::directory_iterator{path};  // what is in it comes next, if it can be read
            }
        } catch (const std::exception& error) {
            leftOut.push_back(Cli::Reason(error));
        }
        if (bytes) {
            packing.AddMasked(path.lexically_relative(TvFolder::Path()), *bytes);
        }
    }
    packing.AddMasked("exchanges.json", Television::Cloud::Find().Exchanges());
    packing.Add("versions.json", Versions());
    return packing.Pack();
}

struct ReportArguments {
    std::string file;
    bool force = false;
};

void Report(const ReportArguments& arguments) {
    Television::Require();
    const fs::path file = fs::absolute(arguments.file);
    if (!fs::is_directory(file.parent_path())) {
        throw std::runtime_error("there is no folder " + file.parent_path().string());
    }
    if (!arguments.force && fs::exists(file)) {
        throw std::runtime_error(arguments.file +
                                 " is already there\nName another file, or replace it with --force");
    }
    const std::string fileName = file.filename().string();
    const std::string name = fileName.substr(0, fileName.find('.', 1));
    std::vector<std::string> leftOut;
    Files::Replace(file, PackReport(name, leftOut));
    std::cout << Cli::Escape(arguments.file)
              << ": the television, its secrets masked\nTo look into it: tar xzf "
              << Cli::Escape(arguments.file) << ", then infosync-tv --dir " << Cli::Escape(name)
              << " status\n";
    for (const std::string& problem : leftOut) {
        std::cerr << "infosync-tv: left out: " << Cli::Escape(problem) << "\n";
    }
    if (!leftOut.empty()) {
        throw Cli::ToldAlready();
    }
}

}  // namespace

void AddReport(Cli::Tool& tool) {
    tool.Add(
        "report", "Write the whole television to an archive, to attach to a bug report",
        R"(The television's folder with tv.ini, the settings, the stored records and the
runs that are kept, and beside it versions.json and exchanges.json, the last
requests to its local cloud. Tokens, codes and verifiers are masked, and masked
tokens have run out in it; user, device names and addresses are as they are.
Nothing is written when a stored secret is found in it. What tv.ini names
outside of the folder, such as a certificate file, is not part of it.

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
