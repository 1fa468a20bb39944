// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>
#include <future>
#include <numeric>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>

#include "PlainMutex.h"
#include "RecordClient.h"
#include "RynveldProcess.h"

// Tests the remote devices of the library with the real server.

namespace RynvelTest {
namespace {

using Rynvel::ByteOrder;
using Rynvel::Remote;

template <typename T>
std::unique_ptr<Remote<T>> remote(const RynveldProcess& server, const std::string& name) {
    return std::make_unique<Remote<T>>(name, server.address(), plainMutex());
}

/** A fixture for a remote device with registers of type T. The device is seekable at the server. */
template <typename T>
class RemoteOnRynveld : public testing::Test {
protected:
    T at(unsigned int address) {
        T value = 9;
        EXPECT_TRUE(m_device->read(address, &value));
        return value;
    }

    const RynveldProcess m_server{{"--simulate", "--allow-ioctl", "7"}};
    const std::string m_name = "seek." + std::to_string(8 * sizeof(T));
    const std::unique_ptr<Remote<T>> m_device = remote<T>(m_server, m_name);
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(RemoteOnRynveld, Widths);

TYPED_TEST(RemoteOnRynveld, ReadsAndWritesSingleRegisters) {
    const auto value = static_cast<TypeParam>(0x81A2C3E4);
    EXPECT_TRUE(this->m_device->write(8, value));
    EXPECT_EQ(this->at(8), value);
    EXPECT_TRUE(this->m_device->write(8, 0, TypeParam{0x0F}));
    EXPECT_EQ(this->at(8), static_cast<TypeParam>(value & ~0x0FU));
    EXPECT_TRUE(this->m_device->cancelWaitForInterrupt(8, 1));
    EXPECT_EQ(this->at(8), 1U);
}

TYPED_TEST(RemoteOnRynveld, MovesTheLongestBurstsInBothOrders) {
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        std::array<TypeParam, 128> written{};
        std::iota(written.begin(), written.end(), static_cast<TypeParam>(0x7170));
        EXPECT_TRUE(this->m_device->write(0, written.data(), 128, order));
        std::array<TypeParam, 128> values{};
        EXPECT_TRUE(this->m_device->read(0, values.data(), 128, order));
        EXPECT_EQ(values, written);
    }
}

TYPED_TEST(RemoteOnRynveld, FailsToReadLongerBurstsAndWritesOnlyTheirStart) {
    std::array<TypeParam, 129> values{};
    values.fill(5);
    EXPECT_TRUE(this->m_device->write(0, values.data(), 129, ByteOrder::Host));
    EXPECT_FALSE(this->m_device->read(0, values.data(), 129, ByteOrder::Host));
    EXPECT_EQ(this->at(127 * sizeof(TypeParam)), 5U);
    EXPECT_EQ(this->at(128 * sizeof(TypeParam)), 0U);
}

TYPED_TEST(RemoteOnRynveld, FailsOutsideTheDevice) {
    TypeParam value = 9;
    EXPECT_FALSE(this->m_device->read(4096, &value));
    EXPECT_FALSE(this->m_device->write(4096, 1));
    EXPECT_FALSE(this->m_device->write(4096, 1, 1));
    EXPECT_TRUE(this->m_device->read(0, &value));
}

TYPED_TEST(RemoteOnRynveld, ForwardsAllowedIoctlCommands) {
    EXPECT_EQ(this->m_device->ioctl(7, 1), 0);
    EXPECT_EQ(this->m_device->ioctl(8, 1), -1);
}

TYPED_TEST(RemoteOnRynveld, HasNoInterruptsIfTheDeviceOfTheServerHasNone) {
    unsigned long word = 0;
    EXPECT_EQ(this->m_device->getNativeHandle(), -1);
    EXPECT_FALSE(this->m_device->enableInterrupt());
    EXPECT_FALSE(this->m_device->disableInterrupt());
    EXPECT_FALSE(this->m_device->waitForInterrupt(&word));
    EXPECT_FALSE(this->m_device->getInterruptType(&word));
}

TYPED_TEST(RemoteOnRynveld, LosesNoBitOfMaskedWritesOfManyClients) {
    constexpr unsigned int clients = 4;
    constexpr unsigned int rounds = 100;
    // The constructor calls gethostbyname(), which is not thread-safe, so one thread makes all devices.
    std::vector<std::unique_ptr<Remote<TypeParam>>> devices;
    for (unsigned int i = 0; i < clients; ++i) {
        devices.push_back(remote<TypeParam>(this->m_server, this->m_name));
    }
    std::vector<std::future<void>> threads;
    for (unsigned int i = 0; i < clients; ++i) {
        threads.push_back(std::async(std::launch::async, [&, i] {
            const auto mask = static_cast<TypeParam>(3U << 2U * i);
            for (unsigned int round = 0; round <= rounds; ++round) {
                const auto data = static_cast<TypeParam>(round % 2 == 0 ? mask : 0);
                EXPECT_TRUE(devices[i]->write(0, data, mask));
                TypeParam value = 0;
                EXPECT_TRUE(devices[i]->read(0, &value));
                EXPECT_EQ(value & mask, data);
            }
        }));
    }
    threads.clear();
    EXPECT_EQ(this->at(0), 0xFFU);
}

TYPED_TEST(RemoteOnRynveld, FailsOnADeviceOfAnotherWidthAndOnAnUnknownDevice) {
    for (const char* name : {sizeof(TypeParam) == 1 ? "seek.16" : "seek.8", "nothing"}) {
        const auto device = remote<TypeParam>(this->m_server, name);
        TypeParam value = 9;
        EXPECT_FALSE(device->read(0, &value));
        EXPECT_EQ(value, 0U);
        EXPECT_FALSE(device->write(0, 1));
    }
}

/** A fixture for a device with interrupts, and a second client that raises the interrupts. */
template <typename T>
class RemoteInterruptsOnRynveld : public testing::Test {
protected:
    void raise(std::uint32_t word) const { EXPECT_TRUE(m_beside.succeeds(raiseOf(m_name, {word}))); }
    unsigned long received() {
        unsigned long word = 0;
        EXPECT_TRUE(m_device->waitForInterrupt(&word));
        return word;
    }

