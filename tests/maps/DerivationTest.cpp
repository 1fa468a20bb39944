// SPDX-License-Identifier: MIT
#include "MapText.h"

namespace RynvelTest {
namespace {

/** Returns an element that is derived from the element `from`. */
std::string derived(const std::string& tag, const std::string& from, const std::string& content) {
    return "<" + tag + " derivedFrom=\"" + from + "\">" + content + "</" + tag + ">";
}

std::string named(const std::string& tag, const std::string& name, const std::string& content) {
    return element(tag, element("name", name) + content);
}

using RynvelTest::named;

const std::string at0 = "<addressOffset>0</addressOffset>";
const std::string at4 = "<addressOffset>4</addressOffset>";
const std::string at8 = "<addressOffset>8</addressOffset>";
const std::string described = "<description>C</description>";

TEST(DerivedPeripheral, InheritsEverythingExceptItsName) {
    const Maps::Device device =
        read(deviceOf(named("peripheral", "A",
                            "<description>An A</description><headerStructName>S</headerStructName>"
                            "<alternatePeripheral>Z</alternatePeripheral>"
                            "<prependToName>PRE_</prependToName><appendToName>_POST</appendToName>"
                            "<baseAddress>0x1000</baseAddress><access>read-only</access>"
                            "<addressBlock><offset>0</offset><size>0x10</size><usage>buffer</usage></addressBlock>"
                            "<interrupt><name>I</name><value>3</value></interrupt>" +
                                element("registers", registerOf(""))) +
                      derived("peripheral", "A", "<name>B</name><baseAddress>0x2000</baseAddress>")));
    const Maps::Peripheral& b = named(device.peripherals, "B");
    EXPECT_EQ(b.baseAddress, 0x2000U);
    EXPECT_EQ(b.description.str(), "An A");
    EXPECT_EQ(b.headerStructName, "S");
    EXPECT_EQ(b.alternatePeripheral, "Z");
    EXPECT_EQ(b.prependToName, "PRE_");
    EXPECT_EQ(b.appendToName, "_POST");
    EXPECT_EQ(b.addressBlocks.size(), 1U);
    EXPECT_EQ(b.interrupts.size(), 1U);
    EXPECT_EQ(named(b.registers, "R").access, Maps::Access::ReadOnly);
}

TEST(DerivedPeripheral, AppliesItsOwnPropertiesToInheritedRegisters) {
    const Maps::Device device = read(deviceOf(
        peripheralOf(registerOf("")) +
        derived("peripheral", "P", "<name>B</name><baseAddress>0x2000</baseAddress><access>write-only</access>")));
    EXPECT_EQ(named(named(device.peripherals, "P").registers, "R").access, Maps::Access::ReadWrite);
    EXPECT_EQ(named(named(device.peripherals, "B").registers, "R").access, Maps::Access::WriteOnly);
}

TEST(DerivedPeripheral, AddsAndReplacesRegisters) {
    const Maps::Device device =
        read(deviceOf(peripheralOf(registerOf("") + named("register", "S", at4)) +
                      derived("peripheral", "P",
                              "<name>B</name><baseAddress>0</baseAddress>" +
                                  element("registers", named("register", "T", at8) +
                                                           named("register", "R", at0 + "<size>8</size>")))));
    const Maps::Peripheral& b = named(device.peripherals, "B");
    EXPECT_EQ(namesOf(b.registers), "S T R ");
    EXPECT_EQ(named(b.registers, "R").size, 8U);
    EXPECT_EQ(namesOf(named(device.peripherals, "P").registers), "R S ");
}

TEST(DerivedPeripheral, MayPrecedeItsBase) {
    const Maps::Device device = read(deviceOf(
        derived("peripheral", "P", "<name>B</name><baseAddress>0x2000</baseAddress>") + peripheralOf(registerOf(""))));
    EXPECT_EQ(namesOf(named(device.peripherals, "B").registers), "R ");
}

TEST(DerivedPeripheral, MayHaveADerivedBase) {
    const Maps::Device device = read(deviceOf(
        derived("peripheral", "B", "<name>C</name><baseAddress>0x3000</baseAddress>") +
        derived("peripheral", "P", "<name>B</name><baseAddress>0x2000</baseAddress>") + peripheralOf(registerOf(""))));
    EXPECT_EQ(namesOf(named(device.peripherals, "C").registers), "R ");
}

TEST(DerivedCluster, InheritsEverything) {
    const Maps::Peripheral peripheral =
        onlyPeripheral(read(mapOf(named("cluster", "A",
                                        "<description>An A</description><alternateCluster>Z</alternateCluster>"
                                        "<headerStructName>S</headerStructName>" +
                                            at0 + "<access>read-only</access>" + registerOf("") +
                                            named("cluster", "IN", described + at4 + registerOf(""))) +
                                  derived("cluster", "A", "<name>B</name><addressOffset>16</addressOffset>"))));
    const Maps::Cluster& b = named(peripheral.clusters, "B");
    EXPECT_EQ(b.offset, 16U);
    EXPECT_EQ(b.description.str(), "An A");
    EXPECT_EQ(b.alternateCluster, "Z");
    EXPECT_EQ(b.headerStructName, "S");
    EXPECT_EQ(named(b.registers, "R").access, Maps::Access::ReadOnly);
    EXPECT_EQ(named(b.clusters, "IN").offset, 4U);
}

const std::string full =
    "<displayName>D</displayName><description>An A</description><size>16</size><access>read-only</access>"
    "<protection>s</protection><resetValue>1</resetValue><resetMask>3</resetMask>"
    "<modifiedWriteValues>oneToSet</modifiedWriteValues>"
    "<writeConstraint><writeAsRead>true</writeAsRead></writeConstraint><readAction>clear</readAction>"
    "<fields><field><name>F</name><bitOffset>0</bitOffset></field></fields>";

void expectFull(const Maps::Register& aRegister) {
    EXPECT_EQ(aRegister.displayName, "D");
    EXPECT_EQ(aRegister.description.str(), "An A");
    EXPECT_EQ(aRegister.size, 16U);
    EXPECT_EQ(aRegister.access, Maps::Access::ReadOnly);
    EXPECT_EQ(aRegister.protection, Maps::Protection::Secure);
    EXPECT_EQ(aRegister.resetValue, 1U);
    EXPECT_EQ(aRegister.resetMask, 3U);
    EXPECT_EQ(aRegister.modifiedWrite, Maps::ModifiedWrite::OneToSet);
    EXPECT_TRUE(aRegister.writeConstraint);
    EXPECT_EQ(aRegister.readAction, Maps::ReadAction::Clear);
    EXPECT_EQ(namesOf(aRegister.fields), "F ");
}

TEST(DerivedRegister, InheritsEverything) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        read(mapOf(named("register", "A", at0 + full) + derived("register", "A", "<name>B</name>" + at4))));
    const Maps::Register& b = named(peripheral.registers, "B");
    EXPECT_EQ(b.offset, 4U);
    expectFull(b);
}

