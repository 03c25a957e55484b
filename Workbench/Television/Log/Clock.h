/** The times of a run's lines, and what they and the stored times tell of the set's clock. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Television/Log/Line.h"

namespace Log {

/** A duration. */
std::string SecondsText(std::int64_t milliseconds);

struct Clock {
    void Take(const Line& line);
    /** How long ago that was; nothing where no time tells, or where the clock was set on the way. */
    Moment Since(const Moment& moment) const;
    /** Of what is stored, in seconds since the epoch, in words; empty where the set's clock, or what is
     * stored, is that far off that it is noted. @param issued where that is told */
    std::string LeftUntil(std::int64_t end, std::int64_t clockNow,
                          const std::optional<std::int64_t>& issued = {});

    // As the log has them.
    std::string began;
    std::string ended;
    Moment first;
    Moment now;
    /** On the way. */
    bool wasSet = false;
    /** What is odd about the set's clock, beside a token's times; empty for nothing. */
    std::string remark;

private:
    void Note(std::int64_t clockNow, const std::string& far);
};

}  // namespace Log
