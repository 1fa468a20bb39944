// SPDX-License-Identifier: MIT
#include <fstream>

#include "MapText.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Maps::readMap;
using Maps::readMapFile;

TEST(Map, HasThePropertiesOfTheDevice) {
    const Maps::Device device = read(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!-- a comment -->\n"
        "<device schemaVersion=\"1.3\" xmlns:xs=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xs:noNamespaceSchemaLocation=\"CMSIS-SVD.xsd\"><vendor>V</vendor><vendorID>V</vendorID><name>D</name>"
        "<series>S</series><version>1.2</version><description>A\n\t device</description><licenseText>L</licenseText>"
        "<cpu><name>CM0</name><anything/></cpu><headerSystemFilename>s</headerSystemFilename>"
        "<headerDefinitionsPrefix>p_</headerDefinitionsPrefix><addressUnitBits>16</addressUnitBits><width>64</width>"
        "<size>32</size><access>read-write</access>"
        "<peripherals>" +
        peripheralOf(registerOf("")) +
        "</peripherals><vendorExtensions><x y=\"1\">any</x></vendorExtensions></device>");
    EXPECT_EQ(device.name, "D");
    EXPECT_EQ(device.version, "1.2");
    EXPECT_EQ(device.description.str(), "A device");
    EXPECT_EQ(device.addressUnitBits, 16U);
    EXPECT_EQ(device.width, 64U);
    EXPECT_EQ(namesOf(device.peripherals), "P ");
}

TEST(Map, HasThePropertiesOfAPeripheral) {
    const Maps::Peripheral peripheral = onlyPeripheral(read(deviceOf(
        "<peripheral><name>P</name><version>1</version><description>A\n P</description>"
        "<alternatePeripheral>Q</alternatePeripheral><groupName>G</groupName><prependToName>a</prependToName>"
        "<appendToName>b</appendToName><headerStructName>S</headerStructName>"
        "<disableCondition>1 == 0</disableCondition><baseAddress>0x40000000</baseAddress>"
        "<addressBlock><offset>4</offset><size>8</size><usage>reserved</usage><protection>n</protection></addressBlock>"
        "<addressBlock><offset>0</offset><size>1k</size><usage>registers</usage></addressBlock>"
        "<interrupt><name>I</name><description>An I</description><value>7</value></interrupt>"
        "<interrupt><name>J</name><value>-2</value></interrupt>" +
        element("registers", registerOf("")) + "</peripheral>")));
    EXPECT_EQ(peripheral.description.str(), "A P");
    EXPECT_EQ(peripheral.alternatePeripheral, "Q");
    EXPECT_EQ(peripheral.prependToName, "a");
    EXPECT_EQ(peripheral.appendToName, "b");
    EXPECT_EQ(peripheral.headerStructName, "S");
    EXPECT_EQ(peripheral.baseAddress, 0x40000000U);
    ASSERT_EQ(peripheral.addressBlocks.size(), 2U);
    EXPECT_EQ(peripheral.addressBlocks[0].offset, 4U);
    EXPECT_EQ(peripheral.addressBlocks[0].usage, Maps::AddressBlock::Usage::Reserved);
    EXPECT_EQ(peripheral.addressBlocks[0].protection, Maps::Protection::NonSecure);
    EXPECT_EQ(peripheral.addressBlocks[1].size, 1024U);
    EXPECT_EQ(peripheral.addressBlocks[1].usage, Maps::AddressBlock::Usage::Registers);
    ASSERT_EQ(namesOf(peripheral.interrupts), "I J ");
    EXPECT_EQ(peripheral.interrupts[0].description, "An I");
    EXPECT_EQ(peripheral.interrupts[0].value, 7);
    EXPECT_EQ(peripheral.interrupts[1].value, -2);
}

TEST(Map, HasClustersInClusters) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        read(mapOf("<cluster><name>A</name><description>An A</description><alternateCluster>X</alternateCluster>"
                   "<headerStructName>S</headerStructName><addressOffset>0x10</addressOffset>"
                   "<cluster><name>B</name><description>A B</description><addressOffset>4</addressOffset>" +
                   registerOf("") + "</cluster></cluster>")));
    const Maps::Cluster& a = named(peripheral.clusters, "A");
    EXPECT_EQ(a.description.str(), "An A");
    EXPECT_EQ(a.alternateCluster, "X");
    EXPECT_EQ(a.headerStructName, "S");
    EXPECT_EQ(a.offset, 0x10U);
    const Maps::Cluster& b = named(a.clusters, "B");
    EXPECT_EQ(b.offset, 4U);
    EXPECT_EQ(namesOf(b.registers), "R ");
}

TEST(Map, HasTheLineNumbersOfItsElements) {
    const Maps::Peripheral peripheral = onlyPeripheral(
        read(deviceOf("\n" + peripheralOf("\n\n" + registerOf("<fields>\r\n" + fieldOf("") + "</fields>")))));
    EXPECT_EQ(peripheral.line, 2U);
    EXPECT_EQ(peripheral.registers[0].line, 4U);
    EXPECT_EQ(peripheral.registers[0].fields[0].line, 5U);
}

