// SPDX-License-Identifier: MIT
#include "Number.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Common::isNumber;
using Common::NumberFormat;
using Common::parseNumber;

constexpr NumberFormat decimal;
constexpr NumberFormat withHexadecimal{true, false};
constexpr NumberFormat every{true, true};
constexpr NumberFormat fourDigits{true, true, 4};

TEST(Number, IsDecimal) {
    EXPECT_EQ(parseNumber("0", decimal), 0U);
    EXPECT_EQ(parseNumber("0017", decimal), 17U);
    EXPECT_EQ(parseNumber("4294967295", decimal), 4294967295U);
}

TEST(Number, AcceptsOnlyThePrefixesOfItsFormat) {
    EXPECT_EQ(parseNumber("0xfF", every), 255U);
    EXPECT_EQ(parseNumber("0X10", withHexadecimal), 16U);
    EXPECT_EQ(parseNumber("0b101", every), 5U);
    EXPECT_EQ(parseNumber("0B1", every), 1U);
    EXPECT_FALSE(isNumber("0x10", decimal));
    EXPECT_FALSE(isNumber("0b1", decimal));
    EXPECT_FALSE(isNumber("0b1", withHexadecimal));
}

TEST(Number, RefusesAnyOtherCharacter) {
    for (const char* const text :
         {"", " 1", "1 ", "+1", "-1", "1x", "x1", "0x", "0b", "0b2", "0xg", "0x-1", "0x0x1", "1e3", "1.0", "1a"}) {
        EXPECT_FALSE(isNumber(text, every)) << text;
        EXPECT_EQ(parseNumber(text, every), std::nullopt) << text;
    }
}

TEST(Number, IsParsedOnlyUpToTheMaximumValue) {
    for (const char* const text : {"4294967296", "0x100000000", "99999999999999999999"}) {
        EXPECT_TRUE(isNumber(text, every)) << text;
        EXPECT_EQ(parseNumber(text, every), std::nullopt) << text;
    }
    EXPECT_EQ(parseNumber("65535", every, 65535), 65535U);
    EXPECT_EQ(parseNumber("65536", every, 65535), std::nullopt);
}

TEST(Number, WithALeadingZeroHasADecimalAndAnOctalMeaning) {
    using Common::hintForLeadingZero;
    EXPECT_EQ(hintForLeadingZero("010"), "write 10 or 0x8");
    EXPECT_EQ(hintForLeadingZero("0037777777777"), "write 0xffffffff");
    EXPECT_EQ(hintForLeadingZero("019"), "write 19");
    EXPECT_EQ(hintForLeadingZero("007"), "write 7");
    EXPECT_EQ(hintForLeadingZero("000"), "write 0");
    EXPECT_EQ(hintForLeadingZero("04294967295"), "write 4294967295");
    EXPECT_EQ(hintForLeadingZero("04294967296"), "");
    EXPECT_EQ(hintForLeadingZero("07777777777777777777777777"), "");
    for (const char* const text : {"", "0", "1", "10", "0x010", "0b010", "0X0", "0a", "00x1", "x0", "-01"}) {
        EXPECT_EQ(hintForLeadingZero(text), "") << text;
    }
}

TEST(Number, CannotHaveMoreDigitsThanItsFormatAllows) {
    EXPECT_EQ(parseNumber("0001", fourDigits), 1U);
    EXPECT_EQ(parseNumber("0xffff", fourDigits), 65535U);
    for (const char* const text : {"00001", "12345", "0x00001", "0b00001"}) {
        EXPECT_FALSE(isNumber(text, fourDigits)) << text;
        EXPECT_EQ(parseNumber(text, fourDigits), std::nullopt) << text;
    }
}

} // namespace
} // namespace RynvelTest
