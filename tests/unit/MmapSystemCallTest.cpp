// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>

#include <gtest/gtest.h>

#include "SystemCallBan.h"

namespace {

using Rynvel::ByteOrder;
using RynvelTest::runsWithoutSystemCalls;

template <typename T>
class MmapSystemCalls : public testing::Test {
protected:
    bool operate() {
        std::array<T, 4> values{};
        for (unsigned int i = 0; i < 1000; ++i) {
            if (!m_device.read(i, values.data()) || !m_device.write(i, T{1}) || !m_device.write(i, T{1}, T{2}) ||
                !m_device.read(i, values.data(), 4, ByteOrder::Host) ||
                !m_device.read(i, values.data(), 4, ByteOrder::Network) ||
                !m_device.write(i, values.data(), 4, ByteOrder::Host) ||
                !m_device.write(i, values.data(), 4, ByteOrder::Network)) {
                return false;
            }
        }
        return true;
    }

    Rynvel::Mmap<T> m_device{"fake", 0, 8192, std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None),
                             true};
};

using Widths = testing::Types<std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(MmapSystemCalls, Widths);

TYPED_TEST(MmapSystemCalls, DoNotOccurInAnyRegisterOperation) {
    EXPECT_TRUE(runsWithoutSystemCalls([this] { return this->operate(); }));
}

TYPED_TEST(MmapSystemCalls, AreDetectedInARequest) {
    Rynvel::Mmap<TypeParam> device("/dev/null", 0, 0,
                                   std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None), false);
    EXPECT_FALSE(runsWithoutSystemCalls([&] { return device.ioctl(0, 0) == -1; }));
}

} // namespace