TEST(Map, MayHaveCommentsAndSectionsInItsTexts) {
    const Maps::Register aRegister =
        onlyRegister(read(mapOf("<register><name><![CDATA[]]>R<!-- not S --></name><description>one<!-- two --> "
                                "three<![CDATA[ <4> ]]>&amp; 5 &#54;"
                                "</description><addressOffset><!-- nothing -->4</addressOffset></register>")));
    EXPECT_EQ(aRegister.name, "R");
    EXPECT_EQ(aRegister.description.str(), "one three <4> & 5 6");
    EXPECT_EQ(aRegister.offset, 4U);
}

TEST(Map, MayBeInAnotherEncoding) {
    const std::string text = mapOf(registerOf("<description>\xC2\xB5s</description>\n<unknown/>"));
    std::string wide = std::string("\xFF\xFE", 2);
    for (std::size_t i = 0; i < text.size(); ++i) {
        wide += text[i] == '\xC2' ? "" : std::string(1, text[i]) + std::string(1, '\0');
    }
    EXPECT_EQ(
        onlyRegister(
            readWithWarnings(wide, "m.svd:2: warning: element 'unknown' is not part of the format, and is not used\n"))
            .description.str(),
        "\xC2\xB5s");
}

TEST(Map, IsReadAsLatin1WithoutADeclaredEncoding) {
    EXPECT_EQ(onlyRegister(readWithWarnings(mapOf(registerOf("<description>\xB5s</description>")),
                                            "m.svd: warning: the file is not UTF-8, and was read as ISO-8859-1\n"))
                  .description.str(),
              "\xC2\xB5s");
}

TEST(MapFile, IsRead) {
    const TemporaryWorkingFolder folder;
    const std::string name = "m.svd";
    std::ofstream(name) << mapOf(registerOf(""));
    const Maps::ReadMap map = readMapFile(name);
    EXPECT_EQ(diagnosticsOf(map), "");
    EXPECT_EQ(onlyRegister(deviceIn(map)).name, "R");
}

TEST(MapFile, IsReadToTheEndIfItIsLong) {
    const TemporaryWorkingFolder folder;
    const std::string name = "m.svd";
    std::ofstream(name) << mapOf(registerOf("") + std::string(65536 * 2, ' '));
    EXPECT_EQ(onlyRegister(deviceIn(readMapFile(name))).name, "R");
}

void expectFileError(const std::string& name, const std::string& error, const Maps::Limits& limits = {}) {
    const Maps::ReadMap map = readMapFile(name, limits);
    EXPECT_FALSE(map.device);
    EXPECT_EQ(diagnosticsOf(map), error);
}

TEST(MapFile, FailsIfItIsMissing) { expectFileError("/nowhere/m.svd", "m.svd: error: No such file or directory\n"); }

TEST(MapFile, FailsIfItIsAFolder) { expectFileError("/tmp", "m.svd: error: Is a directory\n"); }

TEST(MapFile, FailsIfItHasNoEnd) {
    Maps::Limits limits;
    limits.bytes = 100000;
    expectFileError("/dev/zero", "m.svd: error: the file has more than 100000 bytes\n", limits);
}

TEST(Diagnostics, AreSortedByLine) {
    const Maps::ReadMap map =
        readMap(deviceOf("<b/>\n\n<c/><a/>" + peripheralOf(registerOf("<size>7</size>"))) + "\n<d/>");
    EXPECT_EQ(diagnosticsOf(map), "m.svd:1: warning: element 'b' is not part of the format, and is not used\n"
                                  "m.svd:3: warning: element 'a' is not part of the format, and is not used\n"
                                  "m.svd:3: warning: element 'c' is not part of the format, and is not used\n"
                                  "m.svd:3: warning: register 'R' has 7 bits (8, 16, 32 or 64 are usual)\n"
                                  "m.svd:4: warning: element 'd' after the end of the map is not used\n");
}

TEST(Diagnostics, AreCountedAboveTheirLimit) {
    Maps::Limits limits;
    limits.warnings = 2;
    EXPECT_EQ(diagnosticsOf(readMap(deviceOf("<a/><b/><a/><c/><d/>" + peripheralOf(registerOf(""))), limits)),
              "m.svd:1: warning: element 'a' is not part of the format, and is not used\n"
              "m.svd:1: warning: element 'b' is not part of the format, and is not used\n"
              "m.svd: warning: 2 further warnings are not shown\n");
    limits.warnings = 0;
    EXPECT_EQ(diagnosticsOf(readMap(deviceOf("<a/>" + peripheralOf(registerOf(""))), limits)),
              "m.svd: warning: 1 further warning is not shown\n");
}

} // namespace
} // namespace RynvelTest
