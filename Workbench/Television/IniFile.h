/** The television's tv.ini, to be changed and checked: comments and unknown keys stay as they are. */
#pragma once

#include <glib.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Cli/StateFolder.h"
#include "TvIni.h"

namespace Television {

/** @throws std::runtime_error, saying how to make one, when there is no television in the folder */
void Require();

/** What tv.ini says. @throws std::runtime_error as Require, also when tv.ini cannot be read */
std::shared_ptr<const TvIni> RequireSound();

/** What is wrong with tv.ini, files that cannot be used among it, each with its line, for people to read. */
std::vector<std::string> IniProblems();

/** Writes the same to standard error. */
void WarnOfIni();

/** While one lives, other processes wait for theirs: what it saves is based on what it read. */
class IniFile {
public:
    /**
     * @param text of a key file that is to replace the file; null for what the file has
     * @throws std::runtime_error as RequireSound
     */
    explicit IniFile(const char* text = nullptr);

    /** @throws std::invalid_argument when the value does not fit the key; nothing is then changed */
    void Set(const TvKey& key, const std::string& value);
    void Unset(const TvKey& key);

    /** @throws std::runtime_error, with the file as it was */
    void Save() const;

private:
    std::optional<Cli::FileLock> m_lock;
    std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> m_file{g_key_file_new(), &g_key_file_unref};
};

}  // namespace Television
