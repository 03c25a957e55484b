#include "Television/IniFile.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Files.h"
#include "TvFolder.h"

namespace Television {

namespace {

std::string TextOf(GKeyFile* file) {
    return Cli::Taken(g_key_file_to_data(file, nullptr, nullptr));
}

/** Why the file that the key names cannot be used; empty where it can, or the key names none. */
std::string ProblemOfFile(const TvKey& key, const TvIni& ini) {
    namespace fs = std::filesystem;
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

/** @throws std::runtime_error, saying what to do, when nothing of it could be read */
void RefuseDamaged(const TvIni& ini) {
    if (ini.IsDamaged()) {
        throw std::runtime_error(ini.Problem() +
                                 "\nMend it with an editor, or make it anew: infosync-tv init --force");
    }
}

}  // namespace

void Require() {
    try {
        Files::Read(TvFolder::IniPath());
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory ||
            error.code() == std::errc::not_a_directory) {
            throw std::runtime_error("there is no television in " + TvFolder::Path() +
                                     "\nMake one: infosync-tv init   (or name another folder with --dir)");
        }
        if (error.code() == std::errc::permission_denied) {
            throw;
        }
        // It is there: a television that is damaged, which is for each command to deal with.
    }
}

std::shared_ptr<const TvIni> RequireSound() {
    Require();
    auto ini = TvFolder::ReadIni();
    RefuseDamaged(*ini);
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

IniFile::IniFile(const char* text) {
    const std::string path = TvFolder::IniPath();
    if (text == nullptr) {
        Require();
    }
    m_lock.emplace(path + ".lock", Cli::FileLock::Wait::YES);
    const std::string content = text == nullptr ? Files::Read(path) : text;
    RefuseDamaged({content, path});
    g_key_file_load_from_data(m_file.get(), content.data(), content.size(), G_KEY_FILE_KEEP_COMMENTS,
                              nullptr);
}

/** Sets it in a file of its own first, to see what the television would make of it. */
void IniFile::Set(const TvKey& key, const std::string& value) {
    const decltype(m_file) alone(g_key_file_new(), &g_key_file_unref);
    g_key_file_set_string(alone.get(), key.group, key.name, value.c_str());
    const TvIni ini(TextOf(alone.get()), "");
    const std::string problem =
        ini.Problems().empty() ? ProblemOfFile(key, ini) : ini.Problems().front().words;
    if (!problem.empty()) {
        throw std::invalid_argument(problem);
    }
    g_key_file_set_string(m_file.get(), key.group, key.name, value.c_str());
}

void IniFile::Unset(const TvKey& key) {
    g_key_file_remove_key(m_file.get(), key.group, key.name, nullptr);
}

void IniFile::Save() const {
    // GLib puts a blank line before each group, also where there is one already.
    const Cli::Pattern more("\n\n(?<v>\n+)");
    Files::Replace(TvFolder::IniPath(), more.Replace(TextOf(m_file.get()), ""));
}

}  // namespace Television
