/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_DEVICECONTRACT_H
#define RYNVEL_TESTS_DEVICECONTRACT_H

#include <rynvel.hpp>

#include <array>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace RynvelTest {

/** The properties of most backends under test. */
struct UsualBackend {
    static constexpr bool hasInterrupts = false;
    static constexpr bool hasHandle = true;
    static constexpr bool atomicMaskedWrites = true;
    static constexpr bool overRecords = false;
    static unsigned int address(unsigned int i) { return i; }
    static bool reportsBurst(unsigned int /*items*/) { return true; }
};

/**
 * A fixture for the behavior that all backends of all widths share.
 *
 * A backend under test is a class with
 *   Value                       the register type,
 *   open()                      a new device object on the registers of this backend object,
 *   address(i)                  the device address of register i,
 *   peek(i), poke(i, value)     access to register i without the device,
 *   reportsBurst(items)         whether a complete burst of this many items is reported as complete,
 *   hasInterrupts, hasHandle    whether the backend has interrupts and a descriptor,
 *   atomicMaskedWrites          whether a masked write is atomic for the other threads of the process,
 *   overRecords                 whether operations are requests to a server. The server refuses to read an empty burst,
 *                               because the request equals the request for a burst that is too long. A request with a
 *                               mask of zero equals a request without a mask. If the server refuses the interrupt
 *                               type, the device stores 0.
 * There are at least 64 registers, which are initially zero.
 */
template <typename Backend>
class DeviceContract : public testing::Test {
protected:
    using Value = typename Backend::Value;

    static constexpr Value allOnes = std::numeric_limits<Value>::max();

    /** Returns a value whose bytes all differ, so each lost or swapped byte changes the value. */
    static Value pattern(unsigned int i) { return static_cast<Value>(0x81A2C3E4U + 0x11111111U * i); }

    static Value reversed(Value value) {
        std::uint32_t result = 0;
        for (std::size_t i = 0; i < sizeof(Value); ++i) {
            result = result << 8U | ((std::uint32_t{value} >> 8U * i) & 0xFFU);
        }
        return static_cast<Value>(result);
    }

    void SetUp() override { m_device = m_backend.open(); }

    Backend m_backend;
    std::unique_ptr<Rynvel::Device<Value>> m_device;
};

TYPED_TEST_SUITE_P(DeviceContract);

TYPED_TEST_P(DeviceContract, ReadsWhatARegisterHolds) {
    auto value = this->pattern(9);
    EXPECT_TRUE(this->m_device->read(this->m_backend.address(3), &value));
    EXPECT_EQ(value, 0);
    this->m_backend.poke(3, this->pattern(1));
    EXPECT_TRUE(this->m_device->read(this->m_backend.address(3), &value));
    EXPECT_EQ(value, this->pattern(1));
}

TYPED_TEST_P(DeviceContract, WritesOneRegisterAndNoOther) {
    EXPECT_TRUE(this->m_device->write(this->m_backend.address(3), this->pattern(0)));
    EXPECT_EQ(this->m_backend.peek(2), 0);
    EXPECT_EQ(this->m_backend.peek(3), this->pattern(0));
    EXPECT_EQ(this->m_backend.peek(4), 0);
}

TYPED_TEST_P(DeviceContract, ReplacesOnlyTheBitsUnderAMask) {
    using T = typename TypeParam::Value;
    const auto mask = static_cast<T>(0x0FF0FF0FU);
    this->m_backend.poke(5, this->pattern(1));
    EXPECT_TRUE(this->m_device->write(this->m_backend.address(5), this->pattern(2), mask));
    EXPECT_EQ(this->m_backend.peek(5), static_cast<T>((this->pattern(1) & ~mask) | (this->pattern(2) & mask)));
    EXPECT_EQ(this->m_backend.peek(6), 0);
}

TYPED_TEST_P(DeviceContract, KeepsARegisterUnderAMaskOfZeroUnlessOperationsAreRequests) {
    this->m_backend.poke(5, this->pattern(1));
    EXPECT_TRUE(this->m_device->write(this->m_backend.address(5), this->allOnes, 0));
    EXPECT_EQ(this->m_backend.peek(5), TypeParam::overRecords ? this->allOnes : this->pattern(1));
}

TYPED_TEST_P(DeviceContract, WritesAllBitsUnderAMaskOfAllOnes) {
    this->m_backend.poke(5, this->pattern(1));
    EXPECT_TRUE(this->m_device->write(this->m_backend.address(5), this->pattern(2), this->allOnes));
    EXPECT_EQ(this->m_backend.peek(5), this->pattern(2));
}

