// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using Rynvel::DeviceType;
using Rynvel::Factory;
using Rynvel::MemoryDevice;

const Factory& factory() { return Factory::getInstance(); }

struct ExpectedRow {
    const char* name;
    const char* path;
    DeviceType type;
};

constexpr std::array<ExpectedRow, 30> expectedRows{{
    {"traf.top", "/dev/tomkar_top_ctrl", DeviceType::Uio32},
    {"traf.car", "/dev/tomkar_car", DeviceType::Uio32},
    {"spi", "/dev/tomkar_spi", DeviceType::Uio32},
    {"i2c", "/dev/tomkar_i2c", DeviceType::Lseek8},
    {"tod", "/dev/tomkar_tod", DeviceType::Uio32},
    {"sync", "/dev/tomkar_sync", DeviceType::Uio32},
    {"olh", "/dev/tomkar_olh", DeviceType::Uio32},
    {"etm.il", "/dev/tomkar_etm_il", DeviceType::Uio32},
    {"etm.la", "/dev/tomkar_etm_la", DeviceType::Uio32},
    {"mlhc", "/dev/tomkar_mlhc", DeviceType::Uio32},
    {"cri.top", "/dev/tomkar_cri_top", DeviceType::Uio32},
    {"cri.lh", "/dev/tomkar_cri_lh", DeviceType::Uio32},
    {"cri.tsm", "/dev/tomkar_cri_tsm", DeviceType::Uio32},
    {"cri.pf", "/dev/tomkar_cri_pf", DeviceType::Uio32},
    {"port", "/dev/tomkar_port_adapt", DeviceType::Uio32},
    {"mlm", "/dev/tomkar_mlm", DeviceType::Uio32},
    {"rla.0", "/dev/tomkar_rla_0", DeviceType::Uio32},
    {"rla.1", "/dev/tomkar_rla_1", DeviceType::Uio32},
    {"dsp", "/dev/tomkar_dsp_if", DeviceType::Uio32},
    {"common.spi.0.0", "/dev/spidev0.0", DeviceType::Lseek8},
    {"common.spi.0.1", "/dev/spidev0.1", DeviceType::Lseek8},
    {"common.spi.0.2", "/dev/spidev0.2", DeviceType::Lseek8},
    {"common.spi.2.0", "/dev/spidev2.0", DeviceType::Lseek8},
    {"common.spi.2.1", "/dev/spidev2.1", DeviceType::Lseek8},
    {"common.spi.3.0", "/dev/spidev3.0", DeviceType::Lseek8},
    {"common.spi.4.0", "/dev/spidev4.0", DeviceType::Lseek8},
    {"common.spi.bpm", "/dev/spidev.bpm", DeviceType::Lseek8},
    {"common.i2c.0", "/dev/i2c-0", DeviceType::Lseek8},
    {"common.idt", "/dev/idt", DeviceType::Lseek8},
    {"rtc0", "/dev/rtc0", DeviceType::Uio32},
}};

TEST(DeviceTable, HasTheThirtyDevicesOfTheBoardInTheOrderOfTheirHandles) {
    for (std::size_t i = 0; i < expectedRows.size(); ++i) {
        const ExpectedRow& expected = expectedRows[i];
        EXPECT_EQ(factory().findMemoryDeviceIndex(expected.name), static_cast<int>(i)) << expected.name;
        const MemoryDevice* const row = factory().findMemoryDevice(expected.name);
        ASSERT_NE(row, nullptr) << expected.name;
        EXPECT_EQ(row->m_name, expected.name);
        EXPECT_EQ(row->m_devicePath, expected.path);
        EXPECT_EQ(row->m_parameter, 0U);
        EXPECT_EQ(row->m_type, expected.type) << expected.name;
    }
}

TEST(DeviceTable, HasNoThirtyFirstDevice) {
    const MemoryDevice* const first = factory().findMemoryDevice("traf.top");
    const MemoryDevice* const last = factory().findMemoryDevice("rtc0");
    EXPECT_EQ(last - first, 29);
    EXPECT_DEATH(Factory::getInstance().getBackend(30), "m_rynvelList.size");
}

TEST(DeviceTable, MatchesWholeNamesExactly) {
    for (const char* name : {"cri", "common.spi", "traf.to", "Traf.top", "traf.top ", " traf.top", "traf.top.", ""}) {
        EXPECT_EQ(factory().findMemoryDeviceIndex(name), -1) << name;
        EXPECT_EQ(factory().findMemoryDevice(name), nullptr) << name;
    }
    EXPECT_EQ(factory().findMemoryDeviceIndex(std::string("rtc0\0", 5)), -1);
}

TEST(DeviceTable, HasRowsThatCanBeCopiedAndMovedButNotAssigned) {
    EXPECT_TRUE(std::is_copy_constructible_v<MemoryDevice>);
    EXPECT_TRUE(std::is_move_constructible_v<MemoryDevice>);
    EXPECT_FALSE(std::is_copy_assignable_v<MemoryDevice>);
    EXPECT_FALSE(std::is_move_assignable_v<MemoryDevice>);

    MemoryDevice row{"adc", "/dev/adc", 0x1000, DeviceType::Tyvon16};
    const MemoryDevice moved(std::move(row));
    EXPECT_EQ(moved.m_name, "adc");
    EXPECT_EQ(moved.m_devicePath, "/dev/adc");
    EXPECT_EQ(moved.m_parameter, 0x1000U);
    EXPECT_EQ(moved.m_type, DeviceType::Tyvon16);
    EXPECT_EQ(row.m_name, "adc"); // NOLINT(bugprone-use-after-move): moving a row copies it
}

TEST(DeviceType, HasFixedValuesOf32Bits) {
    EXPECT_EQ(sizeof(DeviceType), 4U);
    const std::array<DeviceType, 13> types{DeviceType::Lseek8,
                                           DeviceType::Lseek16,
                                           DeviceType::Lseek32,
                                           DeviceType::Uio16,
                                           DeviceType::Uio32,
                                           DeviceType::FpgaSpi32,
                                           DeviceType::Tyvon16,
                                           DeviceType::Tyvon32,
                                           DeviceType::TyvonInterrupt16,
                                           DeviceType::TyvonInterrupt32,
                                           DeviceType::Remote8,
                                           DeviceType::Remote16,
                                           DeviceType::Remote32};
    for (std::uint32_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(static_cast<std::uint32_t>(types[i]), i);
    }
}

} // namespace
