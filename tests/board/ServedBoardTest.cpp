// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include <poll.h>

#include <gtest/gtest.h>

#include "PlainMutex.h"

// Tests the devices of the board from another machine. served_board.sh runs these tests. The environment variable
// RYNVEL_SERVED_PORT contains the port of this machine that leads to the register server of the board.

namespace RynvelTest {
namespace {

using Rynvel::ByteOrder;

std::string server() {
    const char* const port = std::getenv("RYNVEL_SERVED_PORT");
    return std::string("127.0.0.1::") + (port == nullptr ? "none" : port);
}

template <typename T>
std::unique_ptr<Rynvel::Remote<T>> remote(const std::string& name) {
    return std::make_unique<Rynvel::Remote<T>>(name, server(), plainMutex());
}

TEST(ServedBoard, HasTheRegistersOfAMappedDevice) {
    const auto device = remote<std::uint32_t>("traf.car");
    std::uint32_t value = 0;
    EXPECT_TRUE(device->write(3, 0x12345678));
    EXPECT_TRUE(device->read(3, &value));
    EXPECT_EQ(value, 0x12345678U);
    EXPECT_TRUE(device->write(3, 0xFFFFFFFF, 0x00FF0000));
    EXPECT_TRUE(device->read(3, &value));
    EXPECT_EQ(value, 0x12FF5678U);
}

TEST(ServedBoard, HasTheRegistersOfASeekableDevice) {
    const auto device = remote<std::uint8_t>("common.i2c.0");
    std::uint8_t value = 0;
    EXPECT_TRUE(device->write(0x21, 0xA5));
    EXPECT_TRUE(device->read(0x21, &value));
    EXPECT_EQ(value, 0xA5);
    EXPECT_TRUE(device->write(0x21, 0x0F, 0x3C));
    EXPECT_TRUE(device->read(0x21, &value));
    EXPECT_EQ(value, 0x8D);
}

TEST(ServedBoard, MovesBurstsInBothOrders) {
    const auto device = remote<std::uint32_t>("traf.car");
    const std::array<std::uint32_t, 4> written{0x11223344, 0x55667788, 0x99AABBCC, 0xDDEEFF00};
    std::array<std::uint32_t, 4> values{};
    EXPECT_TRUE(device->write(16, written.data(), 4, ByteOrder::Network));
    EXPECT_TRUE(device->read(16, values.data(), 4, ByteOrder::Network));
    EXPECT_EQ(values, written);
    EXPECT_TRUE(device->read(16, values.data(), 4, ByteOrder::Host));
    EXPECT_EQ(values, (std::array<std::uint32_t, 4>{0x44332211, 0x88776655, 0xCCBBAA99, 0x00FFEEDD}));
}

TEST(ServedBoard, MovesTheLargestBurst) {
    const auto device = remote<std::uint32_t>("traf.car");
    std::array<std::uint32_t, 128> written{};
    for (std::size_t i = 0; i < written.size(); ++i) {
        written[i] = static_cast<std::uint32_t>(0x9E3779B9U * (i + 1));
    }
    std::array<std::uint32_t, 128> values{};
    EXPECT_TRUE(device->write(64, written.data(), 128, ByteOrder::Host));
    EXPECT_TRUE(device->read(64, values.data(), 128, ByteOrder::Host));
    EXPECT_EQ(values, written);
}

TEST(ServedBoard, RefusesAccessesOutsideTheMappingAndContinues) {
    const auto device = remote<std::uint32_t>("traf.car");
    std::uint32_t value = 7;
    EXPECT_TRUE(device->read(1023, &value));
    EXPECT_FALSE(device->read(1024, &value));
    EXPECT_FALSE(device->write(0xFFFFFFFF, 1));
    EXPECT_TRUE(device->read(0, &value));
}

TEST(ServedBoard, RefusesIoctlsAndDevicesThatItDoesNotHave) {
    EXPECT_EQ(remote<std::uint32_t>("traf.car")->ioctl(1, 0), -1);
    std::uint32_t value = 7;
    EXPECT_FALSE(remote<std::uint32_t>("traf.none")->read(0, &value));
    EXPECT_FALSE(remote<std::uint16_t>("traf.car")->write(0, 1));
}

TEST(ServedBoard, ReportsNoInterruptsOfASeekableDevice) {
    const auto device = remote<std::uint8_t>("common.i2c.0");
    unsigned long word = 0;
    EXPECT_FALSE(device->getInterruptType(&word));
    EXPECT_FALSE(device->enableInterrupt());
    EXPECT_EQ(device->getNativeHandle(), -1);
    EXPECT_FALSE(device->waitForInterrupt(&word));
}

/** The real-time clock of the board. The addresses of its registers are indexes. */
class Clock {
public:
    ~Clock() { EXPECT_TRUE(m_device->write(interruptMask, 0)); }

    Rynvel::Device32& device() { return *m_device; }

    void interruptIn(std::uint32_t seconds) {
        std::uint32_t now = 0;
        EXPECT_TRUE(m_device->read(counter, &now));
        EXPECT_TRUE(m_device->write(match, now + seconds));
        EXPECT_TRUE(m_device->write(interruptMask, 1));
    }

    void clear() { EXPECT_TRUE(m_device->write(interruptClear, 1)); }

    bool isReady(std::chrono::milliseconds timeout) {
        pollfd descriptor{m_device->getNativeHandle(), POLLIN, 0};
        return poll(&descriptor, 1, static_cast<int>(timeout.count())) == 1;
    }

private:
    enum Register { counter = 0, match = 1, interruptMask = 4, interruptClear = 7 };

    const std::unique_ptr<Rynvel::Device32> m_device = remote<std::uint32_t>("rtc0");
};

TEST(ServedBoard, ForwardsTheInterruptsOfTheClockToAnotherMachine) {
    Clock clock;
    unsigned long type = 0;
    EXPECT_TRUE(clock.device().getInterruptType(&type));
    EXPECT_EQ(type, 4U);
    clock.clear();
    unsigned long last = 0;
    for (int i = 0; i < 3; ++i) {
        clock.interruptIn(1);
        EXPECT_TRUE(clock.device().enableInterrupt());
        ASSERT_TRUE(clock.isReady(std::chrono::seconds(10)));
        unsigned long word = 0;
        ASSERT_TRUE(clock.device().waitForInterrupt(&word));
        EXPECT_GT(word, last);
        last = word;
        clock.clear();
        // The source was active until the test cleared it, so more interrupts may be pending.
        while (clock.isReady(std::chrono::milliseconds(200))) {
            ASSERT_TRUE(clock.device().waitForInterrupt(&last));
        }
    }
}

TEST(ServedBoard, ReportsNoMaskedInterruptOfTheClock) {
    Clock clock;
    clock.clear();
    EXPECT_TRUE(clock.device().enableInterrupt());
    EXPECT_FALSE(clock.isReady(std::chrono::milliseconds(1500)));
}

} // namespace
} // namespace RynvelTest
