/** The service's lines: what each makes known of a run, what it means, and what to do. */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Television/Log/Line.h"
#include "Television/Log/Run.h"

namespace Log {

struct KnownLine {
    /** What a line is to its run: a part of every good one, what it lives with, or what may end it. */
    enum class Kind { NORMAL, LIVED_WITH, NO_ANSWER, REFUSED, UNREADABLE, NOT_STORED, FAILURE };

    using Note = std::function<void(Run& run, std::string_view rest)>;

    /** The one that the service logs it with; '\0' for any. */
    char priority;
    /** The message begins with it; or does so after the "exception : " of whoever caught it. */
    std::string start;
    /** The file or function that it is from, where the text does not tell; empty for any. */
    std::string_view place;
    /** The step that the line belongs to, unless the run is further on. */
    Step step;
    Kind kind;
    /** Takes what it makes known; gets the message after its beginning. May be empty. */
    Note note = {};
    /** In the user's words; empty for a line that is told of in the run's story alone. docs/formats.md has
     * the others, in a table that the tests compare and write. */
    std::string_view meaning = {};
    /** Empty where there is nothing to do. */
    std::string_view remedy = {};

    bool EndsRun() const {
        return kind > Kind::LIVED_WITH;
    }
};

const std::vector<KnownLine>& KnownLines();

/** The one that fits: of those for its place, else of those for any, the longest; null for none. */
const KnownLine* FindKnownLine(const Line& line);

/** The message without what the service puts before what it caught. */
std::string_view WithoutCatch(std::string_view message);

}  // namespace Log
