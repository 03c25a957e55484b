/** Times of day in words. */
#pragma once

#include <cstdint>
#include <string>

namespace Cli {

/** Seconds since the epoch as the clock on the wall shows them: "14:02" of today, else "2026-11-24 14:02". */
std::string TimeWords(std::int64_t time, std::int64_t now);

/** "2026-11-24 14:02:10"; empty for a time that no calendar has. */
std::string DateTime(std::int64_t time);

}  // namespace Cli