TEST(DerivedRegister, InheritsTheAlternateGroup) {
    const Maps::Peripheral peripheral =
        onlyPeripheral(read(mapOf(named("register", "A", "<alternateGroup>G</alternateGroup>" + at0) +
                                  derived("register", "A", "<name>B</name>" + at4))));
    EXPECT_EQ(named(peripheral.registers, "B").alternateGroup, "G");
}

TEST(DerivedRegister, ReplacesTheElementsThatItContains) {
    const Maps::Peripheral peripheral = onlyPeripheral(read(
        mapOf(named("register", "A", at0 + full) +
              derived("register", "A",
                      "<name>B</name>" + at4 +
                          "<access>write-only</access><fields><field><name>G</name><bitOffset>1</bitOffset></field>"
                          "<field><name>F</name><bitOffset>3</bitOffset></field></fields>"))));
    const Maps::Register& b = named(peripheral.registers, "B");
    EXPECT_EQ(b.access, Maps::Access::WriteOnly);
    EXPECT_EQ(b.resetValue, 1U);
    EXPECT_EQ(namesOf(b.fields), "G F ");
    EXPECT_EQ(named(b.fields, "F").lsb, 3U);
}

TEST(DerivedRegister, FindsItsBaseByItsPath) {
    const std::string inner = named("cluster", "IN", described + at0 + named("register", "A", at0 + full));
    const std::string first =
        named("peripheral", "Q",
              "<baseAddress>0</baseAddress>" + element("registers", named("cluster", "OUT", described + at0 + inner)));
    const Maps::Device device =
        read(deviceOf(first + peripheralOf(derived("register", "Q.OUT.IN.A", "<name>B</name>" + at0))));
    expectFull(named(named(device.peripherals, "P").registers, "B"));
}

