#pragma once

#include <cstdint>
#include <ctime>

namespace TimeUtil {

/**
 * Seconds since the epoch. The clock of a set that counts them in 32 bits passes their end in 2038; without
 * its sign it goes on until 2106.
 */
inline std::int64_t Now() {
    const std::time_t now = std::time(nullptr);
    return sizeof(now) == sizeof(std::uint32_t) ? static_cast<std::uint32_t>(now)
                                                : static_cast<std::int64_t>(now);
}

}  // namespace TimeUtil
