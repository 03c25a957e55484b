/** Moments as texts: those of exchanges, and those that people write. */
#pragma once

#include <optional>
#include <string>

namespace LocalCloud {

/** ISO 8601 in UTC, to the microsecond: of two such texts the later moment's is the greater one. */
std::string NowText();

/** The local time of day of an ISO 8601 text, HH:MM:SS; question marks where it is none. */
std::string TimeOfDay(const std::string& text);

/** In the form of NowText(): "10m" ago (s, m, h, d), "14:02" today or an ISO 8601 time; nothing for another
 * text. */
std::optional<std::string> ParseMoment(const std::string& text);

}  // namespace LocalCloud