TEST(DerivedRegister, FindsItsBaseAmongInheritedRegisters) {
    const Maps::Device device =
        read(deviceOf(peripheralOf(named("register", "A", at0 + full)) +
                      derived("peripheral", "P",
                              "<name>Q</name><baseAddress>0</baseAddress>" +
                                  element("registers", derived("register", "A", "<name>B</name>" + at4))) +
                      named("peripheral", "T",
                            "<baseAddress>0</baseAddress>" +
                                element("registers", derived("register", "Q.A", "<name>C</name>" + at4)))));
    expectFull(named(named(device.peripherals, "Q").registers, "B"));
    expectFull(named(named(device.peripherals, "T").registers, "C"));
}

TEST(DerivedRegister, MayHaveAnArrayOrAnElementAsItsBase) {
    const auto array = [](const std::string& name, const std::string& further) {
        return named("register", name, "<dim>3</dim><dimIncrement>4</dimIncrement>" + further + at0 + full);
    };
    const std::string counted = array("A[%s]", "");
    const std::string listed = array("A%sZ", "<dimIndex>X,Y,Z</dimIndex>");
    for (const auto& [base, from] : std::vector<std::pair<std::string, std::string>>{
             {counted, "A[%s]"}, {counted, "A[2]"}, {counted, "A"}, {listed, "A%sZ"}, {listed, "AYZ"}}) {
        const Maps::Peripheral peripheral = onlyPeripheral(
            read(mapOf(base + derived("register", from, "<name>B</name><addressOffset>64</addressOffset>"))));
        expectFull(named(peripheral.registers, "B"));
    }
}

TEST(DerivedRegister, CannotHaveAnElementOutsideAnArrayAsItsBase) {
    const std::string counted = named("register", "A[%s]", "<dim>2</dim><dimIncrement>4</dimIncrement>" + at0);
    const std::string listed =
        named("register", "A%s", "<dim>2</dim><dimIncrement>4</dimIncrement><dimIndex>X,Y</dimIndex>" + at0);
    for (const auto& [base, from] : std::vector<std::pair<std::string, std::string>>{
             {counted, "A[2]"}, {counted, "A[00]"}, {counted, "A[]"}, {counted, "A["}, {listed, "AZ"}}) {
        readWithWarnings(mapOf(base + derived("register", from, "<name>B</name><addressOffset>64</addressOffset>")),
                         "m.svd:1: warning: register 'B' is derived from '" + from +
                             "', which is not a register of the map\n");
    }
}

TEST(DerivedRegister, IsAnArrayIfItsNameHasAnIndexPlaceholder) {
    const auto map = [](const std::string& name) {
        return mapOf(
            named("register", "A%s", "<dim>2</dim><dimIncrement>4</dimIncrement><dimIndex>X,Y</dimIndex>" + at0) +
            derived("register", "A%s", element("name", name) + "<addressOffset>64</addressOffset>"));
    };
    EXPECT_EQ(namesOf(onlyPeripheral(read(map("B%s"))).registers), "AX AY BX BY ");
    EXPECT_EQ(namesOf(onlyPeripheral(read(map("B"))).registers), "AX AY B ");
}

std::string derivedFields(const std::string& base, const std::string& own) {
    return mapOfFields(named("field", "A", base) + derived("field", "A", "<name>B</name>" + own));
}

