#include "Duration.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Common::parseDuration;
using namespace std::chrono_literals;

TEST(Duration, IsAWholeNumberWithAUnit) {
    EXPECT_EQ(parseDuration("500ms"), 500ms);
    EXPECT_EQ(parseDuration("2s"), 2s);
    EXPECT_EQ(parseDuration("1m"), 1min);
    EXPECT_EQ(parseDuration("0ms"), 0ms);
    EXPECT_EQ(parseDuration("007s"), 7s);
}

TEST(Duration, NeedsNoUnitWhenItIsNothing) { EXPECT_EQ(parseDuration("0"), 0ms); }

TEST(Duration, IsAtMostADay) {
    EXPECT_EQ(parseDuration("1440m"), 24h);
    EXPECT_EQ(parseDuration("86400s"), 24h);
    EXPECT_EQ(parseDuration("86400000ms"), 24h);
    for (const char* text : {"1441m", "86401s", "86400001ms", "99999999m", "100000000ms", "99999999999999999999s"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(Duration, IsNothingElse) {
    for (const char* text : {"", "1", "00", "ms", "s", "-1s", "+1s", " 1s", "1s ", "1 s", "1.5s", "1h", "1S", "1mss",
                             "0x10s", "1s2", "1m30s"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace RynvelTest
