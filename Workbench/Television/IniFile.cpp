#include "Television/IniFile.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "Cli/Text.h"
#include "Files.h"
#include "TvFolder.h"

namespace Television {

namespace {

std::string ReadIniText() {
    try {
        return Files::Read(TvFolder::IniPath());
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory ||
            error.code() == std::errc::not_a_directory) {
            throw std::runtime_error("there is no television in " + TvFolder::Path() +
                                     "\nMake one: infosync-tv init   (or name another folder with --dir)");
        }
        throw;
    }
}

std::vector<std::string> SplitList(const std::string& value) {
    std::vector<std::string> items;
    const std::unique_ptr<char*, decltype(&g_strfreev)> parts(g_strsplit(value.c_str(), ";", -1),
                                                              &g_strfreev);
    for (char** part = parts.get(); *part != nullptr; ++part) {
        const std::string item = g_strstrip(*part);
        if (!item.empty()) {
            items.push_back(item);
        }
    }
    return items;
}

/** @throws std::runtime_error when the file may not be changed */
Cli::FileLock Lock(const std::string& path) {
    Require();
    try {
        return {path + ".lock", Cli::FileLock::Wait::YES};
    } catch (const std::system_error& error) {
        throw std::runtime_error("cannot change the television: " + std::string(error.what()));
    }
}

/** @throws std::runtime_error, saying what to do, when it is no key file */
KeyFile Parse(const std::string& text) {
    KeyFile file(g_key_file_new(), &g_key_file_free);
    GError* error = nullptr;
    if (!text.empty() && g_key_file_load_from_data(file.get(), text.data(), text.size(),
                                                   G_KEY_FILE_KEEP_COMMENTS, &error) == FALSE) {
        const std::string reason = Cli::Escape(error->message);
        g_error_free(error);
        const std::size_t line = TvIni(text, "").Problems().front().line;
        throw std::runtime_error(TvFolder::IniPath() + " is damaged: line " + std::to_string(line) + ": " +
                                 reason +
                                 "\nMend it with an editor, or make it anew: infosync-tv init --force");
    }
    return file;
}

std::string TextOf(const KeyFile& file) {
    return Cli::Taken(g_key_file_to_data(file.get(), nullptr, nullptr));
}

/** Why the file that the key names cannot be used; empty where it can, or the key names none. */
std::string ProblemOfFile(const TvKey& key, const TvIni& ini) {
    namespace fs = std::filesystem;
    const bool isOutput = key.type == TvKey::Type::Output;
    const auto name = key.type == TvKey::Type::File || isOutput ? ini.Text(key) : std::nullopt;
    if (!name) {
        return "";
    }
    const fs::path file(TvFolder::Resolve(*name));
    std::error_code error;
    if (isOutput) {
        return fs::is_directory(file, error) || !fs::is_directory(file.parent_path(), error)
                   ? "“" + *name + "” is no file in a folder that is there"
                   : "";
    }
    try {
        Files::ReadBytes(file);
        return "";
    } catch (const std::exception& problem) {
        return problem.what();
    }
}

std::vector<TvProblem> ProblemsOf(const TvIni& ini) {
    std::vector<TvProblem> problems = ini.Problems();
    for (const TvKey* key : TvKeys::ALL) {
        const std::string problem = ProblemOfFile(*key, ini);
        if (!problem.empty()) {
            problems.push_back(
                {ini.LineOf(*key), std::string("[") + key->group + "] " + key->name + ": " + problem});
        }
    }
    for (TvProblem& problem : problems) {
        problem.words = Cli::Escape(problem.words);
    }
    return problems;
}

}  // namespace

void Require() {
    try {
        ReadIniText();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::permission_denied) {
            throw std::runtime_error("the television is not yours to read: " + std::string(error.what()) +
                                     "\nSee the owner and the mode of the folder and of the file");
        }
        // It is there: a television that is damaged, which is for each command to deal with.
    }
}

void RequireSound() {
    Require();
    Parse(ReadIniText());
}

std::vector<TvProblem> CheckIni() {
    const auto ini = TvFolder::ReadIni();
    std::vector<TvProblem> problems = ProblemsOf(*ini);
    for (TvProblem& problem : problems) {
        problem.words += problem.isUnset && !ini->IsDamaged() ? TvProblem::UNSET : "";
    }
    return problems;
}

std::string IniWarnings() {
    std::string text;
    for (const TvProblem& problem : CheckIni()) {
        text += "infosync-tv: tv.ini, line " + std::to_string(problem.line) + ": " + problem.words + "\n";
    }
    return text;
}

IniFile::IniFile() : m_path(TvFolder::IniPath()), m_lock(Lock(m_path)), m_file(Parse(ReadIniText())) {}

IniFile::IniFile(const std::string& text)
    : m_path(TvFolder::IniPath()), m_lock(m_path + ".lock", Cli::FileLock::Wait::YES), m_file(Parse(text)) {}

void IniFile::Set(const TvKey& key, const std::string& value) {
    if (g_utf8_validate(value.data(), static_cast<gssize>(value.size()), nullptr) == FALSE) {
        throw std::invalid_argument("the value is not UTF-8: " + Cli::Escape(value));
    }
    if (key.IsList()) {
        SetList(key, SplitList(value));
    } else {
        Write([&](GKeyFile* file) { g_key_file_set_string(file, key.group, key.name, value.c_str()); });
    }
}

void IniFile::Unset(const TvKey& key) {
    g_key_file_remove_key(m_file.get(), key.group, key.name, nullptr);
}

std::vector<std::string> IniFile::List(const TvKey& key) const {
    const std::unique_ptr<char*, decltype(&g_strfreev)> items(
        g_key_file_get_string_list(m_file.get(), key.group, key.name, nullptr, nullptr), &g_strfreev);
    std::vector<std::string> list;
    for (char** item = items.get(); item != nullptr && *item != nullptr; ++item) {
        list.emplace_back(g_strstrip(*item));
    }
    return list;
}

void IniFile::SetList(const TvKey& key, const std::vector<std::string>& items) {
    std::vector<const char*> texts;
    texts.reserve(items.size());
    for (const std::string& item : items) {
        texts.push_back(item.c_str());
    }
    Write([&](GKeyFile* file) {
        g_key_file_set_string_list(file, key.group, key.name, texts.data(), texts.size());
    });
}

/** Writes into a file of its own first, to see what the television would make of it. */
void IniFile::Write(const std::function<void(GKeyFile*)>& write) {
    const KeyFile alone = Parse("");
    write(alone.get());
    const std::vector<TvProblem> problems = ProblemsOf(TvIni(TextOf(alone), ""));
    if (!problems.empty()) {
        throw std::invalid_argument(problems.front().words);
    }
    write(m_file.get());
}

void IniFile::Save() const {
    std::string text = TextOf(m_file);
    // GLib puts a blank line before each group, also where there is one already.
    for (auto at = text.find("\n\n\n"); at != std::string::npos; at = text.find("\n\n\n", at)) {
        text.erase(at, 1);
    }
    Files::Replace(m_path, text);
}

}  // namespace Television
