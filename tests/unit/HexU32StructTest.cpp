// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <iomanip>
#include <sstream>

#include <gtest/gtest.h>

namespace {

std::string written(std::uint32_t value, std::int32_t width) {
    std::ostringstream stream;
    stream << HexU32Struct{value, width};
    return stream.str();
}

TEST(HexU32Struct, PadsWithZerosToTheWidth) {
    EXPECT_EQ(written(0x1F, 8), "0x0000001f");
    EXPECT_EQ(written(0, 4), "0x0000");
    EXPECT_EQ(written(0xB, 1), "0xb");
}

TEST(HexU32Struct, WritesAllDigitsOfALongerValue) {
    EXPECT_EQ(written(0xABCD, 2), "0xabcd");
    EXPECT_EQ(written(0xFFFFFFFF, 8), "0xffffffff");
    EXPECT_EQ(written(0x12345678, 0), "0x12345678");
}

TEST(HexU32Struct, IgnoresTheFlagsOfTheStream) {
    std::ostringstream stream;
    stream << std::uppercase << std::showbase << std::left << std::oct << std::showpos << HexU32Struct{0xAB, 4};
    EXPECT_EQ(stream.str(), "0x00ab");
}

TEST(HexU32Struct, LeavesTheFlagsAsTheyWere) {
    std::ostringstream stream;
    stream << HexU32Struct{0x10, 8} << ' ' << 10;
    EXPECT_EQ(stream.str(), "0x00000010 10");

    stream.str("");
    stream << std::uppercase << std::showbase << std::hex << HexU32Struct{0x10, 2} << ' ' << 0xAB;
    EXPECT_EQ(stream.str(), "0x10 0XAB");
}

TEST(HexU32Struct, LeavesTheFillCharacterZero) {
    std::ostringstream stream;
    stream << HexU32Struct{1, 2} << std::setw(4) << 7;
    EXPECT_EQ(stream.str(), "0x010007");
}

} // namespace