TEST(DerivedField, InheritsEverything) {
    const Maps::Register aRegister = onlyRegister(read(derivedFields(
        "<description>An A</description><bitRange>[3:0]</bitRange><access>read-only</access>"
        "<modifiedWriteValues>oneToSet</modifiedWriteValues><readAction>clear</readAction>"
        "<enumeratedValues><enumeratedValue><name>V</name><value>1</value></enumeratedValue></enumeratedValues>",
        "<bitRange>[15:12]</bitRange>")));
    const Maps::Field& b = named(aRegister.fields, "B");
    EXPECT_EQ(b.lsb, 12U);
    EXPECT_EQ(b.msb, 15U);
    EXPECT_EQ(b.description.str(), "An A");
    EXPECT_EQ(b.access, Maps::Access::ReadOnly);
    EXPECT_EQ(b.modifiedWrite, Maps::ModifiedWrite::OneToSet);
    EXPECT_EQ(b.readAction, Maps::ReadAction::Clear);
    ASSERT_EQ(b.enumerations.size(), 1U);
    EXPECT_EQ(namesOf(b.enumerations[0].values), "V ");
}

TEST(DerivedField, KeepsItsWidthAtAnotherOffset) {
    for (const std::string base :
         {"<bitRange>[3:0]</bitRange>", "<lsb>0</lsb><msb>3</msb>", "<bitOffset>0</bitOffset><bitWidth>4</bitWidth>"}) {
        for (const std::string own : {"<bitOffset>8</bitOffset>", "<lsb>8</lsb>"}) {
            const Maps::Register aRegister = onlyRegister(read(derivedFields(base, own)));
            EXPECT_EQ(named(aRegister.fields, "B").lsb, 8U) << base << own;
            EXPECT_EQ(named(aRegister.fields, "B").msb, 11U) << base << own;
        }
    }
}

TEST(DerivedField, FindsItsBaseByItsPath) {
    const Maps::Device device =
        read(mapOf(registerOf("<fields><field><name>A</name><bitRange>[3:1]</bitRange></field></fields>") +
                   named("register", "S", at4 + element("fields", derived("field", "P.R.A", "<name>B</name>")))));
    const Maps::Peripheral peripheral = onlyPeripheral(device);
    EXPECT_EQ(named(named(peripheral.registers, "S").fields, "B").msb, 3U);
}

const std::string onOff = "<enumeratedValue><name>Off</name><value>0</value></enumeratedValue>"
                          "<enumeratedValue><name>On</name><value>1</value></enumeratedValue>";

/** Returns a map of two peripherals with one field each. The second field has derived values. */
std::string derivedValues(const std::string& from, const std::string& further = "") {
    const auto field = [](const std::string& name, const std::string& bit, const std::string& values) {
        return named("field", name, element("bitOffset", bit) + values);
    };
    const std::string values =
        "<enumeratedValues><name>Switch</name><usage>read</usage>" + onOff + "</enumeratedValues>";
    return deviceOf(
        peripheralOf(registerOf(element("fields", field("A", "0", values)))) +
        named(
            "peripheral", "Q",
            "<baseAddress>0</baseAddress>" +
                element("registers",
                        named("register", "S",
                              at0 + element("fields", field("B", "0", derived("enumeratedValues", from, further)))))));
}

TEST(DerivedValues, FindTheirBaseByAnyEndOfItsPath) {
    for (const std::string from : {"Switch", "A.Switch", "R.A.Switch", "P.R.A.Switch"}) {
        const Maps::Device device = read(derivedValues(from));
        const Maps::Field field = named(named(named(device.peripherals, "Q").registers, "S").fields, "B");
        ASSERT_EQ(field.enumerations.size(), 1U) << from;
        EXPECT_EQ(namesOf(field.enumerations[0].values), "Off On ") << from;
        EXPECT_EQ(field.enumerations[0].name, "Switch");
        EXPECT_EQ(field.enumerations[0].usage, Maps::Usage::Read);
    }
}

