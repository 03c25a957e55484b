/** Lengths of time in words. */
#pragma once

#include <cstdint>
#include <string>

namespace Cli {

/** The two largest units that say something: "2 hours 5 minutes", "0 seconds". The sign is left out. */
std::string DurationWords(std::int64_t seconds);

/** The sum or difference of two times, or the limit of 64 bits that it lies beyond. */
std::int64_t Sum(std::int64_t time, std::int64_t length);
std::int64_t Difference(std::int64_t later, std::int64_t earlier);

}  // namespace Cli
