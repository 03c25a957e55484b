#include "Cli/Time.h"

#include <gtest/gtest.h>

namespace Cli {
namespace {

TEST(Moment, IsReadAsPeopleWriteIt) {
    EXPECT_EQ(ParseMoment("2026-01-31T14:02:03Z"), "2026-01-31T14:02:03.000000Z");
    EXPECT_EQ(ParseMoment("2026-01-31T14:02:03.5+01:00"), "2026-01-31T13:02:03.500000Z");
    const std::string now = Timestamp();
    EXPECT_EQ(ParseMoment(now), now);
    const auto ago = [](const char* text) { return ParseMoment(text).value_or("none"); };
    EXPECT_LT(ago("2d"), ago("1d"));
    EXPECT_LT(ago("1d"), ago("2h"));
    EXPECT_LT(ago("2h"), ago("61m"));
    EXPECT_LT(ago("61m"), ago("59s"));
    EXPECT_EQ(TimeOfDay(ago("14:02")), "14:02:00");
    EXPECT_EQ(TimeOfDay(ago("14:02:03")), "14:02:03");
    for (const char* text : {"", "m", "10", "-5m", "99999999999d", "25:00", "noon", "2026-01-31"}) {
        EXPECT_EQ(ParseMoment(text), std::nullopt) << text;
    }
    EXPECT_EQ(TimeOfDay("noon"), "??:??:??");
}

}  // namespace
}  // namespace Cli
