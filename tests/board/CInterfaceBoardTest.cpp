// SPDX-License-Identifier: MIT
#include <rynvel.h>
#include <rynvel.hpp>

#include <array>
#include <cerrno>

#include <sys/ioctl.h>

#include <gtest/gtest.h>

#include "BoardProbe.h"
#include "ChildProcess.h"

// Tests the C interface with seekable devices of the board and a real kernel.

namespace {

using RynvelTest::BoardProbe;
using RynvelTest::succeedsInChildProcess;

constexpr unsigned int blockSize = 64 * 1024;

TEST(BoardCInterface, OpensTheSeekableDevicesByNameToTheHandlesOfTheirRows) {
    const std::array<std::pair<const char*, int>, 11> devices{{{"i2c", 3},
                                                               {"common.spi.0.0", 19},
                                                               {"common.spi.0.1", 20},
                                                               {"common.spi.0.2", 21},
                                                               {"common.spi.2.0", 22},
                                                               {"common.spi.2.1", 23},
                                                               {"common.spi.3.0", 24},
                                                               {"common.spi.4.0", 25},
                                                               {"common.spi.bpm", 26},
                                                               {"common.i2c.0", 27},
                                                               {"common.idt", 28}}};
    for (const auto& [name, handle] : devices) {
        EXPECT_EQ(Rynvel_open(name), handle) << name;
        EXPECT_EQ(Rynvel_open2(name), handle) << name;
        EXPECT_GT(Rynvel_getFileDescriptor(handle), 2) << name;
    }
}

class BoardSeekable : public testing::Test {
protected:
    const int m_handle = Rynvel_open("common.i2c.0");
    const BoardProbe m_probe{"i2c-0"};
};

TEST_F(BoardSeekable, KeepWhatWasWritten) {
    std::uint8_t value = 0;
    EXPECT_EQ(Rynvel_write8(m_handle, 0x10, 0xA5), 0);
    EXPECT_EQ(Rynvel_read8(m_handle, 0x10, &value), 0);
    EXPECT_EQ(value, 0xA5);
    EXPECT_EQ(Rynvel_writeBitmask8(m_handle, 0x10, 0x0C, 0x0F), 0);
    EXPECT_EQ(Rynvel_read8(m_handle, 0x10, &value), 0);
    EXPECT_EQ(value, 0xAC);
}

TEST_F(BoardSeekable, MoveInBursts) {
    const std::array<std::uint8_t, 5> written{1, 2, 3, 4, 5};
    std::array<std::uint8_t, 5> values{};
    EXPECT_EQ(Rynvel_burstWrite8(m_handle, 0x20, written.data(), 5), 0);
    EXPECT_EQ(Rynvel_burstRead8(m_handle, 0x20, values.data(), 5), 0);
    EXPECT_EQ(values, written);
}

TEST_F(BoardSeekable, UseOneSeekAndOneTransferPerAccessOrBurst) {
    for (const char* operation : {"seek", "read", "write"}) {
        m_probe.resetCalls(operation);
    }
    std::array<std::uint8_t, 100> values{};
    Rynvel_read8(m_handle, 0, values.data());
    Rynvel_burstRead8(m_handle, 0, values.data(), 100);
    Rynvel_write8(m_handle, 0, 1);
    Rynvel_burstWrite8(m_handle, 0, values.data(), 100);
    EXPECT_EQ(m_probe.calls("seek"), 4U);
    EXPECT_EQ(m_probe.calls("read"), 2U);
    EXPECT_EQ(m_probe.calls("write"), 2U);
}

TEST_F(BoardSeekable, KeepWrittenValuesForTheNextProcess) {
    const auto inNextProcess = [](auto body) {
        return succeedsInChildProcess([&body] { return body(Rynvel_open("common.spi.0.0")); });
    };
    for (const std::uint8_t written : {std::uint8_t{0x5A}, std::uint8_t{0xC3}}) {
        EXPECT_TRUE(inNextProcess([&](int handle) { return Rynvel_write8(handle, 0x77, written) == 0; }));
        EXPECT_TRUE(inNextProcess([&](int handle) {
            std::uint8_t value = 0;
            return handle == 19 && Rynvel_read8(handle, 0x77, &value) == 0 && value == written;
        }));
    }
}

TEST_F(BoardSeekable, EndWhereTheDeviceEnds) {
    std::uint8_t value = 0x55;
    EXPECT_EQ(Rynvel_read8(m_handle, blockSize - 1, &value), 0);
    value = 0x55;
    EXPECT_EQ(Rynvel_read8(m_handle, blockSize, &value), -1);
    EXPECT_EQ(value, 0x55);
    errno = 0;
    EXPECT_EQ(Rynvel_write8(m_handle, blockSize, 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    errno = 0;
    EXPECT_EQ(Rynvel_read8(m_handle, blockSize + 1, &value), -1);
    EXPECT_EQ(errno, EINVAL);
    std::array<std::uint8_t, 4> values{};
    EXPECT_EQ(Rynvel_burstRead8(m_handle, blockSize - 2, values.data(), 4), -1);
    EXPECT_EQ(Rynvel_burstWrite8(m_handle, blockSize - 2, values.data(), 4), -1);
}

TEST_F(BoardSeekable, RefuseAddressesBeyondTheSystemsFileOffsets) {
    std::uint8_t value = 0;
    errno = 0;
    EXPECT_EQ(Rynvel_read8(m_handle, 0x80000000, &value), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(BoardSeekable, ReportAFailureOfTheDriverAndWorkAfterIt) {
    std::uint8_t value = 0;
    const auto failsOnce = [&](const char* operation, int error, auto call) {
        m_probe.fail(operation, 1, error);
        errno = 0;
        EXPECT_EQ(call(), -1) << operation;
        EXPECT_EQ(errno, error) << operation;
        EXPECT_EQ(call(), 0) << operation;
    };
    failsOnce("seek", EINVAL, [&] { return Rynvel_read8(m_handle, 1, &value); });
    failsOnce("read", EIO, [&] { return Rynvel_read8(m_handle, 1, &value); });
    failsOnce("write", EIO, [&] { return Rynvel_write8(m_handle, 1, 2); });
    failsOnce("read", EIO, [&] { return Rynvel_writeBitmask8(m_handle, 1, 2, 3); });
    failsOnce("read", EIO, [&] { return Rynvel_burstRead8(m_handle, 1, &value, 1); });
    failsOnce("write", EIO, [&] { return Rynvel_burstWrite8(m_handle, 1, &value, 1); });
}

TEST_F(BoardSeekable, KeepTheirContentWhenTheReadOfAMaskedWriteFails) {
    EXPECT_EQ(Rynvel_write8(m_handle, 1, 0x11), 0);
    m_probe.resetCalls("write");
    m_probe.fail("read", 1, EIO);
    EXPECT_EQ(Rynvel_writeBitmask8(m_handle, 1, 0xFF, 0x0F), -1);
    EXPECT_EQ(m_probe.calls("write"), 0U);
}

TEST_F(BoardSeekable, ReportAShortBurst) {
    std::array<std::uint8_t, 8> values{};
    m_probe.shorten("read", 1, 3);
    EXPECT_EQ(Rynvel_burstRead8(m_handle, 0, values.data(), 8), -1);
    m_probe.shorten("write", 1, 3);
    EXPECT_EQ(Rynvel_burstWrite8(m_handle, 0, values.data(), 8), -1);
}

TEST_F(BoardSeekable, AnswerRequestsAsTheirDriverDoes) {
    EXPECT_EQ(Rynvel_ioctl(m_handle, _IO('B', 1), 0), static_cast<int>(blockSize));
    errno = 0;
    EXPECT_EQ(Rynvel_ioctl(m_handle, _IO('B', 2), 0), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST(BoardDeviceFile, EndsTheProcessThatOpensItWhenItIsMissing) {
    const auto open = [] {
        Rynvel::Factory::getInstance().makeUnique8(
            "i2c", std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None));
    };
    ASSERT_EQ(rename("/dev/tomkar_i2c", "/dev/moved"), 0);
    EXPECT_DEATH(open(), "Could not open device \"/dev/tomkar_i2c\". errno = No such file or directory\n"
                         ".*Assertion `m_fd != -1' failed");
    ASSERT_EQ(rename("/dev/moved", "/dev/tomkar_i2c"), 0);
}

} // namespace
