// SPDX-License-Identifier: MIT
#include "WatchTable.h"

#include <gtest/gtest.h>

#include "Target.h"
#include "TextTable.h"

namespace RynvelTest {
namespace {

using Rynvelctl::WatchTable;
using Lines = std::vector<std::string>;
using std::chrono::milliseconds;

/** Samples of registers of a device. The addresses of the registers are 4 bytes apart. */
class Samples {
public:
    explicit Samples(const WatchTable::Style& style, std::size_t registers = 2)
        : m_target(Rynvelctl::localTarget("traf.top", nullptr, Rynvelctl::CommandTimeout(std::nullopt))),
          m_table("traf.top", registers, style) {}

    void take(const std::vector<std::uint32_t>& values, milliseconds time) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            const Rynvelctl::RegisterRange range(m_target, Rynvelctl::AddressUnit::Bytes, std::to_string(i * 4));
            m_table.take(i, Rynvelctl::RegisterValue{range, values[i], {}});
        }
        m_table.endSample(WatchTable::TimePoint(time));
    }

    Lines lines(std::size_t columns = 80, std::size_t count = 23) const { return m_table.lines(columns, count); }

private:
    const Rynvelctl::Target m_target;
    WatchTable m_table;
};

constexpr WatchTable::Style plain{false, false, false};
constexpr WatchTable::Style colored{true, false, false};

TEST(WatchTable, ShowsTheOldValueBesideAChangedOne) {
    Samples samples(plain);
    samples.take({1, 2}, milliseconds(0));
    EXPECT_EQ(samples.lines(), (Lines{"traf.top  0:00:00", "REGISTER    VALUE       OLD", "0x00000000  0x00000001",
                                      "0x00000004  0x00000002"}));
    samples.take({1, 3}, milliseconds(500));
    EXPECT_EQ(samples.lines()[2], "0x00000000  0x00000001");
    EXPECT_EQ(samples.lines()[3], "0x00000004  0x00000003  0x00000002");
    samples.take({1, 3}, milliseconds(9000));
    EXPECT_EQ(samples.lines()[3], "0x00000004  0x00000003  0x00000002");
}

TEST(WatchTable, ShowsValuesInTheGivenBase) {
    Samples samples({false, false, false, Rynvelctl::NumberBase::Decimal}, 1);
    samples.take({10}, milliseconds(0));
    samples.take({12}, milliseconds(0));
    EXPECT_EQ(samples.lines(), (Lines{"traf.top  0:00:00", "REGISTER    VALUE  OLD", "0x00000000  12     10"}));
}

TEST(WatchTable, HighlightsAChangeForASecond) {
    const std::string highlighted = "0x00000000  \x1b[1;35m0x00000002\x1b[0m  0x00000001";
    Samples samples(colored, 1);
    samples.take({1}, milliseconds(0));
    EXPECT_EQ(samples.lines()[2], "0x00000000  0x00000001");
    samples.take({2}, milliseconds(100));
    EXPECT_EQ(samples.lines()[2], highlighted);
    samples.take({2}, milliseconds(1099));
    EXPECT_EQ(samples.lines()[2], highlighted);
    samples.take({2}, milliseconds(1100));
    EXPECT_EQ(samples.lines()[2], "0x00000000  0x00000002  0x00000001");
}

TEST(WatchTable, HighlightsAChangeSinceTheLastSampleEvenAfterALongTime) {
    Samples samples(colored, 1);
    samples.take({1}, milliseconds(0));
    samples.take({2}, milliseconds(60000));
    EXPECT_EQ(samples.lines()[2], "0x00000000  \x1b[1;35m0x00000002\x1b[0m  0x00000001");
}

TEST(WatchTable, ShowsTheTimeAndTheRateOfTheLastSamples) {
    Samples samples(plain, 1);
    samples.take({0}, milliseconds(1000));
    EXPECT_EQ(samples.lines()[0], "traf.top  0:00:00");
    samples.take({0}, milliseconds(3000));
    EXPECT_EQ(samples.lines()[0], "traf.top  0:00:02  0.5 samples/s");
    for (int i = 1; i <= 10; ++i) {
        samples.take({0}, milliseconds(3723000 + i * 100));
    }
    EXPECT_EQ(samples.lines()[0], "traf.top  1:02:03  10.0 samples/s");
}

