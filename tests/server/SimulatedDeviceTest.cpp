// SPDX-License-Identifier: MIT
#include "SimulatedDevice.h"

#include <array>
#include <limits>

#include <poll.h>

#include <gtest/gtest.h>

#include "DescriptionText.h"
#include "MapReader.h"

namespace RynvelTest {
namespace {

using Common::AccessResult;
using Common::DeviceTypeInfo;
using Rynvel::ByteOrder;
using Rynveld::simulate;
using Rynveld::simulatedSize;

constexpr std::uint32_t pattern = 0x81A2C3E4;

DeviceTypeInfo kindOf(unsigned int width, unsigned int addressStride = 1, bool hasInterrupts = true) {
    return {"", Common::AccessMethod::Mapped, width, hasInterrupts, true, addressStride};
}

std::uint32_t maskOf(unsigned int width) { return width == 32 ? UINT32_MAX : (1U << width) - 1; }

std::uint32_t reversed(std::uint32_t value, unsigned int width) {
    std::uint32_t result = 0;
    for (unsigned int bit = 0; bit < width; bit += 8) {
        result = result << 8U | (value >> bit & 0xFFU);
    }
    return result;
}

bool isReadable(int descriptor) {
    pollfd state{descriptor, POLLIN, 0};
    return ::poll(&state, 1, 0) == 1;
}

/** A fixture for a simulated device. The parameter is the register width in bits. */
class SimulatedDevice : public testing::TestWithParam<unsigned int> {
protected:
    static unsigned int width() { return GetParam(); }
    static std::uint32_t count() { return simulatedSize / (width() / 8); }
    static std::uint32_t value(unsigned int i) { return (pattern + 0x11111111U * i) & maskOf(width()); }

    Common::RegisterDevice& registers() { return *m_simulation.device; }

    std::uint32_t at(std::uint32_t address) {
        std::uint32_t value = 0;
        EXPECT_EQ(registers().read(address, value), AccessResult::Success);
        return value;
    }

