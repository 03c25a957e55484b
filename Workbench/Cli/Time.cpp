#include "Cli/Time.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>

#include "Cli/Text.h"

namespace Cli {

namespace {

struct Unit {
    std::uint64_t seconds;
    char letter;
};

constexpr Unit UNITS[] = {{365ULL * 86400, 'y'}, {86400, 'd'}, {3600, 'h'}, {60, 'm'}, {1, 's'}};
constexpr std::uint64_t MOST_YEARS = 1000;
// Milliseconds of it, added to the time, still fit in 64 bits.
constexpr double LONGEST_DURATION = 1e12;

using Moment = std::unique_ptr<GDateTime, decltype(&g_date_time_unref)>;

Moment Owned(GDateTime* time) {
    return {time, &g_date_time_unref};
}

std::string UtcText(const Moment& time) {
    const Moment utc = Owned(time ? g_date_time_to_utc(time.get()) : nullptr);
    return utc ? Taken(g_date_time_format(utc.get(), "%FT%T.%fZ")) : "";
}

/** A text without a zone is in local time. */
Moment Parsed(const std::string& text) {
    GTimeZone* here = g_time_zone_new_local();
    Moment moment = Owned(g_date_time_new_from_iso8601(text.c_str(), here));
    g_time_zone_unref(here);
    return moment;
}

std::int64_t Limit(bool highest) {
    return highest ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
}

}  // namespace

std::string DateTime(std::int64_t time) {
    const Moment local = Owned(g_date_time_new_from_unix_local(time));
    return local ? Taken(g_date_time_format(local.get(), "%F %T")) : "";
}

std::string DurationText(double seconds) {
    constexpr double SHOWN_EXACTLY = 10;
    const double length = std::abs(seconds);
    if (length < SHOWN_EXACTLY) {
        std::ostringstream text;
        text << std::round(length * 100) / 100 << "s";
        return text.str();
    }
    if (length >= static_cast<double>(MOST_YEARS * UNITS[0].seconds)) {
        return "more than " + std::to_string(MOST_YEARS) + "y";
    }
    auto rest = static_cast<std::uint64_t>(std::llround(length));
    const Unit* unit = std::find_if(std::begin(UNITS), std::end(UNITS),
                                    [rest](const Unit& known) { return rest >= known.seconds; });
    std::string text = std::to_string(rest / unit->seconds) + unit->letter;
    rest %= unit->seconds;
    if (++unit != std::end(UNITS) && rest >= unit->seconds) {
        text += " " + std::to_string(rest / unit->seconds) + unit->letter;
    }
    return text;
}

std::optional<double> ParseDuration(const std::string& text) {
    double seconds = 0;
    const char* at = text.c_str();
    while (*at != '\0') {
        char* end = nullptr;
        const double number = g_ascii_isdigit(*at) != FALSE ? g_ascii_strtod(at, &end) : -1;
        const auto* const unit = std::find_if(std::begin(UNITS), std::end(UNITS), [end](const Unit& known) {
            return end != nullptr && known.letter == *end;
        });
        if (number < 0 || unit == std::end(UNITS)) {
            return std::nullopt;
        }
        seconds += number * static_cast<double>(unit->seconds);
        at = end + 1;
    }
    return text.empty() || seconds > LONGEST_DURATION ? std::nullopt : std::optional(seconds);
}

std::int64_t Sum(std::int64_t time, std::int64_t length) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(time, length, &sum) ? Limit(length > 0) : sum;
}

std::int64_t Difference(std::int64_t later, std::int64_t earlier) {
    std::int64_t difference = 0;
    return __builtin_sub_overflow(later, earlier, &difference) ? Limit(earlier < 0) : difference;
}

std::string Timestamp() {
    return UtcText(Owned(g_date_time_new_now_utc()));
}

std::string TimeOfDay(const std::string& timestamp) {
    const Moment time = Parsed(timestamp);
    return time ? Taken(g_date_time_format(Owned(g_date_time_to_local(time.get())).get(), "%T")) : "??:??:??";
}

std::optional<std::string> ParseMoment(const std::string& text) {
    const auto ago = ParseDuration(text);
    const Moment now = Owned(g_date_time_new_now_utc());
    const std::string moment = UtcText(ago ? Owned(g_date_time_add_seconds(now.get(), -*ago)) : Parsed(text));
    return moment.empty() ? std::nullopt : std::optional(moment);
}

}  // namespace Cli
