/** What lines of the log mean and what to do about them: the table in docs/formats.md is the one source. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Cli/Text.h"

namespace Explain {

struct KnownLine {
    /** Each text in backquotes, up to " N" or "...": what the message begins with. */
    std::vector<std::string> starts;
    std::string meaning;
    /** What to do; begins with "nothing" where the line is part of a good run, too. */
    std::string remedy;

    bool IsFault() const;
};

/** The one that fits longest, of the message or of what comes after its "exception : "; null for none. */
const KnownLine* FindKnownLine(std::string_view message);

/** The message without what the service puts before what it caught. */
std::string_view Cause(std::string_view message);

using Cli::StartsWith;

}  // namespace Explain