    const std::string m_name = "uio." + std::to_string(8 * sizeof(T));
    const RynveldProcess m_server{{"--simulate"}};
    const std::unique_ptr<Remote<T>> m_device = remote<T>(m_server, m_name);
    const RecordClient m_beside{m_server.port(), m_name};
};

using WidthsWithInterrupts = testing::Types<std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(RemoteInterruptsOnRynveld, WidthsWithInterrupts);

TYPED_TEST(RemoteInterruptsOnRynveld, ComeFromTheDeviceOfTheServer) {
    unsigned long type = 0;
    EXPECT_TRUE(this->m_device->getInterruptType(&type));
    EXPECT_EQ(type, 4U);
    for (const std::uint32_t raised : {1U, 0x80000000U, 0xFFFFFFFFU}) {
        this->raise(raised);
        EXPECT_EQ(this->received(), raised);
        EXPECT_TRUE(this->m_device->enableInterrupt());
    }
    EXPECT_TRUE(this->m_device->disableInterrupt());
    this->raise(5);
    EXPECT_TRUE(this->m_device->enableInterrupt());
    EXPECT_EQ(this->received(), 5U);
}

TYPED_TEST(RemoteInterruptsOnRynveld, MakeADescriptorReadable) {
    pollfd pending{this->m_device->getNativeHandle(), POLLIN, 0};
    EXPECT_EQ(::poll(&pending, 1, 0), 0);
    this->raise(5);
    EXPECT_EQ(::poll(&pending, 1, 60000), 1);
    EXPECT_EQ(this->received(), 5U);
}

/** A fixture for a remote device whose server simulates faults. */
class RemoteOnFaultyRynveld : public testing::Test {
protected:
    std::unique_ptr<Remote<std::uint32_t>> connect(const std::string& fault) {
        m_server = std::make_unique<RynveldProcess>(Arguments{"--simulate", "--fault", fault});
        return remote<std::uint32_t>(*m_server, "uio.32");
    }

    std::unique_ptr<RynveldProcess> m_server;
    std::uint32_t m_value = 9;
};

TEST_F(RemoteOnFaultyRynveld, FailsAtEachErrorAndWorksBetweenThem) {
    const auto device = connect("error:3");
    for (unsigned int request = 2; request <= 12; ++request) {
        EXPECT_EQ(device->read(0, &m_value), request % 3 != 0) << request;
    }
}

TEST_F(RemoteOnFaultyRynveld, WaitsForDelayedAnswers) {
    const auto device = connect("delay=30ms:2");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(device->read(0, &m_value));
    EXPECT_EQ(m_value, 0U);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST_F(RemoteOnFaultyRynveld, TreatsTheFirstHalfOfASplitAnswerAsTheWholeAnswer) {
    const auto device = connect("split=1m:3");
    std::array<std::uint32_t, 128> values{};
    std::iota(values.begin(), values.end(), 1U);
    EXPECT_TRUE(device->write(0, values.data(), 128, ByteOrder::Host));
    std::array<std::uint32_t, 128> read{};
    EXPECT_TRUE(device->read(0, read.data(), 128, ByteOrder::Host));
    EXPECT_EQ(read, (std::array<std::uint32_t, 128>{}));
}

TEST_F(RemoteOnFaultyRynveld, FailsPermanentlyWhenItsConnectionEnds) {
    const auto device = connect("disconnect:3");
    EXPECT_TRUE(device->read(0, &m_value));
    EXPECT_FALSE(device->read(0, &m_value));
    EXPECT_FALSE(device->read(0, &m_value));
    EXPECT_EQ(m_value, 0U);
    const auto later = remote<std::uint32_t>(*m_server, "uio.32");
    EXPECT_TRUE(later->read(0, &m_value));
}

TEST_F(RemoteOnFaultyRynveld, HasNoDeviceIfEveryRequestIsAnError) {
    const auto device = connect("error");
    EXPECT_FALSE(device->read(0, &m_value));
    EXPECT_FALSE(device->enableInterrupt());
}

} // namespace
} // namespace RynvelTest
