#include "Cloud/Util/Time.h"

#include <glib.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace LocalCloud {

namespace {

constexpr guint64 LONGEST_AGO = 100'000;

using Time = std::unique_ptr<GDateTime, decltype(&g_date_time_unref)>;

Time Owned(GDateTime* time) {
    return {time, &g_date_time_unref};
}

std::string Formatted(GDateTime* time, const char* format) {
    const std::unique_ptr<char, decltype(&g_free)> text(g_date_time_format(time, format), &g_free);
    return text.get();
}

std::string UtcText(GDateTime* time) {
    return Formatted(Owned(g_date_time_to_utc(time)).get(), "%FT%T.%fZ");
}

/** A text without a zone is in local time. */
Time Parsed(const std::string& text) {
    const std::unique_ptr<GTimeZone, decltype(&g_time_zone_unref)> here(g_time_zone_new_local(),
                                                                        &g_time_zone_unref);
    return Owned(g_date_time_new_from_iso8601(text.c_str(), here.get()));
}

}  // namespace

std::string NowText() {
    return UtcText(Owned(g_date_time_new_now_utc()).get());
}

std::string TimeOfDay(const std::string& text) {
    const Time time = Parsed(text);
    return time ? Formatted(Owned(g_date_time_to_local(time.get())).get(), "%T") : "??:??:??";
}

std::optional<std::string> ParseMoment(const std::string& text) {
    const std::pair<const char*, GTimeSpan> units[] = {{"s", G_TIME_SPAN_SECOND},
                                                       {"m", G_TIME_SPAN_MINUTE},
                                                       {"h", G_TIME_SPAN_HOUR},
                                                       {"d", G_TIME_SPAN_DAY}};
    const Time now = Owned(g_date_time_new_now_local());
    char* end = nullptr;
    const guint64 count = g_ascii_strtoull(text.c_str(), &end, 10);
    for (const auto& [unit, span] : units) {
        if (end != text.c_str() && end == std::string(unit) && count <= LONGEST_AGO) {
            return UtcText(Owned(g_date_time_add(now.get(), -static_cast<GTimeSpan>(count) * span)).get());
        }
    }
    const bool isTimeOfDay = text.find('T') == std::string::npos;
    const bool isShort = std::count(text.begin(), text.end(), ':') == 1;
    const Time time =
        Parsed((isTimeOfDay ? Formatted(now.get(), "%FT") : "") + text + (isShort ? ":00" : ""));
    return time ? std::optional(UtcText(time.get())) : std::nullopt;
}

}  // namespace LocalCloud
