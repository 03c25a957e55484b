/** Times of day and lengths of time, in words. */
#pragma once

#include <cstdint>
#include <string>

namespace Cli {

/** Seconds since the epoch as the clock on the wall shows them: "14:02" of today, else "2026-11-24 14:02". */
std::string TimeWords(std::int64_t time, std::int64_t now);

/** "2026-11-24 14:02:10"; empty for a time that no calendar has. */
std::string DateTime(std::int64_t time);

/** The two largest units that say something: "2 hours 5 minutes", "0 seconds". The sign is left out. */
std::string DurationWords(std::int64_t seconds);

/** The sum or difference of two times, or the limit of 64 bits that it lies beyond. */
std::int64_t Sum(std::int64_t time, std::int64_t length);
std::int64_t Difference(std::int64_t later, std::int64_t earlier);

}  // namespace Cli
