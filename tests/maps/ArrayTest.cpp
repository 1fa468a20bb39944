// SPDX-License-Identifier: MIT
#include "MapText.h"

namespace RynvelTest {
namespace {

/** Returns a map with an array of registers of 4 bytes. */
std::string arrayOf(const std::string& dim, const std::string& name, const std::string& further = "") {
    return mapOf(element("register", element("dim", dim) + "<dimIncrement>4</dimIncrement>" + further +
                                         element("name", name) + "<addressOffset>0x10</addressOffset>"));
}

std::string registersIn(const Maps::Device& device) { return namesOf(onlyPeripheral(device).registers); }

TEST(Array, HasItsElementsAtTheIncrement) {
    const Maps::Peripheral peripheral = onlyPeripheral(read(arrayOf("3", "R[%s]")));
    ASSERT_EQ(namesOf(peripheral.registers), "R[0] R[1] R[2] ");
    EXPECT_EQ(peripheral.registers[0].offset, 0x10U);
    EXPECT_EQ(peripheral.registers[2].offset, 0x18U);
}

TEST(Array, DescribesItselfInEachElement) {
    const Maps::Peripheral peripheral =
        onlyPeripheral(read(arrayOf("2", "CH%s", "<dimIndex>A,B</dimIndex><dimName>Channel</dimName>")));
    const Maps::ArrayElement& second = peripheral.registers[1].arrayElement;
    ASSERT_TRUE(second.array);
    EXPECT_EQ(second.array->name, "CH%s");
    EXPECT_EQ(second.array->structName, "Channel");
    EXPECT_EQ(second.array->size, 2U);
    EXPECT_EQ(second.array->increment, 4U);
    EXPECT_EQ(second.position, 1U);
    EXPECT_EQ(second.index, "B");
    EXPECT_FALSE(onlyRegister(read(mapOf(registerOf("")))).arrayElement.array);
}

TEST(Array, DoesNotUseAListOfMoreIndexesThanAnArrayMayHave) {
    std::string list = "A";
    for (std::uint64_t i = 0; i < Maps::Limits().arraySize; ++i) {
        list += ",A";
    }
    const Maps::ReadMap map = Maps::readMap(arrayOf("2", "CH%s", element("dimIndex", list)));
    EXPECT_NE(diagnosticsOf(map), "");
    EXPECT_EQ(registersIn(deviceIn(map)), "CH0 CH1 ");
}

TEST(Array, CountsItsIndexesFromZeroWithoutADimIndex) {
    EXPECT_EQ(registersIn(read(arrayOf("2", "CH%s_CR"))), "CH0_CR CH1_CR ");
}

TEST(Array, TakesIndexesFromAList) {
    EXPECT_EQ(registersIn(read(arrayOf("3", "R%s", "<dimIndex>A,B,C</dimIndex>"))), "RA RB RC ");
    EXPECT_EQ(registersIn(read(arrayOf("2", "R%s", "<dimIndex> 7 , x_1 </dimIndex>"))), "R7 Rx_1 ");
}

TEST(Array, TakesIndexesFromARange) {
    EXPECT_EQ(registersIn(read(arrayOf("4", "R%s", "<dimIndex>0-3</dimIndex>"))), "R0 R1 R2 R3 ");
    EXPECT_EQ(registersIn(read(arrayOf("2", "R%s", "<dimIndex>9-10</dimIndex>"))), "R9 R10 ");
    EXPECT_EQ(registersIn(read(arrayOf("4", "R%s", "<dimIndex>A-D</dimIndex>"))), "RA RB RC RD ");
}

TEST(Array, ReplacesTheIndexInOtherNames) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        read(arrayOf("2", "R%s", "<displayName>R %s</displayName><alternateRegister>Q%s</alternateRegister>")));
    EXPECT_EQ(peripheral.registers[1].displayName, "R 1");
    EXPECT_EQ(peripheral.registers[1].alternateRegister, "Q1");
}

TEST(Array, NamesItsIndexes) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        read(arrayOf("2", "R[%s]",
                     "<dimArrayIndex><headerEnumName>Which</headerEnumName>"
                     "<enumeratedValue><name>Left</name><value>0</value></enumeratedValue>"
                     "<enumeratedValue><name>Right</name><value>1</value></enumeratedValue></dimArrayIndex>")));
    const Maps::Enumeration& names = peripheral.registers[0].arrayElement.array->indexNames;
    EXPECT_EQ(names.headerEnumName, "Which");
    EXPECT_EQ(namesOf(names.values), "Left Right ");
    EXPECT_EQ(names.values[1].value, 1U);
}

