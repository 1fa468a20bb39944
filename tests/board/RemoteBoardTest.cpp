// SPDX-License-Identifier: MIT
#include "RemoteBoard.h"

#include <rynvel.hpp>

#include <csignal>
#include <cstdio>
#include <future>
#include <limits>
#include <numeric>

#include <poll.h>

#include <gtest/gtest.h>

#include "PlainMutex.h"
#include "RegisterWidth.h"

// Tests remote devices on the board. Their register server, remote_peer.cpp, runs outside the board and expects the
// requests of these tests in order. Usage: remote_board_tests HOST::PORT.

namespace {

using Rynvel::ByteOrder;
using Rynvel::Device;
using Rynvel::DeviceType;
using RynvelTest::Width;

std::string serverAddress;

template <typename T>
Rynvel::MemoryDevice row() {
    switch (sizeof(T)) {
    case 1:
        return {"board.8", serverAddress, 0U, DeviceType::Remote8};
    case 2:
        return {"board.16", serverAddress, 0U, DeviceType::Remote16};
    default:
        return {"board.32", serverAddress, 0U, DeviceType::Remote32};
    }
}

template <typename T>
class RemoteBoard : public testing::Test {
protected:
    static constexpr T all = std::numeric_limits<T>::max();

    static void SetUpTestSuite() {
        m_built = Rynvel::Factory::getInstance().createDevice(row<T>(), RynvelTest::plainMutex());
    }

    static void TearDownTestSuite() { m_built.reset(); }

    static Device<T>& device() { return dynamic_cast<Device<T>&>(*m_built); }

    static bool interruptIsThere(int milliseconds) {
        pollfd ready{device().getNativeHandle(), POLLIN, 0};
        return poll(&ready, 1, milliseconds) == 1;
    }

private:
    static std::unique_ptr<Rynvel::IDevice> m_built;
};

template <typename T>
std::unique_ptr<Rynvel::IDevice> RemoteBoard<T>::m_built;

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(RemoteBoard, Widths);

TYPED_TEST(RemoteBoard, KeepsWhatWasWritten) {
    TypeParam value = 0;
    EXPECT_TRUE(this->device().write(0x10, Width<TypeParam>::value));
    EXPECT_TRUE(this->device().read(0x10, &value));
    EXPECT_EQ(value, Width<TypeParam>::value);
}

TYPED_TEST(RemoteBoard, ReplacesOnlyTheBitsUnderAMask) {
    TypeParam value = 0;
    EXPECT_TRUE(this->device().write(0x20, this->all));
    EXPECT_TRUE(this->device().write(0x20, TypeParam{0x50}, TypeParam{0xF0}));
    EXPECT_TRUE(this->device().read(0x20, &value));
    EXPECT_EQ(value, static_cast<TypeParam>(this->all ^ 0xA0U));
}

TYPED_TEST(RemoteBoard, MovesBurstsOfTheLargestRecordInBothOrders) {
    for (const auto byteOrder : {ByteOrder::Host, ByteOrder::Network}) {
        std::vector<TypeParam> written(128);
        std::vector<TypeParam> read(128);
        std::iota(written.begin(), written.end(), TypeParam{1});
        EXPECT_TRUE(this->device().write(0x100, written.data(), 128, byteOrder));
        EXPECT_TRUE(this->device().read(0x100, read.data(), 128, byteOrder));
        EXPECT_EQ(read, written);
    }
}

TYPED_TEST(RemoteBoard, ReportsWhatTheServerRefuses) {
    TypeParam value = 0x55;
    EXPECT_FALSE(this->device().read(RynvelTest::refusedAddress, &value));
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(this->device().write(RynvelTest::refusedAddress, TypeParam{1}));
    EXPECT_EQ(this->device().ioctl(77, 0x1234), -1);
}

TYPED_TEST(RemoteBoard, ReceivesAnInterruptThatItsDescriptorIsPolledFor) {
    unsigned long type = 0;
    unsigned long status = 0;
    EXPECT_TRUE(this->device().getInterruptType(&type));
    EXPECT_EQ(type, 3U);
    EXPECT_TRUE(this->device().enableInterrupt());
    EXPECT_FALSE(this->interruptIsThere(0));
    EXPECT_EQ(this->device().ioctl(RynvelTest::Raise, 0x89ABCDEF), 0);
    EXPECT_TRUE(this->interruptIsThere(-1));
    EXPECT_TRUE(this->device().waitForInterrupt(&status));
    EXPECT_EQ(status, 0x89ABCDEFUL);
    EXPECT_FALSE(this->interruptIsThere(0));
    EXPECT_TRUE(this->device().disableInterrupt());
}

TYPED_TEST(RemoteBoard, ServesRegistersWhileAThreadWaitsForAnInterrupt) {
    unsigned long status = 0;
    auto wait = std::async(std::launch::async, [&] { return this->device().waitForInterrupt(&status); });
    for (std::uint8_t i = 1; i <= 10; ++i) {
        TypeParam value = 0;
        EXPECT_TRUE(this->device().write(i, TypeParam{i}));
        EXPECT_TRUE(this->device().read(i, &value));
        EXPECT_EQ(value, i);
    }
    EXPECT_EQ(this->device().ioctl(RynvelTest::Raise, 7), 0);
    EXPECT_TRUE(wait.get());
    EXPECT_EQ(status, 7U);
}

TYPED_TEST(RemoteBoard, ReportsFailuresOnceTheServerHasHungUp) {
    std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(this->device().ioctl(RynvelTest::HangUp, 0), -1);
    for (int round = 0; round < 3; ++round) {
        TypeParam value = 0x55;
        EXPECT_FALSE(this->device().read(0x10, &value));
        EXPECT_EQ(value, 0);
    }
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc != 2) {
        std::fputs("usage: remote_board_tests HOST::PORT\n", stderr);
        return 2;
    }
    serverAddress = argv[1];
    return RUN_ALL_TESTS();
}
