// SPDX-License-Identifier: MIT
#include "DescribedRegisters.h"

#include <cstdint>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "DescriptionText.h"
#include "MapReader.h"

namespace RynvelTest {
namespace {

using Values = std::map<std::uint64_t, std::uint64_t>;

/** Returns the simulated registers, of `width` bits each, of a device that a map with `registers` describes. */
Rynveld::DescribedRegisters registersOf(const std::string& registers, unsigned int width) {
    const Maps::ReadMap map = Maps::readMap(mapWith("P", registers));
    return Rynveld::describedRegisters(map.device.value().peripherals[0], width);
}

Values valuesOf(Rynveld::DescribedRegisters registers) {
    Values values;
    for (auto& [index, aRegister] : registers) {
        values[index] = aRegister.read();
    }
    return values;
}

/** Returns the values of all described registers after a write of the same data to each of them. */
Values valuesAfter(std::uint64_t data, Rynveld::DescribedRegisters registers) {
    for (auto& [index, aRegister] : registers) {
        aRegister.write(data);
    }
    return valuesOf(std::move(registers));
}

std::string reset(const std::string& value) { return "<resetValue>" + value + "</resetValue>"; }
std::string size(const std::string& bits) { return "<size>" + bits + "</size>"; }
std::string access(const std::string& word) { return "<access>" + word + "</access>"; }
const std::string clearing = "<modifiedWriteValues>oneToClear</modifiedWriteValues>";
std::string fields(const std::string& elements) { return "<fields>" + elements + "</fields>"; }

/** Returns the description of a second register at the address of the register R0. */
std::string alternative(const std::string& elements, const std::string& name = "OTHER") {
    return "<register><name>" + name +
           "</name><alternateRegister>R0</alternateRegister><addressOffset>0</addressOffset>" + elements +
           "</register>";
}

TEST(DescribedRegisters, HaveTheOffsetsAndResetValuesOfTheMap) {
    EXPECT_EQ(valuesOf(registersOf(registerAt("0x8", reset("0x11223344")) + registerAt("0x10", ""), 32)),
              (Values{{2, 0x11223344}, {4, 0}}));
}

TEST(DescribedRegisters, ResetOnlyTheBitsOfTheResetMask) {
    EXPECT_EQ(valuesOf(registersOf(registerAt("0", reset("0x11223344") + "<resetMask>0xFF00FF00</resetMask>"), 32)),
              (Values{{0, 0x11003300}}));
}

TEST(DescribedRegisters, IncludeTheRegistersOfClustersAndArrays) {
    const std::string cluster =
        "<cluster><dim>2</dim><dimIncrement>16</dimIncrement><name>C[%s]</name><addressOffset>0x20</addressOffset>"
        "<register><name>R</name><addressOffset>4</addressOffset><resetValue>7</resetValue></register></cluster>";
    EXPECT_EQ(valuesOf(registersOf(cluster, 32)), (Values{{9, 7}, {13, 7}}));
}

TEST(DescribedRegisters, ShareARegisterOfTheDeviceIfTheyAreNarrower) {
    const std::string registers = registerAt("4", size("8") + reset("0x11")) +
                                  registerAt("5", size("8") + reset("0x22") + access("read-only")) +
                                  registerAt("6", size("16") + reset("0x3344"));
    EXPECT_EQ(valuesOf(registersOf(registers, 32)), (Values{{1, 0x33442211}}));
    EXPECT_EQ(valuesAfter(0xFFFFFFFF, registersOf(registers, 32)), (Values{{1, 0xFFFF22FF}}));
}

TEST(DescribedRegisters, KeepUndescribedBitsAsMemory) {
    const std::string narrow = registerAt("1", size("8") + reset("0x22") + access("read-only"));
    EXPECT_EQ(valuesAfter(0xABCDEF01, registersOf(narrow, 32)), (Values{{0, 0xABCD2201}}));
}

TEST(DescribedRegisters, OccupySeveralRegistersOfTheDeviceIfTheyAreWider) {
    const std::string wide = registerAt("8", size("64") + reset("0x1122334455667788") + access("read-only"));
    EXPECT_EQ(valuesOf(registersOf(wide, 32)), (Values{{2, 0x55667788}, {3, 0x11223344}}));
    EXPECT_EQ(valuesOf(registersOf(wide, 16)), (Values{{4, 0x7788}, {5, 0x5566}, {6, 0x3344}, {7, 0x1122}}));
    EXPECT_EQ(valuesAfter(0xFF, registersOf(wide, 8)).size(), 8U);
    EXPECT_EQ(valuesAfter(0xFF, registersOf(wide, 8)).at(15), 0x11U);
}

TEST(DescribedRegisters, MayBeginInTheMiddleOfARegisterOfTheDevice) {
    EXPECT_EQ(valuesOf(registersOf(registerAt("2", reset("0x11223344")), 32)),
              (Values{{0, 0x33440000}, {1, 0x00001122}}));
}

TEST(DescribedRegisters, FollowTheAccessAndSideEffectsOfTheirFields) {
    const std::string registers =
        registerAt("0", reset("0xAAAAAAAA") + "<modifiedWriteValues>oneToClear</modifiedWriteValues>" +
                            fields(fieldIn("[7:0]", access("read-only")) +
                                   fieldIn("[15:8]", "<modifiedWriteValues>oneToSet</modifiedWriteValues>") +
                                   fieldIn("[23:16]", "<readAction>set</readAction>")));
    EXPECT_EQ(valuesAfter(0xF0F0F0F0, registersOf(registers, 32)), (Values{{0, 0x0A0AFAAA}}));
    auto found = registersOf(registers, 32);
    EXPECT_EQ(found.at(0).read(), 0xAAAAAAAAU);
    EXPECT_EQ(found.at(0).read(), 0xAAFFAAAAU);
}

TEST(DescribedRegisters, ReadAWriteOnlyFieldAsZero) {
    const std::string registers = registerAt("0", reset("0x1234") + fields(fieldIn("[7:0]", access("write-only"))));
    EXPECT_EQ(valuesOf(registersOf(registers, 32)), (Values{{0, 0x1200}}));
}

TEST(DescribedRegisters, ReadAsTheFirstReadableDescriptionIfDescriptionsOverlap) {
    const std::string registers = registerAt("0", reset("0x11") + access("write-only")) +
                                  alternative(reset("0x22") + "<readAction>clear</readAction>") +
                                  alternative(reset("0x33"), "THIRD");
    auto found = registersOf(registers, 32);
    EXPECT_EQ(found.at(0).read(), 0x22U);
    EXPECT_EQ(found.at(0).read(), 0U);
}

TEST(DescribedRegisters, WriteAsTheFirstWritableDescriptionIfDescriptionsOverlap) {
    const std::string readOnly = registerAt("0", reset("0x11") + access("read-only"));
    EXPECT_EQ(valuesAfter(0xF0, registersOf(readOnly + alternative(reset("0x22")), 32)), (Values{{0, 0xF0}}));
    EXPECT_EQ(
        valuesAfter(0xF0, registersOf(readOnly + alternative(access("read-writeOnce")) + alternative("", "THIRD"), 32)),
        (Values{{0, 0xF0}}));
    EXPECT_EQ(valuesAfter(0xF0, registersOf(registerAt("0", "") + alternative(clearing + access("write-only")), 32)),
              (Values{{0, 0xF0}}));
}

TEST(DescribedRegisters, ApplyWritesOfAWriteOnlyRegisterToTheReadableRegister) {
    const std::string status = reset("3") + access("read-only");
    const std::string clear = clearing + access("write-only");
    for (const std::string& registers :
         {registerAt("0", status) + alternative(clear), registerAt("0", clear) + alternative(status)}) {
        auto found = registersOf(registers, 32);
        EXPECT_EQ(found.at(0).read(), 3U);
        found.at(0).write(1);
        EXPECT_EQ(found.at(0).read(), 2U);
    }
}

TEST(DescribedRegisters, KeepTheFirstValueOfAWriteOnceRegister) {
    auto found = registersOf(registerAt("0", access("read-only")) + alternative(access("read-writeOnce")), 32);
    found.at(0).write(5);
    found.at(0).write(6);
    EXPECT_EQ(found.at(0).read(), 5U);
}

TEST(DescribedRegisters, DoNotShowWhatAWriteOnlyRegisterStores) {
    const std::string received = alternative(reset("0x22") + access("read-only"));
    EXPECT_EQ(valuesAfter(0xFF, registersOf(registerAt("0", access("write-only")) + received, 32)),
              (Values{{0, 0x22}}));
}

TEST(DescribedRegisters, HaveTheFieldsOfAllRegistersThatOverlap) {
    const std::string registers =
        registerAt("0", reset("0x10002") + fields(fieldIn("[7:0]", ""))) +
        alternative(reset("0x3300") + fields(fieldIn("[15:8]", access("read-only")) + fieldIn("[3:0]", clearing)));
    EXPECT_EQ(valuesOf(registersOf(registers, 32)), (Values{{0, 0x13302}}));
    EXPECT_EQ(valuesAfter(0xABCD, registersOf(registers, 32)), (Values{{0, 0x33CD}}));
}

TEST(DescribedRegisters, ApplyWritesOutsideTheFieldsOfTheReadableRegister) {
    const std::string registers = registerAt("0", reset("0x70F") + access("read-only") + fields(fieldIn("[3:0]", ""))) +
                                  alternative(clearing + access("write-only"));
    EXPECT_EQ(valuesOf(registersOf(registers, 32)), (Values{{0, 0x70F}}));
    EXPECT_EQ(valuesAfter(0x101, registersOf(registers, 32)), (Values{{0, 0x60E}}));
}

TEST(DescribedRegisters, IgnoreAFieldOutsideOfItsRegister) {
    const std::string registers =
        registerAt("0", size("8") + reset("0x55") + fields(fieldIn("[8:1]", access("read-only"))));
    EXPECT_EQ(valuesAfter(0xFF, registersOf(registers, 16)), (Values{{0, 0xFF}}));
}

} // namespace
} // namespace RynvelTest