TEST(WatchTable, ShowsTheTimeOfASlowSample) {
    for (const auto& [period, rate] :
         {std::pair(10000, "0.1 samples/s"), std::pair(21000, "21.0 s/sample"), std::pair(60500, "60.5 s/sample")}) {
        Samples samples(plain, 1);
        samples.take({0}, milliseconds(0));
        samples.take({0}, milliseconds(period));
        samples.take({0}, milliseconds(2 * period));
        const std::string title = samples.lines()[0];
        EXPECT_EQ(title.substr(title.rfind("  ") + 2), rate);
    }
}

TEST(WatchTable, HasOneColumnForEachCharacterOfTheDevice) {
    const WatchTable table("\u6e29\u5ea6\u009b\u00b5", 0, plain);
    EXPECT_EQ(table.lines(80, 23)[0], "???\u00b5");
}

TEST(WatchTable, PlotsTheLastValuesOfEachRegister) {
    for (const auto& [usesUtf8, plot] : {std::pair(false, "_=#-"), std::pair(true, "▁▅█▃")}) {
        Samples samples({false, true, usesUtf8});
        for (const std::uint32_t value : {100U, 160U, 200U, 130U}) {
            samples.take({value, 5}, milliseconds(0));
        }
        EXPECT_EQ(samples.lines()[1], "REGISTER    VALUE       OLD         LAST VALUES");
        EXPECT_EQ(samples.lines()[2], std::string("0x00000000  0x00000082  0x000000c8  ") + plot);
        EXPECT_EQ(samples.lines()[3],
                  std::string("0x00000004  0x00000005              ") + (usesUtf8 ? "▁▁▁▁" : "____"));
    }
}

TEST(WatchTable, PlotsTheValuesThatFit) {
    Samples samples({false, true, false}, 1);
    for (std::uint32_t value = 0; value <= 700; ++value) {
        samples.take({value}, milliseconds(0));
    }
    EXPECT_EQ(samples.lines(38)[2], "0x00000000  0x000002bc  0x000002bb  *#");
    EXPECT_EQ(samples.lines(36)[2], "0x00000000  0x000002bc  0x000002bb");
    EXPECT_EQ(samples.lines(1000)[2].size(), 36U + 120);
}

TEST(WatchTable, IsCutToTheTerminal) {
    Samples samples(colored, 3);
    samples.take({1, 2, 3}, milliseconds(0));
    samples.take({1, 4, 3}, milliseconds(100));
    EXPECT_EQ(samples.lines(15), (Lines{"traf.top  0:00:", "REGISTER    VAL", "0x00000000  0x0",
                                        "0x00000004  \x1b[1;35m0x0\x1b[0m", "0x00000008  0x0"}));
    EXPECT_EQ(samples.lines(10, 3), (Lines{"traf.top  ", "REGISTER", "(3 more)"}));
    EXPECT_EQ(samples.lines(15, 4).back(), "(2 more)");
    EXPECT_EQ(samples.lines(4, 1), (Lines{"(5 m"}));
    EXPECT_EQ(samples.lines(15, 0), Lines());
    EXPECT_EQ(samples.lines(15, 5).size(), 5U);
}

TEST(WatchTable, IsCutBetweenCharacters) {
    EXPECT_EQ(Rynvelctl::cutText("a\xC2\xB5s", 2), "a\xC2\xB5");
    EXPECT_EQ(Rynvelctl::cutText("\xE2\x82\xAC\xF0\x9F\x98\x80.", 1), "\xE2\x82\xAC");
    EXPECT_EQ(Rynvelctl::cutText("ab", 5), "ab");
    EXPECT_EQ(Rynvelctl::cutText("ab", 0), "");
}

TEST(WatchTable, HasTimesInHours) {
    EXPECT_EQ(Rynvelctl::elapsedText(std::chrono::seconds(59)), "0:00:59");
    EXPECT_EQ(Rynvelctl::elapsedText(std::chrono::seconds(36061)), "10:01:01");
}

} // namespace
} // namespace RynvelTest
