// SPDX-License-Identifier: MIT
#include <rynvel.h>
#include <rynvel.hpp>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <poll.h>

#include <gtest/gtest.h>

#include "BoardProbe.h"
#include "BoardRegisters.h"
#include "ChildProcess.h"
#include "DeviceContract.h"

// Tests the mapped registers and the interrupts of the UIO devices of the board, with the real kernel.

namespace RynvelTest {
namespace {

const std::array<std::pair<const char*, const char*>, 19> uioDevices{{{"traf.top", "tomkar_top_ctrl"},
                                                                      {"traf.car", "tomkar_car"},
                                                                      {"spi", "tomkar_spi"},
                                                                      {"tod", "tomkar_tod"},
                                                                      {"sync", "tomkar_sync"},
                                                                      {"olh", "tomkar_olh"},
                                                                      {"etm.il", "tomkar_etm_il"},
                                                                      {"etm.la", "tomkar_etm_la"},
                                                                      {"mlhc", "tomkar_mlhc"},
                                                                      {"cri.top", "tomkar_cri_top"},
                                                                      {"cri.lh", "tomkar_cri_lh"},
                                                                      {"cri.tsm", "tomkar_cri_tsm"},
                                                                      {"cri.pf", "tomkar_cri_pf"},
                                                                      {"port", "tomkar_port_adapt"},
                                                                      {"mlm", "tomkar_mlm"},
                                                                      {"rla.0", "tomkar_rla_0"},
                                                                      {"rla.1", "tomkar_rla_1"},
                                                                      {"dsp", "tomkar_dsp_if"},
                                                                      {"rtc0", "rtc0"}}};

TEST(BoardUio, OpensAllNineteenDevicesByNameToTheHandlesOfTheirRows) {
    const std::array<int, 19> handles{0, 1, 2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 29};
    for (std::size_t i = 0; i < handles.size(); ++i) {
        EXPECT_EQ(Rynvel_open(uioDevices[i].first), handles[i]) << uioDevices[i].first;
        EXPECT_GT(Rynvel_getFileDescriptor(handles[i]), 2);
        std::uint32_t value = 0;
        EXPECT_EQ(Rynvel2_read32(handles[i], 0, &value), 0) << uioDevices[i].first;
    }
}

TEST(BoardUio, ReadsTheMapsOfItsDevicesInSysfs) {
    for (const auto& [name, file] : uioDevices) {
        const std::string path = std::string("/dev/") + file;
        EXPECT_EQ(Rynvel::Uio<std::uint32_t>::getMapData(path, "size"), 4096U) << name;
        EXPECT_EQ(Rynvel::Uio<std::uint32_t>::getMapData(path, "offset"), 0U) << name;
    }
}

template <typename T>
class UioOnBoard : public BoardRegisters<T>, public UsualBackend {
public:
    static constexpr bool hasInterrupts = true;

    UioOnBoard() : BoardRegisters<T>("tomkar_mlm") {}

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Uio<T>>("/dev/tomkar_mlm", plainMutex(), false);
    }
};

using Backends = testing::Types<UioOnBoard<std::uint16_t>, UioOnBoard<std::uint32_t>>;
INSTANTIATE_TYPED_TEST_SUITE_P(BoardUio, DeviceContract, Backends);

TEST(BoardUioRegisters, AreAccessibleByByteAddressByIndexAndFromASecondProcess) {
    const int handle = Rynvel_open("traf.top");
    ASSERT_EQ(handle, 0);
    EXPECT_EQ(Rynvel_write32(handle, 0x10, 0x12345678), 0);
    std::uint32_t value = 0;
    EXPECT_EQ(Rynvel2_read32(handle, 4, &value), 0);
    EXPECT_EQ(value, 0x12345678U);
    EXPECT_TRUE(succeedsInChildProcess([] {
        auto other = Rynvel::Factory::getInstance().makeUnique32("traf.top", plainMutex());
        std::uint32_t seen = 0;
        return other->read(4, &seen) && seen == 0x12345678 && other->write(5, 0x9ABCDEF0);
    }));
    EXPECT_EQ(Rynvel_read32(handle, 0x17, &value), 0);
    EXPECT_EQ(value, 0x9ABCDEF0U);
}

class BoardUioInterrupts : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(m_handle, -1);
        Rynvel_disableInterrupts(m_handle);
        m_probe.set("enable/calls", "0");
        m_probe.set("disable/calls", "0");
    }

    void raise() const { m_probe.set("raise", "1"); }

    bool ready(int milliseconds) const {
        pollfd descriptor{Rynvel_getFileDescriptor(m_handle), POLLIN, 0};
        return poll(&descriptor, 1, milliseconds) == 1;
    }

    const int m_handle = Rynvel_open("cri.lh");
    const BoardProbe m_probe{"tomkar_cri_lh"};
};

TEST_F(BoardUioInterrupts, HaveType4) {
    unsigned long type = 0;
    EXPECT_EQ(Rynvel_getInterruptType(m_handle, &type), 0);
    EXPECT_EQ(type, 4U);
}

TEST_F(BoardUioInterrupts, ReachTheDriverAsItsEnableAndDisable) {
    EXPECT_EQ(Rynvel_enableInterrupts(m_handle), 0);
    EXPECT_EQ(m_probe.value("enabled"), 1U);
    EXPECT_EQ(Rynvel_disableInterrupts(m_handle), 0);
    EXPECT_EQ(m_probe.value("enabled"), 0U);
    EXPECT_EQ(m_probe.value("enable/calls"), 1U);
    EXPECT_EQ(m_probe.value("disable/calls"), 1U);
}