TYPED_TEST_P(DeviceContract, MovesBurstsBetweenConsecutiveRegistersAndTheBufferInBothOrders) {
    using T = typename TypeParam::Value;
    constexpr unsigned int items = 5;
    for (const auto order : {Rynvel::ByteOrder::Host, Rynvel::ByteOrder::Network}) {
        const bool network = order == Rynvel::ByteOrder::Network;
        std::array<T, items> values{};
        for (unsigned int i = 0; i < items; ++i) {
            values[i] = this->pattern(i);
        }
        const auto written = values;
        EXPECT_EQ(this->m_device->write(this->m_backend.address(10), values.data(), items, order),
                  this->m_backend.reportsBurst(items));
        EXPECT_EQ(values, written);
        for (unsigned int i = 0; i < items; ++i) {
            EXPECT_EQ(this->m_backend.peek(10 + i), network ? this->reversed(written[i]) : written[i]);
        }
        EXPECT_EQ(this->m_backend.peek(9), 0);
        EXPECT_EQ(this->m_backend.peek(10 + items), 0);

        values.fill(0);
        EXPECT_EQ(this->m_device->read(this->m_backend.address(10), values.data(), items, order),
                  this->m_backend.reportsBurst(items));
        EXPECT_EQ(values, written);
    }
}

TYPED_TEST_P(DeviceContract, TouchesNothingInAnEmptyBurst) {
    for (const auto order : {Rynvel::ByteOrder::Host, Rynvel::ByteOrder::Network}) {
        auto value = this->pattern(1);
        EXPECT_EQ(this->m_device->read(this->m_backend.address(0), &value, 0, order), !TypeParam::overRecords);
        EXPECT_EQ(value, this->pattern(1));
        EXPECT_TRUE(this->m_device->write(this->m_backend.address(0), &value, 0, order));
        EXPECT_EQ(this->m_backend.peek(0), 0);
    }
}

TYPED_TEST_P(DeviceContract, ReleasesAWaiterByASingleWrite) {
    EXPECT_TRUE(this->m_device->cancelWaitForInterrupt(this->m_backend.address(7), this->pattern(3)));
    EXPECT_EQ(this->m_backend.peek(7), this->pattern(3));
}

TYPED_TEST_P(DeviceContract, SharesItsRegistersWithAnotherObjectAndKeepsThemAfterItsEnd) {
    const auto other = this->m_backend.open();
    EXPECT_TRUE(this->m_device->write(this->m_backend.address(1), this->pattern(4)));
    this->m_device.reset();
    auto value = this->pattern(9);
    EXPECT_TRUE(other->read(this->m_backend.address(1), &value));
    EXPECT_EQ(value, this->pattern(4));
}

TYPED_TEST_P(DeviceContract, FailsInterruptOperationsAtOnceIfItHasNoInterrupts) {
    if (TypeParam::hasInterrupts) {
        unsigned long type = 0;
        EXPECT_TRUE(this->m_device->getInterruptType(&type));
        return;
    }
    unsigned long info = 0x55;
    EXPECT_FALSE(this->m_device->getInterruptType(&info));
    EXPECT_EQ(info, TypeParam::overRecords ? 0U : 0x55U);
    info = 0x55;
    EXPECT_FALSE(this->m_device->enableInterrupt());
    EXPECT_FALSE(this->m_device->disableInterrupt());
    EXPECT_FALSE(this->m_device->waitForInterrupt(&info));
    EXPECT_EQ(info, 0x55U);
}

TYPED_TEST_P(DeviceContract, ReturnsADescriptorIfItHasOne) {
    EXPECT_EQ(this->m_device->getNativeHandle() != -1, TypeParam::hasHandle);
}

TYPED_TEST_P(DeviceContract, KeepsMaskedWritesOfConcurrentThreadsApartIfTheyAreAtomic) {
    if (!TypeParam::atomicMaskedWrites) {
        return;
    }
    using T = typename TypeParam::Value;
    constexpr unsigned int threadCount = 4;
    constexpr unsigned int rounds = 500;
    const auto maskOf = [](unsigned int thread) { return static_cast<T>(T{3} << 2U * thread); };
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            for (unsigned int i = 0; i <= rounds; ++i) {
                const auto data = static_cast<T>(i % 2 == 0 ? this->allOnes : 0);
                EXPECT_TRUE(this->m_device->write(this->m_backend.address(0), data, maskOf(thread)));
                T value = 0;
                EXPECT_TRUE(this->m_device->read(this->m_backend.address(0), &value));
                EXPECT_EQ(value & maskOf(thread), data & maskOf(thread));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(this->m_backend.peek(0), 0xFF);
}

REGISTER_TYPED_TEST_SUITE_P(DeviceContract, ReadsWhatARegisterHolds, WritesOneRegisterAndNoOther,
                            ReplacesOnlyTheBitsUnderAMask, KeepsARegisterUnderAMaskOfZeroUnlessOperationsAreRequests,
                            WritesAllBitsUnderAMaskOfAllOnes,
                            MovesBurstsBetweenConsecutiveRegistersAndTheBufferInBothOrders,
                            TouchesNothingInAnEmptyBurst, ReleasesAWaiterByASingleWrite,
                            SharesItsRegistersWithAnotherObjectAndKeepsThemAfterItsEnd,
                            FailsInterruptOperationsAtOnceIfItHasNoInterrupts, ReturnsADescriptorIfItHasOne,
                            KeepsMaskedWritesOfConcurrentThreadsApartIfTheyAreAtomic);

} // namespace RynvelTest

#endif
