#include "Television/Bundle.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <sys/utsname.h>

#include <ctime>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

#include "Cli/FileLock.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Television/CloudFolder.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Masker.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

namespace fs = std::filesystem;

constexpr char FORMAT[] = "infosync-tv report";
constexpr int VERSION = 1;
constexpr char INI[] = "tv.ini";
constexpr char KEYS[] = "keys/";
constexpr char SETTINGS[] = "settings/";
constexpr char RUNS[] = "runs/";

using Cli::StartsWith;

/** A text is kept as it is where JSON can hold it, and encoded otherwise. */
Json::Value FromBytes(const std::string& bytes) {
    Json::Value file;
    if (g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), nullptr) != FALSE) {
        file["text"] = bytes;
    } else {
        file["base64"] =
            Cli::Taken(g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
    }
    return file;
}

std::string ToBytes(const std::string& name, const Json::Value& file) {
    if (file.isObject() && file["text"].isString()) {
        return file["text"].asString();
    }
    if (file.isObject() && file["base64"].isString()) {
        gsize length = 0;
        const std::unique_ptr<guchar, decltype(&g_free)> decoded(
            g_base64_decode(file["base64"].asCString(), &length), &g_free);
        return {reinterpret_cast<const char*>(decoded.get()), length};
    }
    throw std::runtime_error("the file " + Cli::Escape(name) + R"( has neither "text" nor "base64")");
}

/** Whether a name leads to a place that a television has, and nowhere else. */
bool IsTelevisionFile(const std::string& name) {
    if (name == INI) {
        return true;
    }
    if (StartsWith(name, RUNS)) {
        return IsKeptRunFile(name.substr(sizeof(RUNS) - 1));
    }
    if (StartsWith(name, KEYS)) {
        return TvFolder::KeyPath(name.substr(sizeof(KEYS) - 1)).has_value();
    }
    return StartsWith(name, SETTINGS) && TvFolder::SettingPath(name.substr(sizeof(SETTINGS) - 1)).has_value();
}

/** The names of the television's files that are there, as they go into the document. */
std::vector<std::string> FileNames(std::vector<std::string>& unreadable) {
    const fs::path folder(TvFolder::Path());
    std::vector<std::string> names;
    if (fs::exists(fs::symlink_status(folder / INI))) {
        names.emplace_back(INI);
    }
    for (const char* part : {KEYS, SETTINGS, RUNS}) {
        std::error_code error;
        const fs::path top = (folder / part).parent_path();
        for (auto at = fs::recursive_directory_iterator(top, error); !error && at != fs::end(at);
             at.increment(error)) {
            // There are no folders among the keys: one is a file that cannot be read.
            if (part == std::string(KEYS)) {
                at.disable_recursion_pending();
            }
            if (!at->is_directory(error) || part == std::string(KEYS)) {
                names.push_back(at->path().lexically_relative(folder).string());
            }
        }
        if (error && error != std::errc::no_such_file_or_directory) {
            unreadable.push_back(top.string() + ": " + error.message());
        }
    }
    return names;
}

std::map<std::string, std::string> CheckedFiles(const std::string& text, bool& secretsReplaced) {
    const Json::Value bundle = InfoSyncUtil::ParseStoredObject(text);
    if (Cli::TextMember(bundle, "format") != FORMAT || InfoSyncUtil::ToInt64(bundle["version"]) != VERSION) {
        throw std::runtime_error("this is no file of infosync-tv report, or one of another version");
    }
    secretsReplaced = Cli::TextMember(bundle, "secrets") != "included";
    const Json::Value members = InfoSyncUtil::ObjectMember(bundle, "files");
    std::map<std::string, std::string> files;
    for (const std::string& name : members.getMemberNames()) {
        if (!IsTelevisionFile(name) || Cli::Escape(name) != name) {
            throw std::runtime_error("the file name \"" + Cli::Escape(name) +
                                     "\" leads out of a television's folder");
        }
        files[name] = ToBytes(name, members[name]);
    }
    if (files.count(INI) == 0) {
        throw std::runtime_error("there is no tv.ini in it");
    }
    return files;
}