TEST(Array, MayConsistOfPeripherals) {
    const Maps::Device device =
        read(deviceOf(element("peripheral", "<dim>2</dim><dimIncrement>0x100</dimIncrement><name>UART[%s]</name>"
                                            "<baseAddress>0x4000</baseAddress>" +
                                                element("registers", registerOf("")))));
    ASSERT_EQ(namesOf(device.peripherals), "UART[0] UART[1] ");
    EXPECT_EQ(device.peripherals[1].baseAddress, 0x4100U);
    EXPECT_EQ(namesOf(device.peripherals[1].registers), "R ");
}

TEST(Array, MayConsistOfClusters) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        read(mapOf(element("cluster", "<dim>2</dim><dimIncrement>16</dimIncrement><name>CH%s</name>"
                                      "<description>Channel %s</description><addressOffset>8</addressOffset>" +
                                          registerOf("")))));
    ASSERT_EQ(namesOf(peripheral.clusters), "CH0 CH1 ");
    EXPECT_EQ(peripheral.clusters[1].offset, 24U);
    EXPECT_EQ(peripheral.clusters[1].registers[0].offset, 0U);
    EXPECT_EQ(peripheral.clusters[1].description.str(), "Channel %s");
}

TEST(Array, CountsBitsIfItsElementsAreFields) {
    const Maps::Register aRegister =
        onlyRegister(read(mapOfFields("<field><dim>3</dim><dimIncrement>4</dimIncrement><dimIndex>X,Y,Z</dimIndex>"
                                      "<name>PIN%s</name><bitRange>[9:8]</bitRange></field>")));
    ASSERT_EQ(namesOf(aRegister.fields), "PINX PINY PINZ ");
    EXPECT_EQ(aRegister.fields[2].lsb, 16U);
    EXPECT_EQ(aRegister.fields[2].msb, 17U);
}

TEST(IrregularArray, IsLeftOutIfItHasNoElements) {
    EXPECT_EQ(
        registersIn(readWithWarnings(arrayOf("0", "R%s"), "m.svd:1: warning: register 'R%s' is an array of 0 elements, "
                                                          "and is not used (1 to 65536 elements are supported)\n")),
        "");
}

TEST(IrregularArray, IsLeftOutIfItHasTooManyElements) {
    EXPECT_EQ(registersIn(readWithWarnings(arrayOf("65537", "R%s"),
                                           "m.svd:1: warning: register 'R%s' is an array of 65537 "
                                           "elements, and is not used (1 to 65536 elements are supported)\n")),
              "");
    EXPECT_EQ(onlyPeripheral(read(arrayOf("65536", "R%s"))).registers.size(), 65536U);
}

TEST(IrregularArray, GetsAPlaceholderForTheIndexIfItHasNone) {
    EXPECT_EQ(registersIn(readWithWarnings(arrayOf("2", "R"),
                                           "m.svd:1: warning: register 'R' is an array without a placeholder "
                                           "for the index in its name: [%s] is added\n")),
              "R[0] R[1] ");
}

TEST(IrregularArray, HasOneElementWithoutAnIncrement) {
    EXPECT_EQ(registersIn(readWithWarnings(
                  mapOf("<register><dim>2</dim><name>R%s</name><addressOffset>0</addressOffset>"
                        "</register>"),
                  "m.svd:1: warning: register 'R%s' is an array whose dimIncrement is missing or 0: only its "
                  "first element is used\n")),
              "R0 ");
}

TEST(IrregularArray, CountsItsElementsIfItsIndexesAreUnusable) {
    for (const std::string index : {"A", "A,", "3-0", "0-1-2", "A-d", "D-A", "A-2", "0-99999999", ","}) {
        EXPECT_EQ(
            registersIn(readWithWarnings(arrayOf("2", "R%s", element("dimIndex", index)),
                                         "m.svd:1: warning: register 'R%s' has the dimIndex '" + index +
                                             "', which does not name 2 indexes: the elements are numbered from 0\n")),
            "R0 R1 ");
    }
}

TEST(IrregularArray, CountsItsElementsIfAnIndexIsLong) {
    const std::string longest(64, 'x');
    EXPECT_EQ(registersIn(read(arrayOf("2", "R%s", element("dimIndex", "A," + longest)))), "RA R" + longest + " ");
    const std::string index = "A,x" + longest;
    EXPECT_EQ(registersIn(readWithWarnings(arrayOf("2", "R%s", element("dimIndex", index)),
                                           "m.svd:1: warning: register 'R%s' has the dimIndex '" + index +
                                               "', which does not name 2 indexes: the elements are numbered from 0\n")),
              "R0 R1 ");
}

