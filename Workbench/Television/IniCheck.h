/** Looks for what is wrong in a tv.ini, before the television stumbles over it. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "TvIni.h"

namespace Television {

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

}  // namespace Television