/** A folder beside the television's, so that its content can be moved there in one step; gone at the end. */
class Staging {
public:
    Staging() {
        const fs::path folder = fs::absolute(TvFolder::Path()).lexically_normal();
        const fs::path beside = folder.has_filename() ? folder : folder.parent_path();
        fs::create_directories(beside.parent_path());
        std::string pattern = beside.string() + ".import-XXXXXX";
        if (g_mkdtemp(pattern.data()) == nullptr) {
            throw fs::filesystem_error("cannot make a folder", pattern, {errno, std::generic_category()});
        }
        m_path = pattern;
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

void MoveIfThere(const fs::path& from, const fs::path& to) {
    if (fs::exists(fs::symlink_status(from))) {
        fs::rename(from, to);
    }
}

/** Puts what the staging folder holds in place of the television's own; all of it or nothing. */
void Exchange(const Staging& staging) {
    const fs::path folder(TvFolder::Path());
    const fs::path incoming = staging.Path() / "new";
    const fs::path replaced = staging.Path() / "old";
    std::vector<const char*> begun;
    try {
        for (const char* part : {"keys", "settings", RUNS_FOLDER, INI}) {
            begun.push_back(part);
            MoveIfThere(folder / part, replaced / part);
            MoveIfThere(incoming / part, folder / part);
        }
    } catch (...) {
        for (const char* part : begun) {
            if (!fs::exists(fs::symlink_status(incoming / part))) {
                MoveIfThere(folder / part, incoming / part);
            }
            MoveIfThere(replaced / part, folder / part);
        }
        throw;
    }
}

Json::Value Versions() {
    Json::Value versions;
    versions["infosync-tv"] = INFOSYNC_VERSION;
    struct utsname machine = {};
    if (uname(&machine) == 0) {
        versions["system"] = std::string(machine.sysname) + " " + machine.release + " " + machine.machine;
    }
    versions["distribution"] = Cli::Taken(g_get_os_info(G_OS_INFO_KEY_PRETTY_NAME));
    return versions;
}

/** @throws std::runtime_error when a stored secret is in what is to be written */
void RefuseSecrets(const Json::Value& bundle) {
    const std::string text = Cli::JsonText(bundle);
    for (const std::string& secret : StoredSecrets()) {
        // As it is in a text of JSON, without the quotes.
        const std::string quoted = Json::valueToQuotedString(secret.c_str());
        const std::string inJson = quoted.substr(1, quoted.size() - 2);
        if (text.find(secret) != std::string::npos || text.find(inJson) != std::string::npos) {
            throw std::runtime_error("the secret " + Cli::Abbreviate(secret) +
                                     " was not masked everywhere, so nothing was written\nThis is a fault of "
                                     "infosync-tv: please tell its developers, without the television");
        }
    }
}

std::string Masked(const std::string& name, const std::string& bytes, Masker& masker) {
    if (StartsWith(name, KEYS)) {
        return masker.MaskRecord(name.substr(sizeof(KEYS) - 1), bytes);
    }
    const bool isLog = StartsWith(name, RUNS) && fs::path(name).extension() == ".log";
    return isLog ? masker.MaskLog(bytes) : masker.MaskKnown(bytes);
}

}  // namespace

Json::Value Report(bool withSecrets, std::vector<std::string>& leftOut) {
    Require();
    Json::Value bundle;
    bundle["format"] = FORMAT;
    bundle["version"] = VERSION;
    bundle["written"] = static_cast<Json::Int64>(std::time(nullptr));
    bundle["secrets"] = withSecrets ? "included" : "replaced";
    bundle["versions"] = Versions();
    Masker masker(Masker::Shows::LENGTH);
    masker.LearnKeys();
    for (const std::string& name : FileNames(leftOut)) {
        try {
            if (Cli::Escape(name) != name) {
                throw std::runtime_error(Cli::Escape(name) + ": not a name that a document can hold");
            }
            const std::string bytes = Files::Read(TvFolder::Resolve(name));
            bundle["files"][name] = FromBytes(withSecrets ? bytes : Masked(name, bytes, masker));
        } catch (const std::exception& error) {
            leftOut.emplace_back(error.what());
        }
    }
    bundle["exchanges"] = ReadExchanges(masker, withSecrets);
    if (!withSecrets) {
        RefuseSecrets(bundle);
    }
    return bundle;
}

bool Import(const std::string& text, bool replace, std::vector<std::string>& dropped) {
    bool secretsReplaced = false;
    auto files = CheckedFiles(text, secretsReplaced);
    const auto ini = files.find(INI);
    if (ini != files.end()) {
        ini->second = WithoutForeignFiles(ini->second, dropped);
    }
    if (secretsReplaced) {
        for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT,
                                  InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO}) {
            const auto file = files.find(std::string(KEYS) + alias);
            if (file != files.end()) {
                file->second = WithEverythingRunOut(alias, file->second);
            }
        }
    }
    const auto key = files.lower_bound(KEYS);
    const bool hasKeys = key != files.end() && StartsWith(key->first, KEYS);
    const fs::path folder(TvFolder::Path());
    if (!replace && fs::exists(folder) && !fs::is_empty(folder)) {
        throw std::runtime_error(
            folder.string() +
            " is not empty\nName another folder with --dir, or replace the television in it "
            "with --force");
    }
    const Staging staging;
    for (const auto& [name, bytes] : files) {
        Files::Replace(staging.Path() / "new" / name, bytes);
    }
    fs::create_directory(staging.Path() / "old");
    g_mkdir_with_parents(folder.c_str(), 0700);
    const Cli::FileLock noRun(folder / RUN_LOCK_FILE, Cli::FileLock::Wait::NO);
    if (!noRun.IsHeld()) {
        throw std::runtime_error("a run of the television is under way");
    }
    Exchange(staging);
    return secretsReplaced && hasKeys;
}

}  // namespace Television