TEST(IrregularArray, UsesTheFirstOfTooManyIndexes) {
    EXPECT_EQ(registersIn(
                  readWithWarnings(arrayOf("2", "R%s", "<dimIndex>A,B,C</dimIndex>"),
                                   "m.svd:1: warning: register 'R%s' has more indexes in its dimIndex than its dim has "
                                   "elements: the last indexes are not used\n")),
              "RA RB ");
}

TEST(IrregularArray, IsOneElementWithoutADim) {
    EXPECT_EQ(registersIn(readWithWarnings(
                  mapOf("<register><dimIndex>A,B</dimIndex><name>R[%s]</name>"
                        "<addressOffset>0</addressOffset></register>"),
                  "m.svd:1: warning: register 'R[%s]' has a dimIncrement or dimIndex, but no dim: it is not an array\n"
                  "m.svd:1: warning: register 'R[%s]' has a placeholder for an index, but no dim: the placeholder is "
                  "removed\n")),
              "R ");
}

TEST(IrregularArray, LeavesOutElementsOutsideTheAddressRange) {
    const auto map = [](const std::string& dim, const std::string& offset) {
        return mapOf("<register>" + element("dim", dim) + "<dimIncrement>1</dimIncrement><name>R%s</name>" +
                     element("addressOffset", offset) + "<size>8</size></register>");
    };
    const std::string warning = "m.svd:1: warning: register 'R%s' has elements with an offset that does not fit in 64 "
                                "bits: these elements are not used\n";
    const Maps::Peripheral peripheral = onlyPeripheral(readWithWarnings(map("65536", "0xFFFFFFFFFFFFFFFE"), warning));
    EXPECT_EQ(namesOf(peripheral.registers), "R0 R1 ");
    EXPECT_EQ(peripheral.registers[0].arrayElement.array->size, 65536U);
    EXPECT_EQ(registersIn(readWithWarnings(map("3", "0xFFFFFFFFFFFFFFFE"), warning)), "R0 R1 ");
    EXPECT_EQ(registersIn(read(map("2", "0xFFFFFFFFFFFFFFFE"))), "R0 R1 ");
}

TEST(IrregularArray, HasOneElementIfItsOffsetsDoNotFitIn64Bits) {
    const auto map = [](const std::string& increment) {
        return mapOf("<register><dim>3</dim>" + element("dimIncrement", increment) +
                     "<name>R%s</name><addressOffset>16</addressOffset></register>");
    };
    EXPECT_EQ(registersIn(readWithWarnings(map("0x7FFFFFFFFFFFFFFF"),
                                           "m.svd:1: warning: register 'R%s' is an array whose "
                                           "offsets do not fit in 64 bits: only its first element is used\n")),
              "R0 ");
    EXPECT_EQ(registersIn(readWithWarnings(map("0x5555555555555555"), "")), "R0 R1 R2 ");
    EXPECT_EQ(registersIn(
                  readWithWarnings(mapOf("<register><dim>2</dim><dimIncrement>0x7FFFFFFFFFFFFFFF</dimIncrement>"
                                         "<name>R%s</name><addressOffset>0x8000000000000001</addressOffset>"
                                         "</register>"),
                                   "m.svd:1: warning: register 'R%s' has elements with an offset that does not fit in "
                                   "64 bits: these elements are not used\n")),
              "R0 ");
    const std::string peripheral =
        element("peripheral", "<dim>2</dim><dimIncrement>0x7FFFFFFFFFFFFFFF</dimIncrement><name>P%s</name>"
                              "<baseAddress>0x8000000000000001</baseAddress>" +
                                  element("registers", registerOf("")));
    EXPECT_EQ(namesOf(readWithWarnings(deviceOf(peripheral),
                                       "m.svd:1: warning: peripheral 'P%s' has elements with an address that does not "
                                       "fit in 64 bits: these elements are not used\n")
                          .peripherals),
              "P0 ");
}

TEST(IrregularArray, EndsAtTheHighestBitIfItsElementsAreFields) {
    const Maps::Register aRegister = onlyRegister(readWithWarnings(
        mapOfFields("<field><dim>3</dim><dimIncrement>40000</dimIncrement><name>F%s</name>"
                    "<bitOffset>0</bitOffset></field>"),
        "m.svd:1: warning: field 'F%s' has elements with bits higher than bit 65535: these elements are not used\n"
        "m.svd:1: warning: field 'F%s' is outside the 32 bits of its register\n"));
    EXPECT_EQ(namesOf(aRegister.fields), "F0 F1 ");
}

} // namespace
} // namespace RynvelTest
