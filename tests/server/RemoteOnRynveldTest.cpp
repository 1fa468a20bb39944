#include <poll.h>

#include <array>
#include <future>
#include <numeric>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <rynvel.hpp>

#include "PlainMutex.h"
#include "RecordClient.h"
#include "RynveldProcess.h"

// The library's own remote devices against the real server.

namespace RynvelTest {
namespace {

using Rynvel::ByteOrder;
using Rynvel::Remote;
using Rynvel::Request;
using Type = Rynvel::RequestData::Type;

template <typename T>
std::unique_ptr<Remote<T>> remote(const RynveldProcess& server, const std::string& name) {
    return std::make_unique<Remote<T>>(name, server.address(), plainMutex());
}

/** The names of the widths: without interrupts, and with interrupts where the width has a device with them. */
template <typename T>
class RemoteOnRynveld : public testing::Test {
protected:
    static std::string nameOf(const std::string& family) { return family + std::to_string(8 * sizeof(T)); }
    static constexpr bool hasMapped = sizeof(T) > 1;

    const RynveldProcess m_server{{"--simulate", "--allow-ioctl", "7"}};
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(RemoteOnRynveld, Widths);

TYPED_TEST(RemoteOnRynveld, ReadsAndWritesSingleRegisters) {
    const auto device = remote<TypeParam>(this->m_server, this->nameOf("seek."));
    const auto value = static_cast<TypeParam>(0x81A2C3E4);
    TypeParam read = 0;
    EXPECT_TRUE(device->write(8, value));
    EXPECT_TRUE(device->read(8, &read));
    EXPECT_EQ(read, value);
    EXPECT_TRUE(device->write(8, 0, TypeParam{0x0F}));
    EXPECT_TRUE(device->read(8, &read));
    EXPECT_EQ(read, static_cast<TypeParam>(value & ~0x0FU));
    EXPECT_TRUE(device->cancelWaitForInterrupt(8, 1));
    EXPECT_TRUE(device->read(8, &read));
    EXPECT_EQ(read, 1U);
}

TYPED_TEST(RemoteOnRynveld, MovesTheLongestBurstsInBothOrders) {
    const auto device = remote<TypeParam>(this->m_server, this->nameOf("seek."));
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        std::array<TypeParam, 128> written{};
        std::iota(written.begin(), written.end(), static_cast<TypeParam>(0x7170));
        EXPECT_TRUE(device->write(0, written.data(), 128, order));
        std::array<TypeParam, 128> values{};
        EXPECT_TRUE(device->read(0, values.data(), 128, order));
        EXPECT_EQ(values, written);
    }
}

TYPED_TEST(RemoteOnRynveld, IsRefusedLongerReadsAndWritesTheStartOfLongerBursts) {
    const auto device = remote<TypeParam>(this->m_server, this->nameOf("seek."));
    std::array<TypeParam, 129> values{};
    values.fill(5);
    EXPECT_TRUE(device->write(0, values.data(), 129, ByteOrder::Host));
    EXPECT_FALSE(device->read(0, values.data(), 129, ByteOrder::Host));
    TypeParam value = 9;
    EXPECT_TRUE(device->read(static_cast<unsigned int>(127 * sizeof(TypeParam)), &value));
    EXPECT_EQ(value, 5U);
    EXPECT_TRUE(device->read(static_cast<unsigned int>(128 * sizeof(TypeParam)), &value));
    EXPECT_EQ(value, 0U);
}

TYPED_TEST(RemoteOnRynveld, IsRefusedWhatLiesOutsideOfTheDevice) {
    const auto device = remote<TypeParam>(this->m_server, this->nameOf("seek."));
    TypeParam value = 9;
    EXPECT_FALSE(device->read(4096, &value));
    EXPECT_FALSE(device->write(4096, 1));
    EXPECT_FALSE(device->write(4096, 1, 1));
    EXPECT_TRUE(device->read(0, &value));
}

TYPED_TEST(RemoteOnRynveld, PassesAllowedIoctlCommandsOn) {
    const auto device = remote<TypeParam>(this->m_server, this->nameOf("seek."));
    EXPECT_EQ(device->ioctl(7, 1), 0);
    EXPECT_EQ(device->ioctl(8, 1), -1);
}

TYPED_TEST(RemoteOnRynveld, HasNoInterruptsWhereTheServersDeviceHasNone) {
    const auto device = remote<TypeParam>(this->m_server, this->nameOf("seek."));
    unsigned long word = 0;
    EXPECT_EQ(device->getNativeHandle(), -1);
    EXPECT_FALSE(device->enableInterrupt());
    EXPECT_FALSE(device->disableInterrupt());
    EXPECT_FALSE(device->waitForInterrupt(&word));
    EXPECT_FALSE(device->getInterruptType(&word));
}

TYPED_TEST(RemoteOnRynveld, ReceivesTheInterruptsOfTheServersDevice) {
    if constexpr (TestFixture::hasMapped) {
        const auto name = this->nameOf("uio.");
        const auto device = remote<TypeParam>(this->m_server, name);
        const RecordClient control(this->m_server.port());
        EXPECT_TRUE(control.succeeds(Request(Type::Open, name)));
        unsigned long word = 0;
        EXPECT_TRUE(device->getInterruptType(&word));
        EXPECT_EQ(word, 4U);
        for (const std::uint32_t raised : {1U, 0x80000000U, 0xFFFFFFFFU}) {
            EXPECT_TRUE(control.succeeds(requestOf(Type::Debug, name, 0, {raised})));
            EXPECT_TRUE(device->waitForInterrupt(&word));
            EXPECT_EQ(word, raised);
            EXPECT_TRUE(device->enableInterrupt());
        }
        EXPECT_TRUE(device->disableInterrupt());
        EXPECT_TRUE(control.succeeds(requestOf(Type::Debug, name, 0, {5})));
        EXPECT_TRUE(device->enableInterrupt());
        EXPECT_TRUE(device->waitForInterrupt(&word));
        EXPECT_EQ(word, 5U);
    }
}

TYPED_TEST(RemoteOnRynveld, HasADescriptorToPollForInterrupts) {
    if constexpr (TestFixture::hasMapped) {
        const auto name = this->nameOf("uio.");
        const auto device = remote<TypeParam>(this->m_server, name);
        pollfd pending{device->getNativeHandle(), POLLIN, 0};
        EXPECT_EQ(::poll(&pending, 1, 0), 0);
        const RecordClient control(this->m_server.port());
        EXPECT_TRUE(control.succeeds(Request(Type::Open, name)));
        EXPECT_TRUE(control.succeeds(requestOf(Type::Debug, name, 0, {5})));
        EXPECT_EQ(::poll(&pending, 1, 60000), 1);
        unsigned long word = 0;
        EXPECT_TRUE(device->waitForInterrupt(&word));
        EXPECT_EQ(word, 5U);
    }
}

TYPED_TEST(RemoteOnRynveld, LosesNoBitOfMaskedWritesOfManyClients) {
    constexpr unsigned int clients = 4;
    constexpr unsigned int rounds = 100;
    // Connecting resolves the address, which is for one thread at a time.
    std::vector<std::unique_ptr<Remote<TypeParam>>> devices;
    for (unsigned int i = 0; i < clients; ++i) {
        devices.push_back(remote<TypeParam>(this->m_server, this->nameOf("seek.")));
    }
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < clients; ++i) {
        threads.emplace_back([&, i] {
            const auto& device = devices[i];
            const auto mask = static_cast<TypeParam>(3U << 2U * i);
            for (unsigned int round = 0; round <= rounds; ++round) {
                const auto data = static_cast<TypeParam>(round % 2 == 0 ? mask : 0);
                EXPECT_TRUE(device->write(0, data, mask));
                TypeParam value = 0;
                EXPECT_TRUE(device->read(0, &value));
                EXPECT_EQ(value & mask, data);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    TypeParam value = 0;
    EXPECT_TRUE(remote<TypeParam>(this->m_server, this->nameOf("seek."))->read(0, &value));
    EXPECT_EQ(value, 0xFFU);
}

TYPED_TEST(RemoteOnRynveld, IsRefusedADeviceOfAnotherWidth) {
    const auto device = remote<TypeParam>(this->m_server, sizeof(TypeParam) == 1 ? "seek.16" : "seek.8");
    TypeParam value = 9;
    EXPECT_FALSE(device->read(0, &value));
    EXPECT_EQ(value, 0U);
    EXPECT_FALSE(device->write(0, 1));
}

TYPED_TEST(RemoteOnRynveld, WorksOnWithNothingWhereTheServerHasNoSuchDevice) {
    const auto device = remote<TypeParam>(this->m_server, "nothing");
    TypeParam value = 9;
    EXPECT_FALSE(device->read(0, &value));
    EXPECT_FALSE(device->write(0, 1));
}

/** A device of a server that goes wrong on purpose. */
class RemoteOnFaultyRynveld : public testing::Test {
protected:
    using Device = Remote<std::uint32_t>;

    std::unique_ptr<Device> connect(const std::string& fault) {
        m_server = std::make_unique<RynveldProcess>(Arguments{"--simulate", "--fault", fault});
        return remote<std::uint32_t>(*m_server, "uio.32");
    }

    std::unique_ptr<RynveldProcess> m_server;
};

TEST_F(RemoteOnFaultyRynveld, FailsAtEachErrorAndWorksBetweenThem) {
    const auto device = connect("error:3");
    std::uint32_t value = 0;
    for (unsigned int request = 2; request <= 12; ++request) {
        EXPECT_EQ(device->read(0, &value), request % 3 != 0) << request;
    }
}

TEST_F(RemoteOnFaultyRynveld, WaitsForDelayedAnswers) {
    const auto device = connect("delay=30ms:2");
    const auto begin = std::chrono::steady_clock::now();
    std::uint32_t value = 9;
    EXPECT_TRUE(device->read(0, &value));
    EXPECT_EQ(value, 0U);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST_F(RemoteOnFaultyRynveld, TakesTheFirstHalfOfASplitAnswerForAllOfIt) {
    const auto device = connect("split=1m:3");
    std::array<std::uint32_t, 128> values{};
    std::iota(values.begin(), values.end(), 1U);
    EXPECT_TRUE(device->write(0, values.data(), 128, ByteOrder::Host));
    std::array<std::uint32_t, 128> read{};
    EXPECT_TRUE(device->read(0, read.data(), 128, ByteOrder::Host));
    EXPECT_EQ(read, (std::array<std::uint32_t, 128>{}));
}

TEST_F(RemoteOnFaultyRynveld, FailsForGoodWhenItsConnectionEnds) {
    const auto device = connect("disconnect:3");
    std::uint32_t value = 9;
    EXPECT_TRUE(device->read(0, &value));
    EXPECT_FALSE(device->read(0, &value));
    EXPECT_FALSE(device->read(0, &value));
    EXPECT_EQ(value, 0U);
    const auto later = remote<std::uint32_t>(*m_server, "uio.32");
    EXPECT_TRUE(later->read(0, &value));
}

TEST_F(RemoteOnFaultyRynveld, HasNoDeviceWhereEveryRequestIsAnError) {
    const auto device = connect("error");
    std::uint32_t value = 9;
    EXPECT_FALSE(device->read(0, &value));
    EXPECT_FALSE(device->enableInterrupt());
}

} // namespace
} // namespace RynvelTest
