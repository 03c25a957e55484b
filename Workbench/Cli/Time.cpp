#include "Cli/Time.h"

#include <glib.h>

#include <limits>
#include <memory>

#include "Cli/Text.h"

namespace Cli {

namespace {

struct Unit {
    std::uint64_t seconds;
    const char* name;
};

constexpr Unit UNITS[] = {
    {365ULL * 86400, "year"}, {86400, "day"}, {3600, "hour"}, {60, "minute"}, {1, "second"}};
constexpr std::uint64_t MOST_YEARS = 1000;

std::int64_t Limit(bool highest) {
    return highest ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
}

}  // namespace

std::string DateTime(std::int64_t time) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> local(
        g_date_time_new_from_unix_local(time), &g_date_time_unref);
    return local ? Taken(g_date_time_format(local.get(), "%F %T")) : "";
}

std::string TimeWords(std::int64_t time, std::int64_t now) {
    constexpr std::size_t DATE = sizeof("2026-11-24") - 1;
    constexpr std::size_t MINUTES = sizeof(" 14:02") - 1;
    const std::string text = DateTime(time);
    if (text.empty()) {
        return "a time that no calendar has";
    }
    const bool isToday = text.substr(0, DATE) == DateTime(now).substr(0, DATE);
    return isToday ? text.substr(DATE + 1, MINUTES - 1) : text.substr(0, DATE + MINUTES);
}

std::string DurationWords(std::int64_t seconds) {
    // Unsigned, since the lowest number has no positive counterpart.
    std::uint64_t left =
        seconds < 0 ? 0 - static_cast<std::uint64_t>(seconds) : static_cast<std::uint64_t>(seconds);
    if (left / UNITS[0].seconds >= MOST_YEARS) {
        return "more than " + std::to_string(MOST_YEARS) + " years";
    }
    std::string words;
    for (const Unit& unit : UNITS) {
        const std::uint64_t number = left / unit.seconds;
        left %= unit.seconds;
        if (!words.empty()) {
            return number == 0 ? words : words + " " + Count(number, unit.name);
        }
        if (number > 0) {
            words = Count(number, unit.name);
        }
    }
    return words.empty() ? Count(0, "second") : words;
}

std::int64_t Sum(std::int64_t time, std::int64_t length) {
    std::int64_t sum = 0;
    return __builtin_add_overflow(time, length, &sum) ? Limit(length > 0) : sum;
}

std::int64_t Difference(std::int64_t later, std::int64_t earlier) {
    std::int64_t difference = 0;
    return __builtin_sub_overflow(later, earlier, &difference) ? Limit(earlier < 0) : difference;
}

}  // namespace Cli
