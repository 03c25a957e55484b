/** Times of day and durations as texts. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Cli {

/** Seconds since the epoch as "2026-11-24 14:02:10"; empty for a time that no calendar has. */
std::string DateTime(std::int64_t time);

/** The two largest units, with hundredths below ten seconds: "2h 5m", "1d", "0.12s". The sign is left out. */
std::string DurationText(double seconds);
inline std::string DurationText(std::int64_t seconds) {
    return DurationText(static_cast<double>(seconds));
}

/** Seconds, of a text such as "2s", "0.5s", "1h30m" or "7d"; nothing for another text. */
std::optional<double> ParseDuration(const std::string& text);

/** The sum or difference of two times, or the limit of 64 bits that it lies beyond. */
std::int64_t Sum(std::int64_t time, std::int64_t length);
std::int64_t Difference(std::int64_t later, std::int64_t earlier);

/** Now in ISO 8601 and UTC, to the microsecond: of two such texts the later moment's is the greater one. */
std::string Timestamp();

/** The local time of day of an ISO 8601 text, HH:MM:SS; question marks where it is none. */
std::string TimeOfDay(const std::string& timestamp);

/** In the form of Timestamp(): "10m" ago or an ISO 8601 time; nothing for another text. */
std::optional<std::string> ParseMoment(const std::string& text);

}  // namespace Cli
