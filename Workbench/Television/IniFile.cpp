#include "Television/IniFile.h"

#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "Cli/Pattern.h"
#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Cli/Tool.h"
#include "CloudSite.h"
#include "Files.h"
#include "TvFolder.h"

namespace Television {

namespace {

namespace fs = std::filesystem;
using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)>;

std::string TextOf(const KeyFile& file) {
    return Cli::Taken(g_key_file_to_data(file.get(), nullptr, nullptr));
}

/** Why the file that the key names cannot be used; empty where it can, or the key names none. */
std::string ProblemOfFile(const TvKey& key, const TvIni& ini) {
    const bool isOutput = key.type == TvKey::Type::Output;
    const auto name = key.type == TvKey::Type::File || isOutput ? ini.Text(key) : std::nullopt;
    const fs::path file(TvFolder::Resolve(name.value_or("")));
    const std::string problem = std::string("[") + key.group + "] " + key.name + ": ";
    std::error_code error;
    try {
        if (name && !isOutput) {
            Files::ReadBytes(file);
        } else if (name && (fs::is_directory(file, error) || !fs::is_directory(file.parent_path(), error))) {
            return problem + "“" + *name + "” is no file in a folder that is there";
        }
        return "";
    } catch (const std::exception& unreadable) {
        return problem + unreadable.what();
    }
}

/** Sets it in a file of its own, to see what the television would make of it. */
void CheckValue(const TvKey& key, const std::string& value) {
    const KeyFile alone(g_key_file_new(), &g_key_file_unref);
    g_key_file_set_string(alone.get(), key.group, key.name, value.c_str());
    const TvIni ini(TextOf(alone), "");
    const std::string problem =
        ini.Problems().empty() ? ProblemOfFile(key, ini) : ini.Problems().front().words;
    if (!problem.empty()) {
        throw Cli::UsageError(problem);
    }
}

}  // namespace

void Require() {
    const std::string path = TvFolder::IniPath();
    if (access(path.c_str(), R_OK) == 0) {
        return;
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        throw std::runtime_error("there is no television in " + TvFolder::Path() +
                                 "\nMake one: infosync-tv init   (or name another folder with --dir)");
    }
    throw std::system_error(errno, std::generic_category(), path);
}

std::shared_ptr<const TvIni> RequireSound() {
    Require();
    auto ini = TvFolder::ReadIni();
    if (ini->IsDamaged()) {
        throw std::runtime_error(ini->Problem() +
                                 "\nMend it with an editor, or make it anew: infosync-tv init --force");
    }
    return ini;
}

std::vector<std::string> IniProblems() {
    const auto ini = TvFolder::ReadIni();
    std::vector<TvProblem> problems = ini->Problems();
    for (const TvKey* key : TvKeys::ALL) {
        problems.push_back({ini->LineOf(*key), ProblemOfFile(*key, *ini)});
    }
    std::vector<std::string> lines;
    for (const TvProblem& problem : problems) {
        if (!problem.words.empty()) {
            lines.push_back("line " + std::to_string(problem.line) + ": " + Cli::Escape(problem.words) +
                            (problem.isUnset && !ini->IsDamaged() ? TvProblem::UNSET : ""));
        }
    }
    return lines;
}

void WarnOfIni() {
    for (const std::string& problem : IniProblems()) {
        std::cerr << "infosync-tv: tv.ini, " << problem << "\n";
    }
}

void ChangeIni(const std::function<IniChanges(const TvIni& ini)>& make) {
    Require();
    const std::string path = TvFolder::IniPath();
    const Cli::FileLock lock(path + ".lock", Cli::FileLock::Wait::YES);
    const auto ini = RequireSound();
    const KeyFile file(g_key_file_new(), &g_key_file_unref);
    g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
    for (const auto& [key, value] : make(*ini)) {
        if (value) {
            CheckValue(*key, *value);
            g_key_file_set_string(file.get(), key->group, key->name, value->c_str());
        } else {
            g_key_file_remove_key(file.get(), key->group, key->name, nullptr);
        }
    }
    // GLib puts a blank line before each group, also where there is one already.
    const Cli::Pattern more("\n\n(?<v>\n+)");
    Files::Replace(path, more.Replace(TextOf(file), ""));
}

std::string RequireCloud(const std::string& folder) {
    std::string absolute = fs::absolute(folder).lexically_normal().string();
    if (!fs::exists(CloudSite{absolute}.CaFile())) {
        throw std::runtime_error("there is no local cloud in " + absolute + ": infosync-cloud serve --dir '" +
                                 absolute + "'");
    }
    return absolute;
}

Cloud Cloud::Find() {
    const auto ini = TvFolder::ReadIni();
    Cloud cloud = {CloudSite::Of(*ini).folder, 0, "no local cloud: infosync-tv set http.cloud FOLDER"};
    try {
        if (!cloud.folder.empty()) {
            RequireCloud(cloud.folder);
            cloud.port = CloudSite{cloud.folder}.LivePort();
            const bool isOverridden = !ini->List(TvKeys::CONNECT_TO).empty();
            cloud.words = cloud.folder + ", on port " + std::to_string(cloud.port) +
                          (isOverridden ? "; but requests go where http.connect_to says" : "");
        }
    } catch (const std::exception& error) {
        cloud.words = error.what();
    }
    return cloud;
}

}  // namespace Television
