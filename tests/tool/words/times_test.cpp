#include "tests/support/Standard_Library.h"
#include "tools/qelfilecache/inspecting/times.h"

#include <gtest/gtest.h>

namespace QEL::FrontEnd::Tool {
namespace {

constexpr std::uint64_t second = 10000000;

TEST(Times, AreCountedFromTheYear1601) {
    EXPECT_EQ(Utc_Time_Text(116444736000000000), "1970-01-01T00:00:00Z");
    EXPECT_EQ(Utc_Time_Text(133485408009999999), "2024-01-01T00:00:00Z");
    EXPECT_EQ(Local_Time_Text(133485408000000000).size(), std::string("2024-01-01 00:00:00").size());
}

TEST(Times, ThatNoCalendarHoldsAreUnknown) {
    for (const std::uint64_t moment : {std::uint64_t{0}, std::uint64_t{116444736000000000 - 1},
                                       std::uint64_t{441481536000000000}, std::numeric_limits<std::uint64_t>::max()}) {
        EXPECT_EQ(Utc_Time_Text(moment), "") << moment;
        EXPECT_EQ(Local_Time_Text(moment), moment < 441481536000000000 ? "an unknown time" : "the year 3000 or later")
            << moment;
    }
    EXPECT_EQ(Utc_Time_Text(441481536000000000 - 1), "2999-12-31T23:59:59Z");
}

TEST(Times, DurationsHaveTheUnitThatFits) {
    EXPECT_EQ(Duration_Text(0, 0), "0 seconds");
    EXPECT_EQ(Duration_Text(second, 0), "0 seconds");
    EXPECT_EQ(Duration_Text(0, second), "1 second");
    EXPECT_EQ(Duration_Text(0, 119 * second), "119 seconds");
    EXPECT_EQ(Duration_Text(0, 120 * second), "2 minutes");
    EXPECT_EQ(Duration_Text(0, 7199 * second), "119 minutes");
    EXPECT_EQ(Duration_Text(0, 7200 * second), "2 hours");
    EXPECT_EQ(Duration_Text(0, 48 * 3600 * second), "2 days");
}

TEST(Times, SizesHaveTheUnitThatFits) {
    EXPECT_EQ(Size_Text(0), "0 B");
    EXPECT_EQ(Size_Text(999), "999 B");
    EXPECT_EQ(Size_Text(1000), "1.0 kB");
    EXPECT_EQ(Size_Text(999949), "999.9 kB");
    EXPECT_EQ(Size_Text(999950), "1.0 MB");
    EXPECT_EQ(Size_Text(3400000000), "3.4 GB");
}

} // namespace
} // namespace QEL::FrontEnd::Tool
