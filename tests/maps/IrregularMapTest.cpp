// SPDX-License-Identifier: MIT
#include <chrono>

#include "MapText.h"

namespace RynvelTest {
namespace {

TEST(MalformedMap, IsAnErrorWithItsLine) {
    expectError("", "m.svd:1: error: the file is not well-formed XML: No document element found");
    expectError("<device>\n<name>", "m.svd:2: error: the file is not well-formed XML: Start-end tags mismatch");
    expectError("<device>\n<name>\n</title></device>",
                "m.svd:3: error: the file is not well-formed XML: Start-end tags mismatch");
    expectError("<device>\n\n<a b=c/></device>",
                "m.svd:3: error: the file is not well-formed XML: Error parsing element attribute");
    expectError("<device>\n<!-- no end", "m.svd:2: error: the file is not well-formed XML: Error parsing comment");
    expectError("<device>\n<![CDATA[ no end",
                "m.svd:2: error: the file is not well-formed XML: Error parsing CDATA section");
    expectError("no XML", "m.svd:1: error: the file is not well-formed XML: No document element found");
}

TEST(MalformedMap, CannotContainANulCharacter) {
    const std::string text = deviceOf("\n" + peripheralOf(registerOf("")));
    expectError(text + std::string("\0", 1), "m.svd:2: error: the file contains a NUL character");
    expectError(std::string("<device>\n\n\0", 11) + "</device>", "m.svd:3: error: the file contains a NUL character");
}

TEST(MalformedMap, MayEndTooEarlyAnywhere) {
    const std::string text = mapOf(registerOf("<fields>" + fieldOf("") + "</fields>"));
    for (std::size_t size = 0; size < text.size(); ++size) {
        const Maps::ReadMap map = Maps::readMap(text.substr(0, size));
        EXPECT_FALSE(map.device) << size;
    }
}

TEST(MalformedMap, CannotHaveAnotherRoot) {
    expectError("\n<package/>", "m.svd:2: error: the root of a map is 'device', not 'package'");
}

TEST(MalformedMap, CannotLackPeripherals) {
    expectError("\n<device>" + deviceHead() + "</device>", "m.svd:2: error: the device has no peripherals");
    expectError(deviceOf(""), "m.svd:1: error: the device has no peripherals");
    expectError(deviceOf("<peripheral/>"), "m.svd:1: error: the device has no peripherals");
}

TEST(MalformedMap, KeepsItsWarnings) {
    EXPECT_EQ(diagnosticsOf(Maps::readMap("<device><x/></device>")),
              "m.svd:1: warning: element 'x' is not part of the format, and is not used\n"
              "m.svd:1: error: the device has no peripherals\n");
}

TEST(IrregularMap, MayLackRequiredElementsOfTheDevice) {
    const Maps::Device device = readWithWarnings("<device><size>32</size><access>read-write</access><peripherals>" +
                                                     peripheralOf(registerOf("")) + "</peripherals></device>",
                                                 "m.svd:1: warning: device '' has no description\n"
                                                 "m.svd:1: warning: the device has no addressUnitBits (8 is assumed)\n"
                                                 "m.svd:1: warning: the device has no name\n"
                                                 "m.svd:1: warning: the device has no version\n"
                                                 "m.svd:1: warning: the device has no width (32 bits are assumed)\n");
    EXPECT_EQ(device.addressUnitBits, 8U);
    EXPECT_EQ(device.width, 32U);
}

TEST(IrregularMap, MayHaveADocumentType) {
    const Maps::Register aRegister =
        onlyRegister(readWithWarnings("<!DOCTYPE device SYSTEM \"/etc/passwd\" [<!ENTITY e \"text\">"
                                      "<!ENTITY x SYSTEM \"file:///etc/passwd\">]>" +
                                          mapOf(registerOf("<description>&e; &x;</description>")),
                                      "m.svd:1: warning: the document type and its entities are not read\n"));
    EXPECT_EQ(aRegister.description.str(), "&e; &x;");
}

TEST(IrregularMap, MayHaveUnknownElements) {
    const std::string unknown = "<unknown>text<more/></unknown>";
    const std::string warning = "m.svd:1: warning: element 'unknown' is not part of the format, and is not used\n";
    for (const std::string& text :
         {"<device>" + unknown + deviceHead() + "<peripherals>" + peripheralOf(registerOf("")) +
              "</peripherals></device>",
          deviceOf(unknown + peripheralOf(registerOf(""))), mapOf(unknown + registerOf("")), mapOf(registerOf(unknown)),
          mapOfFields(unknown + fieldOf("")), mapOfFields(fieldOf(unknown)),
          mapOfFields(fieldOf("<enumeratedValues>" + unknown +
                              "<enumeratedValue><name>V</name><value>1</value></enumeratedValue></enumeratedValues>")),
          mapOfFields(fieldOf("<enumeratedValues><enumeratedValue><name>V</name><value>1</value>" + unknown +
                              "</enumeratedValue></enumeratedValues>")),
          mapOfFields(fieldOf("<writeConstraint>" + unknown + "</writeConstraint>")),
          mapOf(registerOf("") + "<cluster><name>C</name><description>C</description><addressOffset>8</addressOffset>" +
                unknown + registerOf("") + "</cluster>")}) {
        readWithWarnings(text, warning);
    }
}

TEST(IrregularMap, MayRepeatElements) {
    const std::string again = "\n<addressOffset>8</addressOffset>";
    EXPECT_EQ(
        onlyRegister(readWithWarnings(mapOf(registerOf(again)), "m.svd:2: warning: element 'addressOffset' occurs "
                                                                "more than once: only the first is used\n"))
            .offset,
        0U);
}

TEST(IrregularMap, MayRepeatLists) {
    EXPECT_EQ(namesOf(onlyRegister(
                          readWithWarnings(mapOf(registerOf("<fields>" + fieldOf("") +
                                                            "</fields>\n<fields><field>"
                                                            "<name>G</name><bitOffset>0</bitOffset></field></fields>")),
                                           "m.svd:2: warning: element 'fields' occurs more than once: all are used\n"))
                          .fields),
              "F G ");
}

TEST(IrregularMap, MayHaveUnknownAttributes) {
    readWithWarnings(mapOf("<register x=\"1\"><name>R</name><addressOffset>0</addressOffset></register>"),
                     "m.svd:1: warning: attribute 'x' of 'register' is not part of the format, and is not used\n");
    readWithWarnings(mapOf(registerOf("<fields y=\"1\">" + fieldOf("") + "</fields>")),
                     "m.svd:1: warning: attribute 'y' of 'fields' is not part of the format, and is not used\n");
    readWithWarnings(mapOf(registerOf("<size z=\"1\">32</size>")),
                     "m.svd:1: warning: attribute 'z' of 'size' is not part of the format, and is not used\n");
    readWithWarnings(mapOf(registerOf("<writeConstraint a=\"1\"><range b=\"1\"><minimum>0</minimum><maximum>1</maximum>"
                                      "</range></writeConstraint>")),
                     "m.svd:1: warning: attribute 'a' of 'writeConstraint' is not part of the format, and is not used\n"
                     "m.svd:1: warning: attribute 'b' of 'range' is not part of the format, and is not used\n");
}

TEST(IrregularMap, MayHaveTextBetweenElements) {
    const std::string warning = "m.svd:1: warning: text in 'register' is not used (only elements are allowed)\n";
    readWithWarnings(mapOf("<register>stray<name>R</name><addressOffset>0</addressOffset></register>"), warning);
    readWithWarnings(mapOf(registerOf("stray")), warning);
    readWithWarnings(mapOf(registerOf("<![CDATA[stray]]>")), warning);
    readWithWarnings(deviceOf("stray" + peripheralOf(registerOf(""))),
                     "m.svd:1: warning: text in 'peripherals' is not used (only elements are allowed)\n");
}

TEST(IrregularMap, MayHaveElementsInTexts) {
    EXPECT_EQ(
        onlyRegister(readWithWarnings(mapOf(registerOf("<description>a <b>c</b> d</description>")),
                                      "m.svd:1: warning: element 'b' is not used (give only text in 'description')\n"))
            .description.str(),
        "a d");
}

TEST(Map, MayHaveCommentsInTexts) {
    const Maps::Register aRegister = onlyRegister(
        read(mapOf("<register><name>R<!-- a -->1</name><addressOffset>0x<!-- b -->1<!-- c --><![CDATA[4]]>"
                   "</addressOffset><description>The <!-- d -->text\n<!-- e --> of\n a register</description>"
                   "</register>")));
    EXPECT_EQ(aRegister.name, "R1");
    EXPECT_EQ(aRegister.offset, 0x14U);
    EXPECT_EQ(aRegister.description.str(), "The text of a register");
}

TEST(IrregularMap, MayHaveEmptyElements) {
    readWithWarnings(mapOf(registerOf("<description></description><size/>")),
                     "m.svd:1: warning: element 'description' is empty\nm.svd:1: warning: element 'size' is empty\n");
}

TEST(IrregularMap, MayHaveTextsInPlaceOfNumbers) {
    EXPECT_EQ(onlyRegister(
                  readWithWarnings(mapOf(registerOf("<size>wide</size><resetValue>0x1FFFFFFFFFFFFFFFF</resetValue>")),
                                   "m.svd:1: warning: resetValue '0x1FFFFFFFFFFFFFFFF' is not a number of up to 64 "
                                   "bits, and is not used\n"
                                   "m.svd:1: warning: size 'wide' is not a number of up to 64 bits, and is not used\n"))
                  .size,
              32U);
}

TEST(IrregularMap, MayHaveUnknownWords) {
    EXPECT_EQ(onlyRegister(
                  readWithWarnings(
                      mapOf(registerOf("<access>sometimes</access>")),
                      "m.svd:1: warning: access 'sometimes' is not used (the element takes 'read-only', 'write-only', "
                      "'read-write', 'writeOnce', 'read-writeOnce')\n"))
                  .access,
              Maps::Access::ReadWrite);
}

TEST(IrregularMap, MayHaveWordsInAnotherSpelling) {
    EXPECT_EQ(onlyRegister(readWithWarnings(mapOf(registerOf("<access>Read Only</access>")),
                                            "m.svd:1: warning: access 'Read Only' should be written 'read-only'\n"))
                  .access,
              Maps::Access::ReadOnly);
    EXPECT_EQ(onlyRegister(readWithWarnings(mapOf(registerOf("<access>read</access>")),
                                            "m.svd:1: warning: access 'read' should be written 'read-only'\n"))
                  .access,
              Maps::Access::ReadOnly);
    EXPECT_EQ(onlyRegister(readWithWarnings(mapOf(registerOf("<access>write</access>")),
                                            "m.svd:1: warning: access 'write' should be written 'write-only'\n"))
                  .access,
              Maps::Access::WriteOnly);
}

TEST(IrregularMap, IsQuotedUpToALength) {
    readWithWarnings(mapOf(registerOf(element("size", std::string(100, 'x')))),
                     "m.svd:1: warning: size '" + std::string(80, 'x') +
                         "' is not a number of up to 64 bits, and is not used\n");
}

std::string clustersOf(const std::string& elements) { return "<cluster><name>C</name>" + elements + "</cluster>"; }

TEST(IrregularCluster, MayLackRequiredElements) {
    EXPECT_EQ(onlyPeripheral(readWithWarnings(mapOf(registerOf("") + clustersOf("<addressOffset>8</addressOffset>")),
                                              "m.svd:1: warning: cluster 'C' has no description\n"
                                              "m.svd:1: warning: cluster 'C' has no registers\n"))
                  .clusters.size(),
              1U);
    EXPECT_EQ(onlyPeripheral(
                  readWithWarnings(mapOf(registerOf("") + clustersOf("<description>C</description>" + registerOf(""))),
                                   "m.svd:1: warning: cluster 'C' has no addressOffset, and is not used\n"))
                  .clusters.size(),
              0U);
}

TEST(IrregularClusters, AreBothUsedIfTheyHaveTheSameName) {
    const std::string rest = "<description>C</description><addressOffset>8</addressOffset>" + registerOf("");
    EXPECT_EQ(
        onlyPeripheral(readWithWarnings(mapOf(clustersOf(rest) + "\n" + clustersOf(rest)),
                                        "m.svd:2: warning: cluster 'C' has the same name as the cluster in line 1\n"))
            .clusters.size(),
        2U);
}

TEST(IrregularPeripheral, MayLackRequiredElements) {
    const Maps::Peripheral peripheral =
        onlyPeripheral(readWithWarnings(deviceOf("<peripheral><name>P</name></peripheral>"),
                                        "m.svd:1: warning: peripheral 'P' has no baseAddress: 0 is assumed\n"
                                        "m.svd:1: warning: peripheral 'P' has no registers\n"));
    EXPECT_EQ(peripheral.baseAddress, 0U);
}

TEST(IrregularPeripherals, AreBothUsedIfTheyHaveTheSameName) {
    const std::string peripheral = peripheralOf(registerOf(""));
    EXPECT_EQ(readWithWarnings(deviceOf(peripheral + "\n" + peripheral),
                               "m.svd:2: warning: peripheral 'P' has the same name as the peripheral in line 1\n")
                  .peripherals.size(),
              2U);
}

std::string withBlock(const std::string& content) {
    return deviceOf("<peripheral><name>P</name><baseAddress>0</baseAddress>" + content +
                    element("registers", registerOf("")) + "</peripheral>");
}

TEST(IrregularAddressBlock, IsLeftOutWithoutASize) {
    EXPECT_TRUE(onlyPeripheral(readWithWarnings(withBlock("<addressBlock><offset>0</offset></addressBlock>"),
                                                "m.svd:1: warning: an address block has no size, and is not used\n"))
                    .addressBlocks.empty());
}

TEST(IrregularPeripheral, MayHaveUnknownAttributes) {
    readWithWarnings(
        withBlock("<addressBlock a=\"1\"><offset>0</offset><size>4</size><usage>registers</usage></addressBlock>"
                  "<interrupt b=\"1\"><name>I</name><value>1</value></interrupt>"),
        "m.svd:1: warning: attribute 'a' of 'addressBlock' is not part of the format, and is not used\n"
        "m.svd:1: warning: attribute 'b' of 'interrupt' is not part of the format, and is not used\n");
}

TEST(IrregularInterrupt, IsLeftOutWithoutANameOrAValue) {
    const std::string warning = "m.svd:1: warning: an interrupt has no name or no value, and is not used\n";
    for (const std::string content : {"<name>I</name>", "<value>1</value>"}) {
        EXPECT_TRUE(
            onlyPeripheral(readWithWarnings(withBlock(element("interrupt", content)), warning)).interrupts.empty());
    }
    EXPECT_TRUE(onlyPeripheral(
                    readWithWarnings(withBlock("<interrupt><name>I</name><value>-x</value></interrupt>"),
                                     warning + "m.svd:1: warning: value '-x' is not an integer of up to 64 bits, and "
                                               "is not used\n"))
                    .interrupts.empty());
}

TEST(LimitedMap, CannotHaveMoreBytesThanTheLimit) {
    Maps::Limits limits;
    limits.bytes = 100;
    expectError(std::string(101, ' '), "m.svd: error: the file has more than 100 bytes", limits);
    expectError(std::string(100, ' '), "m.svd:1: error: the file is not well-formed XML: No document element found",
                limits);
}

/** Returns a map with nested clusters, each on a new line. `depth` is the number of clusters. */
std::string nestedClusters(std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
        text += "\n<cluster><name>C</name><description>C</description><addressOffset>0</addressOffset>";
    }
    text += registerOf("");
    for (std::size_t i = 0; i < depth; ++i) {
        text += "</cluster>";
    }
    return mapOf(text);
}

TEST(LimitedMap, CannotHaveDeeperClustersThanTheLimit) {
    read(nestedClusters(32));
    expectError(nestedClusters(33), "m.svd:34: error: clusters are nested more than 32 levels deep");
    expectError(nestedClusters(30000), "m.svd:34: error: clusters are nested more than 32 levels deep");
}

TEST(LimitedMap, CannotHaveAClusterInsideItself) {
    expectError(
        mapOf("<cluster><name>C</name><description>C</description><addressOffset>0</addressOffset>\n"
              "<cluster derivedFrom=\"P.C\"><name>D</name><addressOffset>0</addressOffset></cluster></cluster>"),
        "m.svd:2: error: clusters are nested more than 32 levels deep");
}

std::string nestedArrays(const std::string& dim, const std::string& tail) {
    const std::string array = element("dim", dim) + "<dimIncrement>1</dimIncrement>";
    return "<cluster>" + array + "<name>A%s</name><description>A</description><addressOffset>0</addressOffset>" +
           "<cluster>" + array + "<name>B%s</name><description>B</description><addressOffset>0</addressOffset>" +
           registerOf("") + "</cluster></cluster>" + tail;
}

Maps::Limits elements(std::uint64_t most) {
    Maps::Limits limits;
    limits.elements = most;
    return limits;
}

/** Returns an array of 100 elements. */
std::string array(const std::string& tag, const std::string& name, const std::string& position) {
    return element(tag, "<dim>100</dim><dimIncrement>4</dimIncrement>" + element("name", name + "%s") + position);
}

TEST(LimitedMap, CannotHaveMoreElementsInTotalThanTheLimit) {
    // The array A has 10 elements. Each element has 10 elements of the array B, with one register each, so the arrays
    // contain 210 elements. The peripheral and the register outside the arrays are the other 2.
    const std::string text = mapOf(nestedArrays("10", registerOf("")));
    EXPECT_TRUE(Maps::readMap(text, elements(212)).device);
    expectError(text, "m.svd:1: error: the map has more than 211 elements at peripheral 'P' (split the map)",
                elements(211));
    expectError(mapOf(nestedArrays("1000", "")),
                "m.svd:1: error: the map has more than 1000000 elements at cluster 'A%s' (split the map)");
}

TEST(LimitedMap, CannotHaveMoreElementsOfOneKindThanTheLimit) {
    const std::string at0 = "<addressOffset>0</addressOffset>";
    expectError(mapOf(array("register", "A", at0) + array("register", "B", at0)),
                "m.svd:1: error: the map has more than 150 elements at register 'B%s' (split the map)", elements(150));
    const std::string bit = "<bitOffset>0</bitOffset>";
    expectError(mapOfFields(array("field", "A", bit) + array("field", "B", bit)),
                "m.svd:1: error: the map has more than 150 elements at field 'B%s' (split the map)", elements(150));
    const std::string cluster = "<description>C</description>" + at0;
    expectError(mapOf(array("cluster", "A", cluster) + array("cluster", "B", cluster)),
                "m.svd:1: error: the map has more than 150 elements at cluster 'B%s' (split the map)", elements(150));
}

/**
 * Expects the reader to need less than 8 seconds. A reader that built all elements or indexes would need much longer.
 */
void expectQuick(const std::string& definitions) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Maps::readMap(mapOf(definitions)).device);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
}

