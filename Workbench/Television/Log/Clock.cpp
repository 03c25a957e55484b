#include "Television/Log/Clock.h"

#include <cstdlib>

#include "Cli/Time.h"

namespace Log {

namespace {

constexpr std::int64_t DAY = 86400;
constexpr std::int64_t MILLISECONDS = 1000;

}  // namespace

std::string SecondsText(std::int64_t milliseconds) {
    return Cli::DurationText(static_cast<double>(milliseconds) / MILLISECONDS);
}

void Clock::Take(const Line& line) {
    constexpr std::int64_t SLACK = 1000;
    if (line.time.empty() || line.time == ended) {
        return;
    }
    began = began.empty() ? line.time : began;
    ended = line.time;
    if (line.moment) {
        wasSet = wasSet || (now && (*line.moment < *now - SLACK || *line.moment > *now + DAY * MILLISECONDS));
        first = first ? first : line.moment;
        now = line.moment;
    }
}

Moment Clock::Since(const Moment& moment) const {
    const bool isTold = moment && now && *now >= *moment && !wasSet;
    return isTold ? Moment(*now - *moment) : std::nullopt;
}

std::string Clock::LeftUntil(std::int64_t end, std::int64_t clockNow,
                             const std::optional<std::int64_t>& issued) {
    constexpr std::int64_t FAR = 3650 * DAY;
    const std::int64_t left = Cli::Difference(end, clockNow);
    std::string far;
    if (issued && clockNow < Cli::Difference(*issued, DAY)) {
        far = Cli::DurationText(Cli::Difference(*issued, clockNow)) + " before the token was issued";
    } else if (left < -FAR || (left > FAR && !issued)) {
        far = Cli::DurationText(left) + (left < 0 ? " after" : " before") + " the end of what is stored";
    }
    Note(clockNow, far);
    return !far.empty() ? ""
           : left < 0   ? Cli::DurationText(left) + " before"
           : left == 0  ? "in that very second"
                        : "for another " + Cli::DurationText(left);
}

/** Notes a clock that is far from what is stored, or from the log's own times. */
void Clock::Note(std::int64_t clockNow, const std::string& far) {
    const bool hasYear = ended.size() > 4 && ended[4] == '-';
    const std::string date = Cli::DateTime(clockNow);
    const Moment moment =
        date.empty() ? std::nullopt : MomentOf(hasYear ? date : date.substr(date.find('-') + 1));
    const bool isOfDay = moment && now && ended.find(':') != std::string::npos;
    const std::int64_t days = isOfDay ? std::abs(*moment - *now) / (DAY * MILLISECONDS) : 0;
    const bool isFromLog = days >= 2 && (hasYear || days < 363);
    if (remark.empty() && (!far.empty() || isFromLog)) {
        remark = "the set's clock is wrong, or a stored time is: it stands at " + date + ", " +
                 (far.empty() ? "far from the log's own times" : far);
    }
}

}  // namespace Log