TEST(DerivedValues, KeepTheirOwnNameAndUsage) {
    const Maps::Device device = read(derivedValues("Switch", "<name>Own</name><usage>write</usage>"));
    const Maps::Field field = named(named(named(device.peripherals, "Q").registers, "S").fields, "B");
    EXPECT_EQ(field.enumerations[0].name, "Own");
    EXPECT_EQ(field.enumerations[0].usage, Maps::Usage::Write);
}

TEST(DerivedValues, MayBeDerivedFromDerivedValues) {
    const auto field = [](const std::string& name, const std::string& bit, const std::string& values) {
        return named("field", name, element("bitOffset", bit) + values);
    };
    const Maps::Device device = read(mapOf(registerOf(
        element("fields", field("A", "0", named("enumeratedValues", "First", onOff)) +
                              field("B", "1", derived("enumeratedValues", "First", "<name>Second</name>")) +
                              field("C", "2", derived("enumeratedValues", "Second", "<name>Third</name>")) +
                              field("D", "3", derived("enumeratedValues", "Third", "<name>Fourth</name>"))))));
    const Maps::Register aRegister = onlyRegister(device);
    for (const std::string name : {"B", "C", "D"}) {
        ASSERT_EQ(named(aRegister.fields, name).enumerations.size(), 1U) << name;
        EXPECT_EQ(namesOf(named(aRegister.fields, name).enumerations[0].values), "Off On ") << name;
    }
}

TEST(DerivedValues, PreferTheNearestBaseOfTheirName) {
    const auto field = [](const std::string& name, const std::string& bit, const std::string& content) {
        return named("field", name, element("bitOffset", bit) + content);
    };
    const auto values = [](const std::string& name) {
        return "<enumeratedValues><name>E</name><enumeratedValue>" + element("name", name) +
               "<value>1</value></enumeratedValue></enumeratedValues>";
    };
    const Maps::Device device =
        read(mapOf(registerOf(element("fields", field("A", "0", values("Far")))) +
                   named("register", "S",
                         at4 + element("fields", field("B", "0", derived("enumeratedValues", "E", "")) +
                                                     field("C", "1", values("Near"))))));
    const Maps::Peripheral peripheral = onlyPeripheral(device);
    const Maps::Field& b = named(named(peripheral.registers, "S").fields, "B");
    EXPECT_EQ(namesOf(b.enumerations[0].values), "Near ");
}

TEST(DerivedValues, FindTheirBaseAmongInheritedFields) {
    const Maps::Device device = read(deviceOf(
        derived("peripheral", "P", "<name>T</name><baseAddress>0x3000</baseAddress>") +
        peripheralOf(registerOf("<fields><field><name>A</name><bitOffset>0</bitOffset><enumeratedValues>"
                                "<name>E</name>" +
                                onOff + "</enumeratedValues></field></fields>")) +
        named("peripheral", "Q",
              "<baseAddress>0</baseAddress>" +
                  element("registers", registerOf("<fields><field><name>B</name><bitOffset>0</bitOffset>" +
                                                  derived("enumeratedValues", "T.R.A.E", "") + "</field></fields>")))));
    const Maps::Peripheral& q = named(device.peripherals, "Q");
    EXPECT_EQ(namesOf(named(named(q.registers, "R").fields, "B").enumerations[0].values), "Off On ");
}

TEST(IrregularDerivation, InheritsNothingFromAnUnknownName) {
    readWithWarnings(deviceOf(peripheralOf(registerOf("")) + "\n" +
                              derived("peripheral", "X", "<name>Q</name><baseAddress>0</baseAddress>")),
                     "m.svd:2: warning: peripheral 'Q' has no registers\n"
                     "m.svd:2: warning: peripheral 'Q' is derived from 'X', which is not a peripheral of the map\n");
    readWithWarnings(mapOf(registerOf("") + derived("register", "P.X.R", "<name>S</name>" + at4)),
                     "m.svd:1: warning: register 'S' is derived from 'P.X.R', which is not a register of the map\n");
    readWithWarnings(mapOf(registerOf("") + derived("register", "S", "<name>S</name>" + at4)),
                     "m.svd:1: warning: register 'S' is derived from 'S', which is not a register of the map\n");
    readWithWarnings(mapOf(registerOf("") + derived("register", "..", "<name>S</name>" + at4)),
                     "m.svd:1: warning: register 'S' is derived from '..', which is not a register of the map\n");
}

