// SPDX-License-Identifier: MIT
#include "RegisterName.h"

#include "MapText.h"

namespace RynvelTest {
namespace {

using Maps::findPeripheral;
using Maps::findRegister;
using Maps::namesLike;

std::string at(const std::string& offset) { return element("addressOffset", offset); }

/** Returns a map with an array of clusters that begins at 0x10, and a register at 0x40 that has an array of fields. */
Maps::Device map() {
    const std::string inner =
        "<cluster><name>IN</name><description>C</description>" + at("8") +
        "<register><dim>2</dim><dimIncrement>4</dimIncrement><name>DATA[%s]</name>" + at("0") +
        "<dimArrayIndex><enumeratedValue><name>Left</name><value>0</value></enumeratedValue>"
        "<enumeratedValue><name>Right</name><value>1</value></enumeratedValue></dimArrayIndex></register></cluster>";
    const std::string outer = "<cluster><dim>2</dim><dimIncrement>0x10</dimIncrement><name>CH%s</name>"
                              "<description>C</description>" +
                              at("0x10") + "<register><name>CTRL</name>" + at("0") + "</register>" + inner +
                              "</cluster>";
    const std::string control = "<register><name>CONTROL</name>" + at("0x40") +
                                "<fields><field><name>MODE</name><bitRange>[3:0]</bitRange></field>"
                                "<field><dim>2</dim><dimIncrement>1</dimIncrement><dimIndex>A,B</dimIndex>"
                                "<name>PIN%s</name><bitOffset>8</bitOffset></field></fields></register>";
    return read(deviceOf("<peripheral><name>traf_top</name><prependToName>PRE_</prependToName>"
                         "<appendToName>_POST</appendToName><baseAddress>0x1000</baseAddress>" +
                         element("registers", control + outer) + "</peripheral>"));
}

std::string found(const std::string& name) {
    const Maps::Device device = map();
    const auto result = findRegister(device.peripherals[0], name);
    if (!result) {
        return "";
    }
    return result->located.name + " " + std::to_string(result->located.offset) +
           (result->field == nullptr ? "" : " " + result->field->name);
}

TEST(PeripheralName, HasAnUnderscoreForEachByteThatIsNotALetterOrDigit) {
    EXPECT_EQ(Maps::peripheralNameOf("traf.top"), "traf_top");
    EXPECT_EQ(Maps::peripheralNameOf("Common-i2c:0/x_\xC3"), "Common_i2c_0_x__");
}

TEST(Peripheral, IsFoundByTheNameOfItsDevice) {
    const Maps::Device device = map();
    EXPECT_EQ(findPeripheral(device, "traf.top"), &device.peripherals[0]);
    EXPECT_EQ(findPeripheral(device, "traf_top"), &device.peripherals[0]);
    EXPECT_EQ(findPeripheral(device, "traf"), nullptr);
    EXPECT_EQ(findPeripheral(device, "TRAF.TOP"), nullptr);
}

TEST(Registers, IncludeAllRegistersOfAPeripheralSortedByOffset) {
    std::string registers;
    const Maps::Device device = map();
    for (const Maps::LocatedRegister& located : Maps::registersOf(device.peripherals[0])) {
        registers += located.name + "@" + std::to_string(located.offset) + " ";
        EXPECT_EQ(located.contents->name, located.name.substr(located.name.rfind('.') + 1));
    }
    EXPECT_EQ(registers, "CH0.CTRL@16 CH0.IN.DATA[0]@24 CH0.IN.DATA[1]@28 CH1.CTRL@32 CH1.IN.DATA[0]@40 "
                         "CH1.IN.DATA[1]@44 CONTROL@64 ");
}

TEST(RegisterName, IsTheNameInTheMap) {
    EXPECT_EQ(found("CONTROL"), "CONTROL 64");
    EXPECT_EQ(found("CH1.CTRL"), "CH1.CTRL 32");
    EXPECT_EQ(found("CH0.IN.DATA[1]"), "CH0.IN.DATA[1] 28");
}

TEST(RegisterName, MayBeFollowedByAField) {
    EXPECT_EQ(found("CONTROL.MODE"), "CONTROL 64 MODE");
    EXPECT_EQ(found("CONTROL.PINB"), "CONTROL 64 PINB");
    EXPECT_EQ(found("CONTROL.PIN[B]"), "CONTROL 64 PINB");
}

TEST(RegisterName, MayHaveTheIndexOfAnArrayInBrackets) {
    EXPECT_EQ(found("CH[1].CTRL"), "CH1.CTRL 32");
    EXPECT_EQ(found("CH0.IN.DATA[Right]"), "CH0.IN.DATA[1] 28");
}

TEST(RegisterName, MayHaveWhatAViewerShowsAroundIt) { EXPECT_EQ(found("PRE_CONTROL_POST.MODE"), "CONTROL 64 MODE"); }

TEST(RegisterName, MayContainDots) {
    const auto named = [](const std::string& name) {
        return "<register><name>" + name + "</name>" + at("0x4") +
               "<fields><field><name>F.G</name><bitRange>[0:0]</bitRange></field></fields></register>";
    };
    const Maps::Device device =
        Maps::readMap(mapOf(named("A.B") + "<cluster><name>C.D</name><description>C</description>" + at("8") +
                            named("E.F") + "</cluster>"))
            .device.value();
    for (const std::string name : {"A.B", "C.D.E.F"}) {
        const auto whole = findRegister(device.peripherals[0], name);
        ASSERT_TRUE(whole) << name;
        EXPECT_EQ(whole->located.name, name);
        EXPECT_EQ(whole->field, nullptr);
        const auto field = findRegister(device.peripherals[0], name + ".F.G");
        ASSERT_TRUE(field) << name;
        EXPECT_EQ(field->located.name, name);
        EXPECT_EQ(field->field->name, "F.G");
    }
    EXPECT_FALSE(findRegister(device.peripherals[0], "C.D"));
    EXPECT_FALSE(findRegister(device.peripherals[0], "A.B.F"));
}

std::string arrayAt(const std::string& name, const std::string& offset) {
    return "<register><dim>2</dim><dimIncrement>4</dimIncrement>" + element("name", name) + at(offset) + "</register>";
}

std::string registerAt(const std::string& name, const std::string& offset, const std::string& further = "") {
    return "<register>" + element("name", name) + at(offset) + further + "</register>";
}

/** Returns the offset of the register that a name selects in a map of registers, or UINT64_MAX if there is none. */
std::uint64_t offsetOf(const std::string& name, const std::string& registers) {
    const Maps::Device device = Maps::readMap(mapOf(registers)).device.value();
    const auto result = findRegister(device.peripherals[0], name);
    return result ? result->located.offset : UINT64_MAX;
}

TEST(RegisterName, PrefersANameInTheMapToAnArrayIndex) {
    EXPECT_EQ(offsetOf("IRQ[1]", arrayAt("IRQ%s", "0") + registerAt("IRQ[1]", "0x20")), 0x20U);
    EXPECT_EQ(offsetOf("IRQ[0]", arrayAt("IRQ%s", "0") + registerAt("IRQ[1]", "0x20")), 0U);
    const auto cluster = [](const std::string& array, const std::string& name, const std::string& offset) {
        return "<cluster>" + array + element("name", name) + "<description>C</description>" + at(offset) +
               arrayAt("IRQ%s", "0") + registerAt("IRQ[1]", "8") + "</cluster>";
    };
    const std::string clusters = cluster("<dim>2</dim><dimIncrement>0x10</dimIncrement>", "CH%s", "0x20");
    EXPECT_EQ(offsetOf("CH[1].IRQ[1]", clusters), 0x38U);
    EXPECT_EQ(offsetOf("CH[1].IRQ[1]", clusters + cluster("", "CH[1]", "0x100")), 0x108U);
}

TEST(FieldName, PrefersANameInTheMapToAnArrayIndex) {
    const Maps::Register aRegister = onlyRegister(
        deviceIn(Maps::readMap(mapOfFields("<field><dim>2</dim><dimIncrement>1</dimIncrement><name>P%s</name>"
                                           "<bitOffset>0</bitOffset></field>"
                                           "<field><name>P[1]</name><bitOffset>7</bitOffset></field>"))));
    EXPECT_EQ(Maps::findField(aRegister, "P[1]")->lsb, 7U);
    EXPECT_EQ(Maps::findField(aRegister, "P[0]")->lsb, 0U);
}

TEST(RegisterName, SelectsTheLowestOffsetIfSeveralRegistersHaveIt) {
    const std::string high = registerAt("R", "8", "<fields>" + fieldOf("") + "</fields>");
    const std::string low = registerAt("R", "4", "<alternateGroup>G</alternateGroup>");
    EXPECT_EQ(offsetOf("R", high + low), 4U);
    EXPECT_EQ(offsetOf("R", low + high), 4U);
    EXPECT_EQ(offsetOf("R.F", high + low), UINT64_MAX);
    EXPECT_EQ(offsetOf("R[0]", arrayAt("R%s", "0x40") + arrayAt("R%s", "0x20")), 0x20U);
    const auto cluster = [](const std::string& offset) {
        return "<cluster><name>C</name><description>C</description>" + at(offset) + registerAt("R", "0") + "</cluster>";
    };
    EXPECT_EQ(offsetOf("C.R", cluster("0x40") + cluster("0x20") + registerAt("C.R", "0x30")), 0x20U);
}

TEST(RegisterName, RefusesOtherTexts) {
    for (const char* const name : {"",
                                   ".",
                                   "CONTROL.",
                                   ".CONTROL",
                                   "CONTROL.MODE.X",
                                   "CONTROL..MODE",
                                   "CTRL",
                                   "CH0",
                                   "CH0.IN",
                                   "CH2.CTRL",
                                   "CH[2].CTRL",
                                   "CH[].CTRL",
                                   "CH].CTRL",
                                   "CH[.CTRL",
                                   "CH[1.CTRL",
                                   "CH0.IN.DATA",
                                   "CH0.IN.DATA[2]",
                                   "CH0.IN.DATA[Middle]",
                                   "control",
                                   "CONTROL.mode",
                                   "PRE_CONTROL",
                                   "CONTROL.PIN[C]"}) {
        EXPECT_EQ(found(name), "") << name;
    }
}

std::string like(const std::string& name) {
    std::string names;
    const Maps::Device device = map();
    for (const std::string& each : namesLike(device.peripherals[0], name)) {
        names += each + " ";
    }
    return names;
}

TEST(UnknownName, IsComparedWithoutCase) {
    EXPECT_EQ(like("CONTROLX"), "CONTROL ");
    EXPECT_EQ(like("control"), "CONTROL ");
    EXPECT_EQ(like("ch1.ctlr"), "CH1.CTRL ");
    EXPECT_EQ(like("nothing"), "");
}

TEST(UnknownName, IsComparedWithTheFieldsOfAKnownRegister) {
    EXPECT_EQ(like("CONTROL.MOED"), "CONTROL.MODE ");
    EXPECT_EQ(like("CONTROL.pinc"), "CONTROL.PINA CONTROL.PINB ");
}

TEST(UnknownName, HasAtMostThreeSimilarNames) { EXPECT_EQ(like("CH0.IN.DATA[2]"), "CH0.IN.DATA[0] CH0.IN.DATA[1] "); }

TEST(UnknownName, HasTheFirstThreeOfManySimilarNames) {
    const Maps::Device device =
        read(mapOf("<register><dim>9</dim><dimIncrement>4</dimIncrement><name>REG%s</name>" + at("0") + "</register>"));
    EXPECT_EQ(namesLike(device.peripherals[0], "REG9"), (std::vector<std::string>{"REG0", "REG1", "REG2"}));
}

} // namespace
} // namespace RynvelTest
