/** The television's tv.ini, to be changed and checked, and the local cloud that it leads to. */
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TvIni.h"

namespace Television {

/** @throws std::runtime_error, saying how to make one, when there is no television in the folder */
void Require();

/** What tv.ini says. @throws std::runtime_error as Require, also when it is damaged */
std::shared_ptr<const TvIni> RequireSound();

/** What is wrong with tv.ini, files that cannot be used among it, each with its line, for people to read. */
std::vector<std::string> IniProblems();

/** Writes the same to standard error. */
void WarnOfIni();

/** Values for keys, or none where a key is to be removed. */
using IniChanges = std::vector<std::pair<const TvKey*, std::optional<std::string>>>;

/**
 * Changes tv.ini by what is made of it; comments and unknown keys stay as they are, and other processes wait
 * with their changes.
 * @throws Cli::UsageError when a value does not fit its key, std::runtime_error as RequireSound or when it
 * cannot be written; nothing is then changed
 */
void ChangeIni(const std::function<IniChanges(const TvIni& ini)>& make);

/** The folder as an absolute path. @throws std::runtime_error, saying how to make one, when no cloud is in it
 */
std::string RequireCloud(const std::string& folder);

/** The cloud that tv.ini leads to. */
struct Cloud {
    /** Empty where tv.ini names none. */
    std::string folder;
    /** 0 when it does not run. */
    int port = 0;
    /** In one line, with what helps. */
    std::string words;

    static Cloud Find();
};

}  // namespace Television
