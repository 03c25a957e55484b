/** The television's tv.ini, to be changed and checked: comments and unknown keys stay as they are. */
#pragma once

#include <glib.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Cli/FileLock.h"
#include "TvIni.h"

namespace Television {

/** @throws std::runtime_error, saying how to make one, when there is no television in the folder */
void Require();

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
    void Write(const TvKey& key, const std::function<void(GKeyFile*)>& write);

    std::string m_path;
    Cli::FileLock m_lock;
    KeyFile m_file;
};

/**
 * A tv.ini without the keys by which somebody else's television would write to, or send, files outside of its
 * folder.
 * @param dropped gets the names of those that it had
 */
std::string WithoutForeignFiles(const std::string& ini, std::vector<std::string>& dropped);

/** What is wrong with the only key of a key file's text; empty when nothing is. */
std::string ProblemOf(const TvKey& key, const std::string& content);

struct IniProblem {
    /** Counted from 1. */
    std::size_t line;
    /** On one line, with the group and the key that it is about. */
    std::string words;
};

/**
 * Everything wrong with a tv.ini: lines that are none of a key file, unknown groups and keys, values that do
 * not fit, malformed origins, addresses and routes, and files that cannot be read.
 */
std::vector<IniProblem> CheckIni(const std::string& content);

/** The same for the television's own. */
std::vector<IniProblem> CheckIni();

/** The key that "GROUP.KEY" names, or null. */
const TvKey* FindKey(const std::string& name);

/** "GROUP.KEY" */
std::string KeyName(const TvKey& key);

}  // namespace Television
