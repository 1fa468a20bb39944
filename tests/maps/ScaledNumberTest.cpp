// SPDX-License-Identifier: MIT
#include "ScaledNumber.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Maps::parseBitPattern;
using Maps::parseBoolean;
using Maps::parseScaledNumber;

TEST(ScaledNumber, HasEveryPrefix) {
    EXPECT_EQ(parseScaledNumber("42"), 42U);
    EXPECT_EQ(parseScaledNumber("+42"), 42U);
    EXPECT_EQ(parseScaledNumber("0x2a"), 42U);
    EXPECT_EQ(parseScaledNumber("0X2A"), 42U);
    EXPECT_EQ(parseScaledNumber("+0x2A"), 42U);
    EXPECT_EQ(parseScaledNumber("#101010"), 42U);
    EXPECT_EQ(parseScaledNumber("0b101010"), 42U);
}

TEST(ScaledNumber, IsDecimalWithLeadingZeros) { EXPECT_EQ(parseScaledNumber("0042"), 42U); }

TEST(ScaledNumber, HasEveryMultiplier) {
    EXPECT_EQ(parseScaledNumber("3k"), 3U << 10U);
    EXPECT_EQ(parseScaledNumber("3K"), 3U << 10U);
    EXPECT_EQ(parseScaledNumber("3m"), 3U << 20U);
    EXPECT_EQ(parseScaledNumber("3M"), 3U << 20U);
    EXPECT_EQ(parseScaledNumber("3g"), std::uint64_t{3} << 30U);
    EXPECT_EQ(parseScaledNumber("3G"), std::uint64_t{3} << 30U);
    EXPECT_EQ(parseScaledNumber("3t"), std::uint64_t{3} << 40U);
    EXPECT_EQ(parseScaledNumber("3T"), std::uint64_t{3} << 40U);
    EXPECT_EQ(parseScaledNumber("0x10k"), 16384U);
    EXPECT_EQ(parseScaledNumber("#1k"), 1024U);
}

TEST(ScaledNumber, HasUpTo64Bits) {
    EXPECT_EQ(parseScaledNumber("0xFFFFFFFFFFFFFFFF"), UINT64_MAX);
    EXPECT_EQ(parseScaledNumber("0x10000000000000000"), std::nullopt);
    EXPECT_EQ(parseScaledNumber("0xFFFFFFk"), std::uint64_t{0xFFFFFF} << 10U);
    EXPECT_EQ(parseScaledNumber("16777215t"), std::uint64_t{0xFFFFFF} << 40U);
    EXPECT_EQ(parseScaledNumber("16777216t"), std::nullopt);
}

TEST(ScaledNumber, RefusesOtherTexts) {
    for (const char* const text : {"",   "+",  "0x", "#",   "0b",  "k",   "0xk",   "1F",   "#12", "0b2",
                                   "-1", "1 ", " 1", "++1", "1kk", "1.5", "0x1_0", "0x-1", "#x",  "1x"}) {
        EXPECT_EQ(parseScaledNumber(text), std::nullopt) << text;
    }
}

TEST(BitPattern, ComparesAllBitsWithANumber) {
    for (const char* const text : {"5", "+5", "0x5", "#101", "0b101", "#0101"}) {
        const auto pattern = parseBitPattern(text);
        ASSERT_TRUE(pattern) << text;
        EXPECT_EQ(pattern->value, 5U) << text;
        EXPECT_EQ(pattern->mask, UINT64_MAX) << text;
    }
}

TEST(BitPattern, IgnoresBitsThatAreX) {
    const auto pattern = parseBitPattern("#1x0X");
    ASSERT_TRUE(pattern);
    EXPECT_EQ(pattern->value, 8U);
    EXPECT_EQ(pattern->mask, ~std::uint64_t{5});
}

TEST(BitPattern, RefusesOtherTexts) {
    for (const char* const text : {"", "x", "1x", "0x1x", "#", "#2", "5k", "#1k"}) {
        EXPECT_FALSE(parseBitPattern(text)) << text;
    }
    EXPECT_TRUE(parseBitPattern("#" + std::string(64, 'x')));
    EXPECT_FALSE(parseBitPattern("#" + std::string(65, 'x')));
}

TEST(Boolean, IsAWordOrADigit) {
    EXPECT_EQ(parseBoolean("true"), true);
    EXPECT_EQ(parseBoolean("1"), true);
    EXPECT_EQ(parseBoolean("false"), false);
    EXPECT_EQ(parseBoolean("0"), false);
    for (const char* const text : {"", "True", "yes", "2", "01"}) {
        EXPECT_EQ(parseBoolean(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace RynvelTest
