/** The television's tv.ini, to be changed and checked: comments and unknown keys stay as they are. */
#pragma once

#include <glib.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Cli/FileLock.h"
#include "TvIni.h"

namespace Television {

/** @throws std::runtime_error, saying how to make one, when there is no television in the folder */
void Require();

/** @throws std::runtime_error, saying what to do, when there is none, or its tv.ini cannot be read */
void RequireSound();

/** What is wrong with tv.ini, files that cannot be used among it, for people to read. */
std::vector<TvProblem> CheckIni();

/** The same as lines for standard error. */
std::string IniWarnings();

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

/** While one lives, other processes wait for theirs: what it saves is based on what it read. */
class IniFile {
public:
    /** As the file has it. @throws std::runtime_error, saying what to do, when it is not there or no key file
     */
    IniFile();

    /** With another text, that of a key file, which is not in the file before Save(). */
    explicit IniFile(const std::string& text);

    /** @throws std::invalid_argument when the value does not fit the key; nothing is then changed */
    void Set(const TvKey& key, const std::string& value);
    void Unset(const TvKey& key);

    std::vector<std::string> List(const TvKey& key) const;
    /** @throws std::invalid_argument as Set */
    void SetList(const TvKey& key, const std::vector<std::string>& items);

    /** @throws std::runtime_error, with the file as it was */
    void Save() const;

private:
    void Write(const std::function<void(GKeyFile*)>& write);

    std::string m_path;
    Cli::FileLock m_lock;
    KeyFile m_file;
};

}  // namespace Television