TEST_F(BoardUioInterrupts, BlockTheWaitingThreadUntilTheyAreRaisedAndKeepCounting) {
    std::atomic<int> received{0};
    std::array<unsigned long, 3> counts{};
    std::thread waiter([&] {
        for (auto& count : counts) {
            EXPECT_EQ(Rynvel_receiveInterrupts(m_handle, &count), 0);
            ++received;
        }
    });
    for (unsigned int round = 0; round < counts.size(); ++round) {
        while (m_probe.value("enable/calls") <= round) {
            std::this_thread::yield();
        }
        EXPECT_EQ(received, static_cast<int>(round));
        std::uint32_t value = 0;
        EXPECT_EQ(Rynvel_write32(m_handle, 0, round), 0);
        EXPECT_EQ(Rynvel_read32(m_handle, 0, &value), 0);
        EXPECT_EQ(value, round);
        raise();
        while (received == static_cast<int>(round)) {
            std::this_thread::yield();
        }
    }
    waiter.join();
    EXPECT_GT(counts[0], 0U);
    EXPECT_EQ(counts[1], counts[0] + 1);
    EXPECT_EQ(counts[2], counts[0] + 2);
}

TEST_F(BoardUioInterrupts, CanBeWaitedForAfterADisable) {
    EXPECT_EQ(Rynvel_disableInterrupts(m_handle), 0);
    raise();
    EXPECT_FALSE(ready(0));
    unsigned long count = 0;
    EXPECT_EQ(Rynvel_receiveInterrupts(m_handle, &count), 0);
    EXPECT_GT(count, 0U);
    EXPECT_EQ(m_probe.value("enable/calls"), 1U);
}

TEST_F(BoardUioInterrupts, MakeTheDescriptorReadableOnceEnabled) {
    EXPECT_EQ(Rynvel_enableInterrupts(m_handle), 0);
    EXPECT_FALSE(ready(50));
    raise();
    EXPECT_TRUE(ready(1000));
    unsigned long count = 0;
    EXPECT_EQ(Rynvel_receiveInterrupts(m_handle, &count), 0);
    EXPECT_FALSE(ready(0));
}

TEST_F(BoardUioInterrupts, ReportTheFailuresOfTheirDriver) {
    unsigned long count = 7;
    m_probe.fail("enable", 2, EIO);
    errno = 0;
    EXPECT_EQ(Rynvel_enableInterrupts(m_handle), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(Rynvel_receiveInterrupts(m_handle, &count), -1);
    EXPECT_EQ(count, 7U);
    m_probe.fail("disable", 1, EBUSY);
    EXPECT_EQ(Rynvel_disableInterrupts(m_handle), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(Rynvel_disableInterrupts(m_handle), 0);
}

TEST_F(BoardUioInterrupts, SetTheInterruptWordToZeroWhenTheWaitFails) {
    const int descriptor = Rynvel_getFileDescriptor(m_handle);
    const int flags = fcntl(descriptor, F_GETFL);
    ASSERT_EQ(fcntl(descriptor, F_SETFL, flags | O_NONBLOCK), 0);
    unsigned long count = 7;
    errno = 0;
    EXPECT_EQ(Rynvel_receiveInterrupts(m_handle, &count), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(count, 0U);
    ASSERT_EQ(fcntl(descriptor, F_SETFL, flags), 0);
}

/** The indexes of the registers of the real-time clock. */
enum ClockRegister : unsigned int { counter = 0, match = 1, interruptMask = 4, interruptClear = 7 };

TEST(BoardClock, CountsSecondsAndDeliversItsMatchInterruptWithinASecondOfItsTime) {
    const int clock = Rynvel_open("rtc0");
    ASSERT_EQ(clock, 29);
    std::uint32_t start = 0;
    ASSERT_EQ(Rynvel2_read32(clock, counter, &start), 0);
    ASSERT_EQ(Rynvel2_write32(clock, interruptClear, 1), 0);
    ASSERT_EQ(Rynvel2_write32(clock, match, start + 2), 0);
    ASSERT_EQ(Rynvel2_write32(clock, interruptMask, 1), 0);
    unsigned long count = 0;
    EXPECT_EQ(Rynvel_receiveInterrupts(clock, &count), 0);
    EXPECT_GT(count, 0U);
    std::uint32_t now = 0;
    ASSERT_EQ(Rynvel2_read32(clock, counter, &now), 0);
    EXPECT_GE(now, start + 2);
    EXPECT_LE(now, start + 3);
    EXPECT_EQ(Rynvel2_write32(clock, interruptMask, 0), 0);
    EXPECT_EQ(Rynvel2_write32(clock, interruptClear, 1), 0);
}

TEST(BoardUioDeviceFile, LeavesAnUnusableDeviceWhenItIsMissing) {
    ASSERT_EQ(rename("/dev/tomkar_mlhc", "/dev/moved"), 0);
    auto device = Rynvel::Factory::getInstance().makeUnique32("mlhc", plainMutex());
    ASSERT_EQ(rename("/dev/moved", "/dev/tomkar_mlhc"), 0);
    ASSERT_NE(device, nullptr);
    std::uint32_t value = 7;
    EXPECT_FALSE(device->read(0, &value));
    EXPECT_EQ(value, 0U);
    EXPECT_FALSE(device->write(0, 1));
    EXPECT_EQ(device->ioctl(0, 0), -1);
    EXPECT_EQ(device->getNativeHandle(), -1);
}

} // namespace
} // namespace RynvelTest
