// SPDX-License-Identifier: MIT
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MapCatalog.h"
#include "MapText.h"
#include "RegisterName.h"

namespace RynvelTest {
namespace {

using Catalog = Maps::MapCatalog;

Catalog boardMaps() { return Catalog({BOARD_MAPS}); }

/** Returns the device types in a device description file, by device name. */
std::map<std::string, std::string> typesIn(const std::string& file) {
    std::map<std::string, std::string> types;
    std::ifstream rows(file);
    for (std::string row; std::getline(rows, row);) {
        std::istringstream words(row);
        std::string name;
        std::string path;
        std::string parameter;
        if (words >> name && name[0] != '#') {
            words >> path >> parameter >> types[name];
        }
    }
    return types;
}

/** Returns the device types of the devices of the virtual board, by device name. */
std::map<std::string, std::string> boardDevices() {
    auto types = typesIn(DEVICES);
    types.merge(typesIn(OWN_DEVICES));
    return types;
}

/** Returns the register width of a device type, in bits. The name of the device type ends with that number. */
unsigned int widthOf(const std::string& type) {
    return static_cast<unsigned int>(std::stoul(type.substr(type.find_first_of("0123456789"))));
}

TEST(BoardMaps, HaveNoErrorsAndNoWarnings) {
    Catalog catalog = boardMaps();
    ASSERT_EQ(catalog.files().size(), 2U);
    for (std::size_t i = 0; i < catalog.files().size(); ++i) {
        EXPECT_EQ(diagnosticsOf(catalog.map(i)), "") << catalog.files()[i];
    }
}

TEST(BoardMaps, DescribeTheClockAndTheDevicesOfTheTests) {
    Catalog catalog = boardMaps();
    for (const char* device :
         {"rtc0", "own.fpga", "own.tyvon.map.16", "own.tyvon.map.32", "own.tyvon.seek.16", "own.tyvon.seek.32"}) {
        EXPECT_TRUE(catalog.find(device)) << device;
    }
}

TEST(BoardMaps, DescribeOnlyDevicesOfTheBoard) {
    Catalog catalog = boardMaps();
    const auto devices = boardDevices();
    for (std::size_t i = 0; i < catalog.files().size(); ++i) {
        for (const Maps::Peripheral& peripheral : catalog.map(i).device->peripherals) {
            EXPECT_TRUE(std::any_of(devices.begin(), devices.end(), [&peripheral](const auto& device) {
                return Maps::peripheralNameOf(device.first) == peripheral.name;
            })) << peripheral.name;
        }
    }
}

TEST(BoardMaps, DescribeRegistersOfTheWidthOfTheDevice) {
    constexpr std::uint64_t sizeOfEachDevice = 4096;
    Catalog catalog = boardMaps();
    std::size_t count = 0;
    for (const auto& [name, type] : boardDevices()) {
        const auto description = catalog.find(name);
        for (const auto& located :
             description ? Maps::registersOf(*description->peripheral) : std::vector<Maps::LocatedRegister>()) {
            EXPECT_EQ(located.contents->size, widthOf(type)) << name << " " << located.name;
            EXPECT_EQ(located.offset * 8 % widthOf(type), 0U) << name << " " << located.name;
            EXPECT_LT(located.offset, sizeOfEachDevice) << name << " " << located.name;
            ++count;
        }
    }
    EXPECT_GT(count, 0U);
}

/** Returns the offset of a register of the clock. */
std::uint64_t offsetOfClock(const std::string& name) {
    Catalog catalog = boardMaps();
    const auto found = Maps::findRegister(*catalog.find("rtc0").value().peripheral, name);
    return found.value().located.offset;
}

TEST(BoardMaps, HaveTheRegistersOfTheClock) {
    const std::map<std::string, std::uint64_t> offsets{
        {"RTCDR", 0x00},           {"RTCMR", 0x04},         {"RTCLR", 0x08},        {"RTCCR.START", 0x0C},
        {"RTCIMSC.RTCIMSC", 0x10}, {"RTCRIS", 0x14},        {"RTCMIS", 0x18},       {"RTCICR", 0x1C},
        {"RTCPeriphID0", 0xFE0},   {"RTCPeriphID3", 0xFEC}, {"RTCPCellID0", 0xFF0}, {"RTCPCellID3", 0xFFC},
    };
    for (const auto& [name, offset] : offsets) {
        EXPECT_EQ(offsetOfClock(name), offset) << name;
    }
}

TEST(BoardMaps, UseArraysClustersAndNamesOfValues) {
    Catalog catalog = boardMaps();
    const auto fpga = catalog.find("own.fpga");
    ASSERT_TRUE(fpga);
    const auto tap = Maps::findRegister(*fpga->peripheral, "CHANNEL[3].FILTER.TAP2.Q");
    ASSERT_TRUE(tap);
    EXPECT_EQ(tap->located.offset, 0x20U + 3 * 0x20U + 0x10U + 0x0CU);
    EXPECT_EQ(tap->field->lsb, 16U);
    const auto mode = Maps::findRegister(*fpga->peripheral, "CHANNEL[1].CTRL.MODE");
    ASSERT_TRUE(mode && mode->field->enumerations.size() == 1);
    EXPECT_EQ(namesOf(mode->field->enumerations[0].values), "off slow fast ");
}

} // namespace
} // namespace RynvelTest
