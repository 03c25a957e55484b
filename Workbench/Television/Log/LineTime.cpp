#include "Television/Log/LineTime.h"

#include <glib.h>

#include <algorithm>
#include <memory>

#include "Cli/Text.h"

namespace Log {

using Text = std::string_view;

namespace {

/** A time of day with what belongs to it, else seconds since some beginning. */
constexpr char TIME[] =
    R"((?<time>(?:(?:(?<year>\d{4})-)?(?<month>\d\d)-(?<day>\d\d)[ T,]+|(?<name>[A-Z][a-z]{2}) +(?<day>\d{1,2}) )?)"
    R"((?<hour>\d\d):(?<minute>\d\d):(?<second>\d\d(?:\.\d+|,\d{3}(?![\d,;]))?)(?:Z|[+-]\d\d(?::?\d\d)?)?)"
    R"(|(?<![\w.])\d+\.\d{3,}(?!\w)))";

}  // namespace

Cli::Pattern::Match FindTime(Text text) {
    static const Cli::Pattern pattern(TIME);
    return pattern.Find(text);
}

std::optional<std::int64_t> MomentOf(const Cli::Pattern::Match& time) {
    constexpr double MILLISECONDS = 1000;
    if (time["hour"].empty()) {
        const double seconds = g_ascii_strtod(std::string(time["time"]).c_str(), nullptr);
        return time ? std::optional(static_cast<std::int64_t>(seconds * MILLISECONDS)) : std::nullopt;
    }
    const auto number = [&time](const char* name, std::int64_t none) {
        return static_cast<int>(time[name].empty() ? none : Cli::Number(time[name]));
    };
    const auto month = static_cast<int>(Text("JanFebMarAprMayJunJulAugSepOctNovDec").find(time["name"]));
    std::string second(time["second"]);
    std::replace(second.begin(), second.end(), ',', '.');
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> moment(
        g_date_time_new_utc(number("year", 2000), time["name"].empty() ? number("month", 1) : month / 3 + 1,
                            number("day", 1), number("hour", 0), number("minute", 0),
                            g_ascii_strtod(second.c_str(), nullptr)),
        &g_date_time_unref);
    return moment ? std::optional<std::int64_t>(g_date_time_to_unix(moment.get()) * 1000 +
                                                g_date_time_get_microsecond(moment.get()) / 1000)
                  : std::nullopt;
}

std::string JournalTime(const std::string& microseconds) {
    const std::int64_t time = Cli::Number(microseconds);
    GDateTime* const utc = g_date_time_new_from_unix_utc(time / 1'000'000);
    if (time <= 0 || utc == nullptr) {
        return "";
    }
    const std::string fraction = std::to_string(1000 + time / 1000 % 1000).substr(1);
    std::string text = Cli::Taken(g_date_time_format(utc, "%FT%T.")) + fraction + "Z";
    g_date_time_unref(utc);
    return text;
}

std::optional<std::int64_t> Moment(Text time) {
    return MomentOf(FindTime(time));
}

}  // namespace Log