    Rynveld::Simulation m_simulation = simulate("simulated", kindOf(GetParam()));
};

INSTANTIATE_TEST_SUITE_P(Widths, SimulatedDevice, testing::Values(8U, 16U, 32U),
                         [](const auto& width) { return std::to_string(width.param); });

TEST_P(SimulatedDevice, HasItsNameAndItsWidth) {
    EXPECT_EQ(registers().width(), width());
    EXPECT_EQ(registers().device().getDevName(), "simulated");
}

TEST_P(SimulatedDevice, KeepsEveryRegisterSeparately) {
    EXPECT_EQ(at(count() - 1), 0U);
    EXPECT_EQ(registers().write(count() - 1, value(1)), AccessResult::Success);
    EXPECT_EQ(registers().write(0, value(2)), AccessResult::Success);
    EXPECT_EQ(at(count() - 1), value(1));
    EXPECT_EQ(at(0), value(2));
    EXPECT_EQ(at(1), 0U);
    EXPECT_EQ(at(count() - 2), 0U);
}

TEST_P(SimulatedDevice, ReplacesTheBitsUnderAMask) {
    const std::uint32_t mask = 0x0FF0F00FU & maskOf(width());
    EXPECT_EQ(registers().write(3, value(1)), AccessResult::Success);
    EXPECT_EQ(registers().write(3, value(2), mask), AccessResult::Success);
    EXPECT_EQ(at(3), (value(1) & ~mask) | (value(2) & mask));
}

TEST_P(SimulatedDevice, MovesBurstsInBothOrders) {
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        const std::array<std::uint32_t, 3> written{value(1), value(2), value(3)};
        EXPECT_EQ(registers().write(7, written.data(), 3, order), AccessResult::Success);
        for (unsigned int i = 0; i < 3; ++i) {
            EXPECT_EQ(at(7 + i), order == ByteOrder::Host ? written[i] : reversed(written[i], width()));
        }
        std::array<std::uint32_t, 3> values{};
        EXPECT_EQ(registers().read(7, values.data(), 3, order), AccessResult::Success);
        EXPECT_EQ(values, written);
    }
}

TEST_P(SimulatedDevice, FailsAfterItsLastRegister) {
    std::uint32_t word = 0;
    std::array<std::uint32_t, 2> words{};
    for (const std::uint32_t address : {count(), count() + 1, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(registers().read(address, word), AccessResult::Failed);
        EXPECT_EQ(registers().write(address, 1), AccessResult::Failed);
        EXPECT_EQ(registers().write(address, 1, 1), AccessResult::Failed);
        EXPECT_EQ(registers().read(address, words.data(), 2, ByteOrder::Host), AccessResult::Failed);
    }
    EXPECT_EQ(registers().read(count() - 1, words.data(), 2, ByteOrder::Host), AccessResult::Failed);
    EXPECT_EQ(registers().write(count() - 1, words.data(), 2, ByteOrder::Host), AccessResult::Failed);
    EXPECT_EQ(registers().read(count() - 2, words.data(), 2, ByteOrder::Host), AccessResult::Success);
}

TEST_P(SimulatedDevice, CountsAddressesInTheStrideOfItsType) {
    const unsigned int step = width() / 8;
    const auto seekable = simulate("seekable", kindOf(width(), step, false));
    const std::array<std::uint32_t, 2> written{value(1), value(2)};
    EXPECT_EQ(seekable.device->write(step, written.data(), 2, ByteOrder::Host), AccessResult::Success);
    std::uint32_t word = 0;
    EXPECT_EQ(seekable.device->read(2 * step, word), AccessResult::Success);
    EXPECT_EQ(word, value(2));
    EXPECT_EQ(seekable.device->read(simulatedSize - step, word), AccessResult::Success);
    EXPECT_EQ(seekable.device->read(simulatedSize, word), AccessResult::Failed);
    if (step > 1) {
        EXPECT_EQ(seekable.device->read(step + 1, word), AccessResult::Failed);
    }
}

TEST_P(SimulatedDevice, HasInterruptsIfItsTypeHas) {
    unsigned long type = 0;
    auto& device = registers().device();
    EXPECT_TRUE(device.getInterruptType(&type));
    EXPECT_EQ(type, 4U);
    EXPECT_TRUE(device.enableInterrupt());
    EXPECT_TRUE(device.disableInterrupt());
    EXPECT_EQ(device.getNativeHandle(), m_simulation.interrupt->descriptor());
}

TEST_P(SimulatedDevice, HasNoInterruptsIfItsTypeHasNone) {
    const auto simulation = simulate("simulated", kindOf(width(), 1, false));
    auto& device = simulation.device->device();
    unsigned long type = 0x55;
    EXPECT_EQ(simulation.interrupt, nullptr);
    EXPECT_FALSE(device.getInterruptType(&type));
    EXPECT_FALSE(device.enableInterrupt());
    EXPECT_FALSE(device.disableInterrupt());
    EXPECT_FALSE(device.waitForInterrupt(&type));
    EXPECT_EQ(type, 0x55U);
    EXPECT_EQ(device.getNativeHandle(), -1);
}

TEST_P(SimulatedDevice, EnablesItsInterruptByWaiting) {
    m_simulation.interrupt->raise(7);
    EXPECT_FALSE(isReadable(m_simulation.interrupt->descriptor()));
    unsigned long word = 0;
    EXPECT_TRUE(registers().device().waitForInterrupt(&word));
    EXPECT_EQ(word, 7U);
}

TEST_P(SimulatedDevice, LeavesItsInterruptDisabledWhenItWaitsIfItsTypeDoes) {
    auto kind = kindOf(width());
    kind.waitEnablesInterrupt = false;
    const auto simulation = simulate("simulated", kind);
    auto& device = simulation.device->device();
    EXPECT_TRUE(device.enableInterrupt());
    simulation.interrupt->raise(7);
    EXPECT_TRUE(device.disableInterrupt());
    simulation.interrupt->raise(8);
    unsigned long word = 0;
    EXPECT_TRUE(device.waitForInterrupt(&word));
    EXPECT_EQ(word, 7U);
    EXPECT_FALSE(isReadable(device.getNativeHandle()));
}

TEST_P(SimulatedDevice, AcceptsEveryIoctl) { EXPECT_EQ(registers().device().ioctl(0x1234, 5), 0); }

/**
 * A fixture for a simulated device. A map describes its first three registers: one is read-only, one has an effect when
 * it is written, and one has an effect when it is read. The parameter is the register width in bits.
 */
class DescribedDevice : public testing::TestWithParam<unsigned int> {
protected:
    static std::uint32_t bytes() { return GetParam() / 8; }
    static std::uint32_t cut(std::uint32_t value) { return value & maskOf(GetParam()); }

    Common::RegisterDevice& registers() { return *m_simulation.device; }

    std::uint32_t at(std::uint32_t address) {
        std::uint32_t value = 0;
        EXPECT_EQ(registers().read(address, value), AccessResult::Success);
        return value;
    }

    void reset() { m_simulation = simulateDescribed(); }

private:
    static std::string registerOf(unsigned int index, const std::string& elements) {
        return registerAt(std::to_string(index * bytes()), element("size", GetParam()) + elements);
    }

    static std::string element(const std::string& tag, std::uint32_t number) {
        return "<" + tag + ">" + std::to_string(number) + "</" + tag + ">";
    }

    static std::string text() {
        const std::string reset = element("resetValue", cut(pattern));
        return mapWith("P", registerOf(0, reset + "<access>read-only</access>") +
                                registerOf(1, reset + "<modifiedWriteValues>oneToClear</modifiedWriteValues>") +
                                registerOf(2, reset + "<readAction>clear</readAction>"));
    }

    static Rynveld::Simulation simulateDescribed() {
        const Maps::ReadMap map = Maps::readMap(text());
        return simulate("simulated", kindOf(GetParam()), &map.device.value().peripherals[0]);
    }

    Rynveld::Simulation m_simulation = simulateDescribed();
};

INSTANTIATE_TEST_SUITE_P(Widths, DescribedDevice, testing::Values(8U, 16U, 32U),
                         [](const auto& width) { return std::to_string(width.param); });

TEST_P(DescribedDevice, FollowsTheDescriptionOfEachRegister) {
    for (const std::uint32_t address : {0U, 1U, 2U, 3U}) {
        EXPECT_EQ(at(address), address < 3 ? cut(pattern) : 0U);
        EXPECT_EQ(registers().write(address, cut(0x0F0F0F0F)), AccessResult::Success);
    }
    EXPECT_EQ(at(0), cut(pattern));
    EXPECT_EQ(at(1), cut(pattern & 0xF0F0F0F0));
    EXPECT_EQ(at(2), cut(0x0F0F0F0F));
    EXPECT_EQ(at(2), 0U);
    EXPECT_EQ(at(3), cut(0x0F0F0F0F));
}

TEST_P(DescribedDevice, PerformsABurstRegisterByRegister) {
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        const auto ordered = [order](std::uint32_t value) {
            return order == ByteOrder::Host ? value : reversed(value, GetParam());
        };
        reset();
        std::array<std::uint32_t, 4> values{};
        EXPECT_EQ(registers().read(0, values.data(), 4, order), AccessResult::Success);
        const std::uint32_t initial = ordered(cut(pattern));
        EXPECT_EQ(values, (std::array<std::uint32_t, 4>{initial, initial, initial, 0}));
        const std::uint32_t data = cut(0x0F0F0F01);
        values.fill(data);
        EXPECT_EQ(registers().write(0, values.data(), 4, order), AccessResult::Success);
        EXPECT_EQ(registers().read(0, values.data(), 4, order), AccessResult::Success);
        EXPECT_EQ(values, (std::array<std::uint32_t, 4>{initial, initial & ~data, data, data}));
    }
}

TEST_P(DescribedDevice, ReadsBeforeItWritesUnderAMask) {
    const std::uint32_t mask = 0xF;
    EXPECT_EQ(registers().write(1, 0, mask), AccessResult::Success);
    EXPECT_EQ(at(1), cut(pattern & mask)) << "the bits outside the mask are written back, which clears them";
    EXPECT_EQ(registers().write(2, 5, mask), AccessResult::Success);
    EXPECT_EQ(at(2), cut((pattern & ~mask) | 5U)) << "the bits outside the mask have the values before the read";
    EXPECT_EQ(registers().write(0, 5, mask), AccessResult::Success);
    EXPECT_EQ(at(0), cut(pattern));
}

class SimulatedInterrupt : public testing::Test {
protected:
    /** Returns the interrupt word that is ready to be received, if there is one. */
    std::optional<unsigned long> received() {
        unsigned long word = 0;
        if (!isReadable(m_interrupt.descriptor()) || !m_interrupt.receive(&word)) {
            return std::nullopt;
        }
        return word;
    }

