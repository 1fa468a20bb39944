// SPDX-License-Identifier: MIT
#include "RegisterWord.h"

#include <gtest/gtest.h>

#include "InterruptRecord.h"
#include "ServerAddress.h"

namespace RynvelTest {
namespace {

using Rynvel::ByteOrder;

TEST(RegisterWord, HasTheWidthOfItsType) {
    EXPECT_EQ(Common::widthOf<std::uint8_t>, 8U);
    EXPECT_EQ(Common::widthOf<std::uint16_t>, 16U);
    EXPECT_EQ(Common::widthOf<std::uint32_t>, 32U);
    for (const unsigned int width : {8U, 16U, 32U}) {
        EXPECT_EQ(Common::bytesOf(width), width / 8);
        EXPECT_EQ(Common::withRegisterType(width, [](auto zero) { return Common::widthOf<decltype(zero)>; }), width);
    }
}

TEST(RegisterWord, IsAtMostAllOnes) {
    EXPECT_EQ(Common::maxValue(8), 0xFFU);
    EXPECT_EQ(Common::maxValue(16), 0xFFFFU);
    EXPECT_EQ(Common::maxValue(32), 0xFFFFFFFFU);
}

TEST(RegisterWord, HasItsBytesReversedInNetworkOrder) {
    EXPECT_EQ(Common::inByteOrder(0x12, 8, ByteOrder::Network), 0x12U);
    EXPECT_EQ(Common::inByteOrder(0x1234, 16, ByteOrder::Network), 0x3412U);
    EXPECT_EQ(Common::inByteOrder(0x12345678, 32, ByteOrder::Network), 0x78563412U);
    EXPECT_EQ(Common::inByteOrder(0x12345678, 32, ByteOrder::Host), 0x12345678U);
}

TEST(InterruptRecord, CarriesItsWordWithTheHighestByteFirst) {
    const Rynvel::InterruptMessage record = Common::interruptRecord(0x12345678);
    const auto* const bytes = static_cast<const unsigned char*>(record.toBuffer());
    ASSERT_EQ(record.getSize(), 4U);
    EXPECT_EQ(bytes[0], 0x12);
    EXPECT_EQ(bytes[1], 0x34);
    EXPECT_EQ(bytes[2], 0x56);
    EXPECT_EQ(bytes[3], 0x78);
    EXPECT_EQ(Common::interruptWord(record), 0x12345678U);
}

TEST(ServerAddress, HasTheDefaultPortOfTheLibrary) {
    EXPECT_EQ(Common::defaultPort, Rynvel::Remote<std::uint32_t>::getPort("node"));
}

} // namespace
} // namespace RynvelTest
