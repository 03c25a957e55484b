/** The times that logs have, in whatever form. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Cli/Pattern.h"

namespace Log {

/** The first time of day in the text with what belongs to it, else the first seconds since some beginning. */
Cli::Pattern::Match FindTime(std::string_view text);

/** What was found in milliseconds since some beginning: good for differences alone, within one log. */
std::optional<std::int64_t> MomentOf(const Cli::Pattern::Match& time);

/** The same of the time in the text. */
std::optional<std::int64_t> Moment(std::string_view time);

/** The journal's time, microseconds since 1970, in ISO 8601; empty for none. */
std::string JournalTime(const std::string& microseconds);

}  // namespace Log
