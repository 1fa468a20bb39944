// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cstring>
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include "EventLog.h"
#include "VirtualSlot.h"

namespace {

using Rynvel::ByteOrder;
using Rynvel::Device;
using Rynvel::IDevice;
using namespace RynvelTest;

/** A device that overrides only the pure virtual operations, and records its single writes. */
template <typename T>
class MinimalDevice : public Device<T> {
public:
    explicit MinimalDevice(EventLog& log, bool answer = true)
        : Device<T>("minimal device"), m_log(log), m_answer(answer) {}
    ~MinimalDevice() override { m_log.emplace_back("destroyed"); }

    bool getInterruptType(unsigned long* /*type*/) override { return false; }
    bool enableInterrupt() override { return false; }
    bool disableInterrupt() override { return false; }
    bool waitForInterrupt(unsigned long* /*info*/) override { return false; }
    bool read(unsigned int /*address*/, T* /*data*/) override { return false; }
    bool read(unsigned int /*address*/, T* /*data*/, unsigned int /*items*/, ByteOrder /*order*/) override {
        return false;
    }
    bool write(unsigned int address, T data) override {
        m_log.push_back("write " + std::to_string(address) + " " + std::to_string(data));
        return m_answer;
    }
    bool write(unsigned int /*address*/, T /*data*/, T /*bitmask*/) override { return false; }
    bool write(unsigned int /*address*/, const T* /*data*/, unsigned int /*items*/, ByteOrder /*order*/) override {
        return false;
    }

private:
    EventLog& m_log;
    const bool m_answer;
};

template <typename T>
class DeviceTest : public testing::Test {
protected:
    EventLog m_log;
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(DeviceTest, Widths);

TYPED_TEST(DeviceTest, ReturnsMinusOneForEveryRequestUnlessOverridden) {
    MinimalDevice<TypeParam> device(this->m_log);
    errno = 0;
    EXPECT_EQ(device.ioctl(0, 0), -1);
    EXPECT_EQ(device.ioctl(0xEE00, 5), -1);
    EXPECT_EQ(errno, 0);
}

TYPED_TEST(DeviceTest, KeepsTheNameOfItsConstructionAndHasNoNativeHandleUnlessOverridden) {
    const MinimalDevice<TypeParam> device(this->m_log);
    EXPECT_EQ(device.getDevName(), "minimal device");
    EXPECT_EQ(device.getNativeHandle(), -1);
}

TYPED_TEST(DeviceTest, ReleasesAWaiterByOneVirtualWriteWhoseResultItReports) {
    for (const bool answer : {true, false}) {
        MinimalDevice<TypeParam> device(this->m_log, answer);
        this->m_log.clear();
        EXPECT_EQ(device.cancelWaitForInterrupt(0x10, 0x7F), answer);
        EXPECT_EQ(this->m_log, EventLog{"write 16 127"});
    }
}

TYPED_TEST(DeviceTest, RunsTheBackendsDestructorThroughTheBase) {
    std::unique_ptr<IDevice> device = std::make_unique<MinimalDevice<TypeParam>>(this->m_log);
    device.reset();
    EXPECT_EQ(this->m_log, EventLog{"destroyed"});
}

TYPED_TEST(DeviceTest, KeepsTheOrderOfItsVirtualOperations) {
    using T = TypeParam;
    using D = Device<T>;
    EXPECT_EQ(slotOf(&IDevice::ioctl), 2U);
    EXPECT_EQ(slotOf(&IDevice::getInterruptType), 3U);
    EXPECT_EQ(slotOf(&IDevice::enableInterrupt), 4U);
    EXPECT_EQ(slotOf(&IDevice::disableInterrupt), 5U);
    EXPECT_EQ(slotOf(&IDevice::waitForInterrupt), 6U);
    EXPECT_EQ(slotOf(&IDevice::getNativeHandle), 7U);
    EXPECT_EQ(slotOf(static_cast<bool (D::*)(unsigned int, T*)>(&D::read)), 8U);
    EXPECT_EQ(slotOf(static_cast<bool (D::*)(unsigned int, T*, unsigned int, ByteOrder)>(&D::read)), 9U);
    EXPECT_EQ(slotOf(static_cast<bool (D::*)(unsigned int, T)>(&D::write)), 10U);
    EXPECT_EQ(slotOf(static_cast<bool (D::*)(unsigned int, T, T)>(&D::write)), 11U);
    EXPECT_EQ(slotOf(static_cast<bool (D::*)(unsigned int, const T*, unsigned int, ByteOrder)>(&D::write)), 12U);
    EXPECT_EQ(slotOf(&D::cancelWaitForInterrupt), 13U);
}

TEST(Device, HasNamesForItsThreeWidths) {
    EXPECT_TRUE((std::is_same_v<Rynvel::Device8, Device<std::uint8_t>>));
    EXPECT_TRUE((std::is_same_v<Rynvel::Device16, Device<std::uint16_t>>));
    EXPECT_TRUE((std::is_same_v<Rynvel::Device32, Device<std::uint32_t>>));
}

TEST(IMutex, LocksInTheSlotAfterItsDestructorsAndUnlocksInTheNext) {
    EXPECT_TRUE(std::has_virtual_destructor_v<Rynvel::IMutex>);
    EXPECT_EQ(slotOf(&Rynvel::IMutex::lock), 2U);
    EXPECT_EQ(slotOf(&Rynvel::IMutex::unlock), 3U);
}

std::string printed(ByteOrder byteOrder) {
    std::ostringstream stream;
    stream << byteOrder;
    return stream.str();
}

TEST(ByteOrder, IsPrintedAsNetworkForOneAndAsHostForAnythingElse) {
    EXPECT_EQ(printed(ByteOrder::Network), "Network");
    EXPECT_EQ(printed(ByteOrder::Host), "Host");
    EXPECT_EQ(printed(static_cast<ByteOrder>(2)), "Host");
    EXPECT_EQ(printed(static_cast<ByteOrder>(0xFFFFFFFF)), "Host");
}

TEST(ByteOrder, IsA32BitValueOfZeroForHostAndOneForNetwork) {
    EXPECT_EQ(sizeof(ByteOrder), 4U);
    EXPECT_EQ(static_cast<std::uint32_t>(ByteOrder::Host), 0U);
    EXPECT_EQ(static_cast<std::uint32_t>(ByteOrder::Network), 1U);
}

} // namespace
