/** The log of a run, fit to be shown. */
#pragma once

#include <string>

#include "Television/LogReader.h"
#include "Television/Masker.h"

namespace Television {

/** The line with its secrets masked; the masker learns from it, too. */
std::string MaskedText(const LogLine& line, Masker& masker);

/** The same for a whole log. */
std::string MaskedLog(const std::string& log, Masker& masker);

}  // namespace Television
