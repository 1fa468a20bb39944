// SPDX-License-Identifier: MIT
#include "Duration.h"

#include <utility>
#include <vector>

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
}

TEST(Duration, MayHaveAFractionOfItsUnit) {
    EXPECT_EQ(parseDuration("1.5s"), 1500ms);
    EXPECT_EQ(parseDuration("0.1s"), 100ms);
    EXPECT_EQ(parseDuration("0.001s"), 1ms);
    EXPECT_EQ(parseDuration("1.5000s"), 1500ms);
    EXPECT_EQ(parseDuration("0.25m"), 15s);
    EXPECT_EQ(parseDuration("2h"), 120min);
    EXPECT_EQ(parseDuration("0.5h"), 30min);
    EXPECT_EQ(parseDuration("0.00001h"), 36ms);
    EXPECT_EQ(parseDuration("2.0ms"), 2ms);
}

TEST(Duration, IsAWholeNumberOfMilliseconds) {
    for (const char* text : {"0.5ms", "1.0005s", "0.0001s", "1.00001m", "0.0000001h", "0.33333333333333333333s"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(Duration, MustHaveAUnit) {
    for (const std::string text : {"5", "1.5", "00"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt);
        EXPECT_EQ(Common::notADuration(text), '\'' + text + "' has no unit (ms, s, m or h, for example 1.5s)");
    }
    for (const std::string text : {"", ".", "..", "1.0005s", "25h", "5d", "025h", ".s", "=1s"}) {
        EXPECT_EQ(Common::notADuration(text),
                  '\'' + text +
                      "' is not a time (a number with the unit ms, s, m or h, in whole milliseconds, at most one day)");
    }
}

TEST(Duration, MustNotHaveALeadingZeroOrEndAtThePoint) {
    const std::vector<std::pair<std::string, std::string>> corrections{
        {"010s", "10s"}, {"007s", "7s"},      {"00s", "0s"}, {"00.5s", "0.5s"},    {"01.5s", "1.5s"},
        {".5s", "0.5s"}, {".250s", "0.250s"}, {"1.s", "1s"}, {"00100.ms", "100ms"}};
    for (const auto& [text, corrected] : corrections) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
        EXPECT_EQ(Common::notADuration(text), '\'' + text + "' is not a time (give " + corrected + ')');
    }
}

TEST(Duration, NeedsNoUnitIfItIsZero) { EXPECT_EQ(parseDuration("0"), 0ms); }

TEST(Duration, IsAtMostADay) {
    EXPECT_EQ(parseDuration("24h"), 24h);
    EXPECT_EQ(parseDuration("24.000h"), 24h);
    EXPECT_EQ(parseDuration("1440m"), 24h);
    EXPECT_EQ(parseDuration("86400s"), 24h);
    EXPECT_EQ(parseDuration("86400000ms"), 24h);
    for (const char* text : {"25h", "24.00001h", "1441m", "86400.001s", "86401s", "86400001ms", "99999999m",
                             "100000000ms", "99999999999999999999s"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(Duration, RefusesAnythingElse) {
    for (const char* text : {"",      "1",      "00", "ms",  "s",  "-1s", "+1s", " 1s",  "1s ",   "1 s", ".5s",  "1.s",
                             "1..5s", "1.5.0s", ".s", "1.5", "1d", "1H",  "1S",  "1mss", "0x10s", "1s2", "1m30s"}) {
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
    }
}

TEST(Duration, IsShownInItsLargestWholeUnit) {
    EXPECT_EQ(Common::describe(0ms), "0 ms");
    EXPECT_EQ(Common::describe(1500ms), "1500 ms");
    EXPECT_EQ(Common::describe(90s), "90 s");
    EXPECT_EQ(Common::describe(120s), "2 m");
    EXPECT_EQ(Common::describe(90min), "90 m");
    EXPECT_EQ(Common::describe(24h), "24 h");
}

TEST(Duration, IsSplitIntoSecondsAndMicrosecondsForTheSystem) {
    EXPECT_EQ(Common::toTimeval(2s).tv_sec, 2);
    EXPECT_EQ(Common::toTimeval(2s).tv_usec, 0);
    EXPECT_EQ(Common::toTimeval(1234ms).tv_sec, 1);
    EXPECT_EQ(Common::toTimeval(1234ms).tv_usec, 234000);
    EXPECT_EQ(Common::toTimeval(24h).tv_sec, 86400);
}

} // namespace
} // namespace RynvelTest
