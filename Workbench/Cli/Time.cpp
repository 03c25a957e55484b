#include "Cli/Time.h"

#include <glib.h>

#include <memory>

namespace Cli {

std::string DateTime(std::int64_t time) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> local(
        g_date_time_new_from_unix_local(time), &g_date_time_unref);
    const std::unique_ptr<char, decltype(&g_free)> text(
        local ? g_date_time_format(local.get(), "%F %T") : nullptr, &g_free);
    return text ? text.get() : "";
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

}  // namespace Cli