std::string repeated(const std::string& text) {
    std::string all;
    for (int i = 0; i < 1000; ++i) {
        all += text;
    }
    return all;
}

TEST(LimitedMap, BuildsNoElementsThatAreLeftOut) {
    const std::string array = "<dim>65536</dim><dimIncrement>1</dimIncrement><name>A%s</name>";
    expectQuick(repeated(element("register", array + "<addressOffset>0xFFFFFFFFFFFFFFFF</addressOffset>")));
    expectQuick(registerOf(element("fields", repeated(element("field", array + "<bitOffset>65535</bitOffset>")))));
}

TEST(LimitedMap, BuildsNoIndexesThatAreLeftOut) {
    const std::string one =
        "<dim>1</dim><dimIncrement>1</dimIncrement><name>A%s</name><addressOffset>0</addressOffset>";
    expectQuick(repeated(element("register", one + "<dimIndex>0-65535</dimIndex>")));
    std::string list = "0";
    for (int i = 1; i < 65536; ++i) {
        list += ",0";
    }
    expectQuick(element("register", one + element("dimIndex", list)) +
                repeated("<register derivedFrom=\"A%s\"><name>B%s</name></register>"));
}

TEST(LimitedMap, CountsDerivedElementsThatAreLeftOut) {
    std::string registers =
        registerOf("<fields>" + element("field", "<name>A</name>") +
                   element("field", "<dim>0</dim><name>B%s</name><bitOffset>0</bitOffset>") + "</fields>");
    for (int i = 0; i < 10; ++i) {
        registers += "<register derivedFrom=\"R\">" + element("name", "R" + std::to_string(i)) + "</register>";
    }
    EXPECT_TRUE(Maps::readMap(mapOf(registers), elements(33)).device);
    expectError(mapOf(registers), "m.svd:1: error: the map has more than 32 elements at register 'R9' (split the map)",
                elements(32));
}