TEST(IrregularDerivation, InheritsNothingFromAnEmptyOrLongName) {
    const std::string warning =
        "m.svd:1: warning: attribute 'derivedFrom' is empty or longer than 1024 characters, and is not used\n";
    readWithWarnings(mapOf(derived("register", " ", "<name>S</name>" + at4)), warning);
    readWithWarnings(mapOf(derived("register", std::string(1025, 'x'), "<name>S</name>" + at4)), warning);
}

TEST(IrregularDerivation, IsCutIfItIsCircular) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        readWithWarnings(mapOf(derived("register", "B", "<name>A</name>" + at0 + "<access>read-only</access>") + "\n" +
                               derived("register", "C", "<name>B</name>" + at4) + "\n" +
                               derived("register", "A", "<name>C</name>" + at8 + "<size>16</size>")),
                         "m.svd:1: warning: register 'A' is derived from itself: derivedFrom is not used\n"));
    EXPECT_EQ(namesOf(peripheral.registers), "A B C ");
}

TEST(IrregularDerivation, FindsNoValuesAtAWrongPath) {
    for (const std::string from : {"X", "R.A.X", "P.R.X.Switch", "."}) {
        const Maps::Device device =
            readWithWarnings(derivedValues(from), "m.svd:1: warning: element 'enumeratedValues' is derived from '" +
                                                      from + "', for which the map has no enumerated values\n");
        const Maps::Field field = named(named(named(device.peripherals, "Q").registers, "S").fields, "B");
        EXPECT_TRUE(field.enumerations.empty());
    }
    readWithWarnings(derivedValues("Own", "<name>Own</name>"),
                     "m.svd:1: warning: element 'enumeratedValues' is derived from "
                     "'Own', for which the map has no enumerated values\n");
}

TEST(IrregularDerivation, IsNotUsedForElementsThatContainValues) {
    const Maps::Device device = readWithWarnings(
        derivedValues("Switch", "<enumeratedValue><name>Own</name><value>1</value></enumeratedValue>"),
        "m.svd:1: warning: element 'enumeratedValues' is derived and also contains values: the values are used\n");
    const Maps::Field field = named(named(named(device.peripherals, "Q").registers, "S").fields, "B");
    EXPECT_EQ(namesOf(field.enumerations[0].values), "Own ");
}

TEST(Derivation, MayHaveAnyNumberOfSteps) {
    constexpr int count = 2000;
    std::string registers;
    for (int i = 0; i < count; ++i) {
        registers +=
            derived("register", "R" + std::to_string(i + 1),
                    element("name", "R" + std::to_string(i)) + element("addressOffset", std::to_string(4 * i)));
    }
    registers += named("register", "R" + std::to_string(count), "<addressOffset>0xFFFFF0</addressOffset>" + full);
    expectFull(onlyPeripheral(read(mapOf(registers))).registers[0]);
}

TEST(Derivation, MayHaveAnyNumberOfPaths) {
    constexpr int count = 20000;
    std::string clusters;
    for (int i = 0; i < count; ++i) {
        clusters +=
            derived("cluster", "P.C" + std::to_string(i + 1) + ".IN", element("name", "C" + std::to_string(i)) + at0);
    }
    const Maps::ReadMap map = Maps::readMap(mapOf(clusters + registerOf("")));
    EXPECT_EQ(onlyPeripheral(deviceIn(map)).clusters.size(), static_cast<std::size_t>(count));
    EXPECT_NE(diagnosticsOf(map).find("cluster 'C0' is derived from 'P.C1.IN', which is not a cluster of the map"),
              std::string::npos);
}

} // namespace
} // namespace RynvelTest
