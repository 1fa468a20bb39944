// SPDX-License-Identifier: MIT
#include <rynvel.h>

#include <gtest/gtest.h>

#include "BoardProbe.h"

// Tests the C interface of a library that was built with the device description file own_devices.def.

namespace {

using RynvelTest::BoardProbe;

TEST(OwnDevices, AreOpenedByNameToTheHandlesOfTheirRows) {
    const char* const names[] = {"own.fpga",          "own.tyvon.map.16",  "own.tyvon.map.32",
                                 "own.tyvon.seek.16", "own.tyvon.seek.32", "own.i2c"};
    int handle = 0;
    for (const char* name : names) {
        EXPECT_EQ(Rynvel_open(name), handle++) << name;
    }
    EXPECT_EQ(Rynvel_open("traf.top"), -1);
}

TEST(OwnDevices, AccessSpiRegistersAtTheBlockOffsetOfTheirRow) {
    const int handle = Rynvel_open("own.fpga");
    std::uint32_t value = 0;
    EXPECT_EQ(Rynvel2_write32(handle, 3, 0x11223344), 0);
    EXPECT_EQ(BoardProbe("spidev7.1").text("frame"), "01 00 00 10 0c 11 22 33 44 00 00");
    EXPECT_EQ(Rynvel_read32(handle, 12, &value), 0);
    EXPECT_EQ(value, 0x11223344U);
    EXPECT_EQ(Rynvel_getFileDescriptor(handle), -1);
}

TEST(OwnDevices, AccessTyvonRegistersOfBothWidths) {
    for (const char* family : {"own.tyvon.map.", "own.tyvon.seek."}) {
        const int handle16 = Rynvel_open((std::string(family) + "16").c_str());
        const int handle32 = Rynvel_open((std::string(family) + "32").c_str());
        EXPECT_EQ(Rynvel2_write32(handle32, 0, 0x55667788), 0);
        std::uint16_t value = 0;
        EXPECT_EQ(Rynvel2_read16(handle16, 0, &value), 0);
        EXPECT_EQ(value, 0x7788);
    }
}

TEST(OwnDevices, DeliverTyvonInterrupts) {
    const int handle = Rynvel_open("own.tyvon.map.16");
    const BoardProbe probe("tyvon_map");
    unsigned long info = 0;
    EXPECT_EQ(Rynvel_enableInterrupts(handle), 0);
    probe.set("raise", "0x1234");
    EXPECT_EQ(Rynvel_receiveInterrupts(handle, &info), 0);
    EXPECT_EQ(info, 0x1234U);
    EXPECT_EQ(Rynvel_disableInterrupts(handle), 0);
}

} // namespace