TEST(LimitedMap, CountsElementsThatAreLeftOutWithEachInheritedProperty) {
    std::string peripherals =
        peripheralOf(element("register", "<name>A</name>") + element("register", "<name>B</name>"));
    for (int i = 1; i < 10; ++i) {
        peripherals += "<peripheral derivedFrom=\"P\">" + element("name", "P" + std::to_string(i)) +
                       element("resetValue", std::to_string(i)) + "</peripheral>";
    }
    EXPECT_TRUE(Maps::readMap(deviceOf(peripherals), elements(20)).device);
    expectError(deviceOf(peripherals),
                "m.svd:1: error: the map has more than 19 elements at register 'B' (split the map)", elements(19));
}

TEST(LimitedMap, CountsDerivedElementsThatAreReplaced) {
    const auto peripheral = [](const std::string& start, const std::string& registers) {
        return start + "<baseAddress>0</baseAddress><registers>" + registers + "</registers></peripheral>";
    };
    const std::string more = registerOf("") + registerOf("") + registerOf("");
    const std::string text = deviceOf(peripheral("<peripheral><name>P</name>", more) +
                                      peripheral("\n<peripheral derivedFrom=\"P\"><name>Q</name>", registerOf("")) +
                                      peripheral("\n<peripheral derivedFrom=\"P\"><name>S</name>", registerOf("")));
    EXPECT_TRUE(Maps::readMap(text, elements(8)).device);
    expectError(text, "m.svd:3: error: derivedFrom copies more than 7 elements", elements(7));
}

TEST(LimitedMap, CannotHaveMoreDerivedElementsThanTheLimit) {
    std::string peripherals;
    for (int i = 20; i > 0; --i) {
        peripherals += "\n<peripheral derivedFrom=\"P" + (i == 1 ? "" : std::to_string(i - 1)) + "\"><name>P" +
                       std::to_string(i) + "</name><baseAddress>0</baseAddress><registers><register>" +
                       element("name", "R" + std::to_string(i)) +
                       "<addressOffset>0</addressOffset></register></registers></peripheral>";
    }
    expectError(deviceOf(peripherals + peripheralOf(registerOf(""))),
                "m.svd:9: error: derivedFrom copies more than 100 elements", elements(100));
}

} // namespace
} // namespace RynvelTest