    Rynveld::SimulatedInterrupt m_interrupt;
};

TEST_F(SimulatedInterrupt, IsPendingUntilItIsEnabledAndAgainAfterItIsDisabled) {
    for (const std::uint32_t word : {7U, 8U}) {
        m_interrupt.raise(word);
        EXPECT_EQ(received(), std::nullopt);
        m_interrupt.enable();
        EXPECT_EQ(received(), word);
        m_interrupt.enable();
        EXPECT_EQ(received(), std::nullopt);
        m_interrupt.disable();
    }
}

TEST_F(SimulatedInterrupt, IsKeptOnceUntilItIsReceivedWhetherItIsPendingOrNot) {
    // The interrupt is disabled in the first round, and enabled in the second.
    for (const std::uint32_t latest : {8U, 0xFFFFFFFFU}) {
        m_interrupt.raise(7);
        m_interrupt.raise(latest);
        m_interrupt.enable();
        EXPECT_EQ(received(), latest);
        EXPECT_EQ(received(), std::nullopt);
    }
}

TEST_F(SimulatedInterrupt, IsCountedFromOneWithoutAWord) {
    m_interrupt.enable();
    m_interrupt.raise(std::nullopt);
    EXPECT_EQ(received(), 1U);
    m_interrupt.raise(100);
    EXPECT_EQ(received(), 100U);
    m_interrupt.raise(std::nullopt);
    EXPECT_EQ(received(), 3U);
}

TEST_F(SimulatedInterrupt, NeverBlocksTheThreadThatRaisesIt) {
    m_interrupt.enable();
    constexpr unsigned int more = 100000;
    for (unsigned int i = 0; i < more; ++i) {
        m_interrupt.raise(std::nullopt);
    }
    EXPECT_EQ(received(), more);
    EXPECT_EQ(received(), std::nullopt);
}

} // namespace
} // namespace RynvelTest
