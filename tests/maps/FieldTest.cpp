// SPDX-License-Identifier: MIT
#include "MapText.h"

namespace RynvelTest {
namespace {

std::string fieldWithBits(const std::string& bits) { return mapOfFields(element("field", "<name>F</name>" + bits)); }

void expectBits(const Maps::Field& field, unsigned int lsb, unsigned int msb) {
    EXPECT_EQ(field.lsb, lsb);
    EXPECT_EQ(field.msb, msb);
}

TEST(Field, HasABitRangeInEverySpelling) {
    expectBits(onlyField(read(fieldWithBits("<bitOffset>4</bitOffset><bitWidth>3</bitWidth>"))), 4, 6);
    expectBits(onlyField(read(fieldWithBits("<lsb>4</lsb><msb>6</msb>"))), 4, 6);
    expectBits(onlyField(read(fieldWithBits("<bitRange>[6:4]</bitRange>"))), 4, 6);
    expectBits(onlyField(read(fieldWithBits("<bitRange> [ 31 : 0 ] </bitRange>"))), 0, 31);
    expectBits(onlyField(read(fieldWithBits("<bitOffset>0x4</bitOffset>"))), 4, 4);
}

TEST(Field, HasTheValuesOfItsElements) {
    const Maps::Field field = onlyField(read(mapOfFields(
        fieldOf("<description>A\n field</description><access>read-only</access><readAction>set</readAction>"
                "<modifiedWriteValues>oneToClear</modifiedWriteValues>"
                "<writeConstraint><range><minimum>1</minimum><maximum>2</maximum></range></writeConstraint>"))));
    EXPECT_EQ(field.name, "F");
    EXPECT_EQ(field.description.str(), "A field");
    EXPECT_EQ(field.access, Maps::Access::ReadOnly);
    EXPECT_EQ(field.readAction, Maps::ReadAction::Set);
    EXPECT_EQ(field.modifiedWrite, Maps::ModifiedWrite::OneToClear);
    ASSERT_TRUE(field.writeConstraint);
    EXPECT_EQ(field.writeConstraint->maximum, 2U);
}

TEST(Field, InheritsFromItsRegister) {
    const Maps::Field field =
        onlyField(read(mapOf(registerOf("<access>write-only</access><modifiedWriteValues>oneToSet</modifiedWriteValues>"
                                        "<writeConstraint><writeAsRead>true</writeAsRead></writeConstraint>"
                                        "<readAction>clear</readAction><fields>" +
                                        fieldOf("") + "</fields>"))));
    EXPECT_EQ(field.access, Maps::Access::WriteOnly);
    EXPECT_EQ(field.readAction, Maps::ReadAction::Clear);
    EXPECT_EQ(field.modifiedWrite, Maps::ModifiedWrite::OneToSet);
    ASSERT_TRUE(field.writeConstraint);
    EXPECT_EQ(field.writeConstraint->kind, Maps::WriteConstraint::Kind::WriteAsRead);
}

std::string value(const std::string& name, const std::string& number) {
    return element("enumeratedValue", element("name", name) + element("value", number));
}

TEST(Field, InheritsAConstraintToEnumeratedValuesIfItHasSomeForWriting) {
    const auto constraintOf = [](const std::string& elements) {
        return onlyField(read(mapOf(registerOf("<writeConstraint><useEnumeratedValues>true</useEnumeratedValues>"
                                               "</writeConstraint>" +
                                               element("fields", fieldOf(elements))))))
            .writeConstraint;
    };
    const auto valuesFor = [](const std::string& usage) {
        return element("enumeratedValues", element("usage", usage) + value("On", "1"));
    };
    EXPECT_FALSE(constraintOf(""));
    EXPECT_FALSE(constraintOf(valuesFor("read")));
    for (const std::string usage : {"write", "read-write"}) {
        ASSERT_TRUE(constraintOf(valuesFor(usage))) << usage;
        EXPECT_EQ(constraintOf(valuesFor(usage))->kind, Maps::WriteConstraint::Kind::EnumeratedValues);
    }
}

TEST(Field, NamesItsValues) {
    const Maps::Field field = onlyField(read(mapOfFields(fieldOf(
        "<enumeratedValues><name>Mode</name><headerEnumName>MODE</headerEnumName>"
        "<enumeratedValue><name>Off</name><description>Not\n on</description><value>0</value></enumeratedValue>" +
        value("On", "0b1") +
        "<enumeratedValue><name>Other</name><isDefault>true</isDefault></enumeratedValue></enumeratedValues>"))));
    ASSERT_EQ(field.enumerations.size(), 1U);
    const Maps::Enumeration& enumeration = field.enumerations[0];
    EXPECT_EQ(enumeration.name, "Mode");
    EXPECT_EQ(enumeration.headerEnumName, "MODE");
    EXPECT_EQ(enumeration.usage, Maps::Usage::ReadWrite);
    ASSERT_EQ(namesOf(enumeration.values), "Off On Other ");
    EXPECT_EQ(enumeration.values[0].description.str(), "Not on");
    EXPECT_EQ(enumeration.values[1].value, 1U);
    EXPECT_EQ(enumeration.values[1].mask, UINT64_MAX);
    EXPECT_FALSE(enumeration.values[1].isDefault);
    EXPECT_TRUE(enumeration.values[2].isDefault);
    EXPECT_EQ(enumeration.values[2].mask, 0U);
}

TEST(Field, NamesValuesForReadingAndForWriting) {
    const auto usage = [](const std::string& word) {
        return "<enumeratedValues>" + element("usage", word) + value("V", "1") + "</enumeratedValues>";
    };
    const Maps::Field field = onlyField(read(mapOfFields(fieldOf(usage("read") + usage("write")))));
    ASSERT_EQ(field.enumerations.size(), 2U);
    EXPECT_EQ(field.enumerations[0].usage, Maps::Usage::Read);
    EXPECT_EQ(field.enumerations[1].usage, Maps::Usage::Write);
    EXPECT_EQ(onlyField(read(mapOfFields(fieldOf(usage("read-write"))))).enumerations[0].usage, Maps::Usage::ReadWrite);
}

TEST(Field, NamesValuesWithOpenBits) {
    const Maps::Field field = onlyField(
        read(mapOfFields(fieldOf(element("enumeratedValues", value("High", "#1xx") + value("Low", "#000"))))));
    EXPECT_EQ(field.enumerations[0].values[0].value, 4U);
    EXPECT_EQ(field.enumerations[0].values[0].mask, ~std::uint64_t{3});
}

TEST(IrregularField, IsLeftOutWithoutABitRange) {
    const std::string warning =
        "m.svd:1: warning: field 'F' has no valid bit range (bits 0 to 65535), and is not used\n";
    for (const std::string bits :
         {"", "<msb>3</msb>", "<bitWidth>3</bitWidth>", "<bitOffset>0</bitOffset><bitWidth>0</bitWidth>",
          "<bitOffset>65536</bitOffset>", "<lsb>0</lsb><msb>65536</msb>",
          "<bitOffset>0</bitOffset><bitWidth>65536</bitWidth>", "<bitOffset>65535</bitOffset><bitWidth>2</bitWidth>"}) {
        EXPECT_TRUE(onlyRegister(readWithWarnings(fieldWithBits(bits), warning)).fields.empty()) << bits;
    }
    for (const std::string range : {"7:4", "[7]", "[7-4]", "[a:4]", "[7:]", "[:4]", "[]", ":"}) {
        EXPECT_TRUE(onlyRegister(readWithWarnings(fieldWithBits(element("bitRange", range)),
                                                  "m.svd:1: warning: bitRange '" + range +
                                                      "' is not of the form [MSB:LSB], and is not used\n" + warning))
                        .fields.empty())
            << range;
    }
}

TEST(IrregularField, SwapsTheEndsOfAReversedBitRange) {
    expectBits(onlyField(readWithWarnings(fieldWithBits("<bitRange>[4:7]</bitRange>"),
                                          "m.svd:1: warning: field 'F' has its most significant bit below its least "
                                          "significant bit: both are swapped\n")),
               4, 7);
}

TEST(Field, MayHaveSeveralBitRangesThatAgree) {
    expectBits(onlyField(read(fieldWithBits("<bitOffset>4</bitOffset><bitWidth>3</bitWidth><lsb>4</lsb><msb>6</msb>"
                                            "<bitRange>[6:4]</bitRange>"))),
               4, 6);
}

TEST(IrregularField, UsesTheFirstOfContradictoryBitRanges) {
    expectBits(
        onlyField(readWithWarnings(fieldWithBits("<lsb>4</lsb><msb>6</msb><bitRange>[7:4]</bitRange>"),
                                   "m.svd:1: warning: bitRange '[7:4]' contradicts another bit range, and is not "
                                   "used\n")),
        4, 6);
    expectBits(
        onlyField(readWithWarnings(fieldWithBits("<lsb>4</lsb><msb>6</msb><bitWidth>2</bitWidth>"),
                                   "m.svd:1: warning: bitWidth '2' contradicts another bit range, and is not used\n")),
        4, 6);
    expectBits(
        onlyField(readWithWarnings(fieldWithBits("<bitOffset>16</bitOffset><bitWidth>2</bitWidth>"
                                                 "<bitRange>[31:30]</bitRange>"),
                                   "m.svd:1: warning: bitRange '[31:30]' contradicts another bit range, and is not "
                                   "used\n")),
        16, 17);
    expectBits(
        onlyField(readWithWarnings(fieldWithBits("<bitRange>[3:2]</bitRange><lsb>8</lsb><msb>9</msb>"),
                                   "m.svd:1: warning: lsb '8' contradicts another bit range, and is not used\n"
                                   "m.svd:1: warning: msb '9' contradicts another bit range, and is not used\n")),
        2, 3);
}

TEST(IrregularField, UsesTheFirstCompleteBitRange) {
    const std::string warning = "m.svd:1: warning: bitOffset '4' contradicts another bit range, and is not used\n";
    expectBits(
        onlyField(readWithWarnings(fieldWithBits("<bitOffset>4</bitOffset><bitRange>[31:30]</bitRange>"), warning)), 30,
        31);
    expectBits(onlyField(readWithWarnings(fieldWithBits("<bitOffset>4</bitOffset><lsb>8</lsb><msb>9</msb>"), warning)),
               8, 9);
    expectBits(onlyField(readWithWarnings(
                   fieldWithBits("<bitOffset>4</bitOffset><lsb>8</lsb><msb>9</msb><bitWidth>3</bitWidth>"),
                   warning + "m.svd:1: warning: bitWidth '3' contradicts another bit range, and is not "
                             "used\n")),
               8, 9);
}

TEST(Field, MayMixTheBitRangesOfTheFormat) {
    expectBits(onlyField(read(fieldWithBits("<lsb>8</lsb><bitWidth>4</bitWidth>"))), 8, 11);
    expectBits(onlyField(read(fieldWithBits("<bitOffset>24</bitOffset><msb>26</msb>"))), 24, 26);
}

TEST(IrregularDerivedField, IgnoresAContradictoryWidth) {
    const Maps::Register aRegister = onlyRegister(readWithWarnings(
        mapOfFields(fieldOf("") + "\n<field derivedFrom=\"F\"><name>G</name><msb>9</msb><bitWidth>2</bitWidth>"
                                  "</field>"),
        "m.svd:2: warning: field 'G' has a width that contradicts its most significant bit: the width is "
        "not used\nm.svd:2: warning: field 'G' overlaps field 'F'\n"));
    expectBits(named(aRegister.fields, "G"), 4, 9);
}

TEST(IrregularField, IsKeptOutsideItsRegister) {
    expectBits(onlyField(readWithWarnings(
                   mapOf(registerOf("<size>8</size><fields>" +
                                    element("field", "<name>F</name><bitRange>[8:4]</bitRange>") + "</fields>")),
                   "m.svd:1: warning: field 'F' is outside the 8 bits of its register\n")),
               4, 8);
}

std::string twoFields(const std::string& first, const std::string& second) {
    return mapOfFields("<field><name>A</name><bitRange>[5:2]</bitRange>" + first +
                       "</field>\n<field><name>B</name><bitRange>[7:5]</bitRange>" + second + "</field>");
}

TEST(IrregularFields, AreBothUsedIfTheyOverlap) {
    EXPECT_EQ(
        namesOf(onlyRegister(readWithWarnings(twoFields("", ""), "m.svd:2: warning: field 'B' overlaps field 'A'\n"))
                    .fields),
        "A B ");
    readWithWarnings(twoFields("<access>read-only</access>", ""), "m.svd:2: warning: field 'B' overlaps field 'A'\n");
    readWithWarnings(twoFields("<access>write-only</access>", ""), "m.svd:2: warning: field 'B' overlaps field 'A'\n");
}

TEST(IrregularFields, AreReportedIfTheyOverlapAfterAShorterField) {
    readWithWarnings(
        mapOfFields("<field><name>A</name><bitRange>[9:0]</bitRange></field>\n"
                    "<field><name>B</name><bitRange>[2:1]</bitRange></field>\n"
                    "<field><name>C</name><bitRange>[8:7]</bitRange></field>"),
        "m.svd:2: warning: field 'B' overlaps field 'A'\nm.svd:3: warning: field 'C' overlaps field 'A'\n");
}

TEST(Fields, MayOverlapIfOneIsReadAndTheOtherWritten) {
    read(twoFields("<access>read-only</access>", "<access>write-only</access>"));
}

TEST(IrregularFields, KeepMoreAccessThanTheirRegister) {
    const auto warningFor = [](const std::string& ofRegister, const std::string& ofField) {
        return diagnosticsOf(Maps::readMap(
            mapOf(registerOf(element("access", ofRegister) + element("fields", fieldOf(element("access", ofField)))))));
    };
    const std::string end = ", but its register cannot (the access of the field is used)\n";
    EXPECT_EQ(warningFor("read-only", "read-write"), "m.svd:1: warning: field 'F' can be written" + end);
    EXPECT_EQ(warningFor("write-only", "read-write"), "m.svd:1: warning: field 'F' can be read" + end);
    EXPECT_EQ(warningFor("read-write", "read-only"), "");
    EXPECT_EQ(warningFor("write-only", "writeOnce"), "");
}

TEST(IrregularFields, AreBothUsedIfTheyHaveTheSameName) {
    EXPECT_EQ(namesOf(onlyRegister(
                          readWithWarnings(mapOfFields(fieldOf("") + "\n<field><name>F</name><bitOffset>0</bitOffset>"
                                                                     "</field>"),
                                           "m.svd:2: warning: field 'F' has the same name as the field in line 1\n"))
                          .fields),
              "F F ");
}

Maps::Enumeration valuesWithWarnings(const std::string& values, const std::string& warnings) {
    const Maps::Field field =
        onlyField(readWithWarnings(mapOfFields(fieldOf(element("enumeratedValues", values))), warnings));
    return field.enumerations.empty() ? Maps::Enumeration() : field.enumerations[0];
}

TEST(IrregularValue, IsKeptWithoutAName) {
    const Maps::Enumeration enumeration =
        valuesWithWarnings("<enumeratedValue><value>1</value></enumeratedValue>\n"
                           "<enumeratedValue><name></name><value>2</value></enumeratedValue>",
                           "m.svd:1: warning: an enumerated value has no name\n"
                           "m.svd:2: warning: an enumerated value has no name\n"
                           "m.svd:2: warning: element 'name' is empty\n");
    ASSERT_EQ(enumeration.values.size(), 2U);
    EXPECT_EQ(enumeration.values[1].value, 2U);
}

TEST(IrregularValue, IsLeftOutWithoutAValue) {
    EXPECT_EQ(namesOf(valuesWithWarnings("<enumeratedValue><name>A</name></enumeratedValue>" + value("B", "1"),
                                         "m.svd:1: warning: enumerated value 'A' has no value, and is not used\n")
                          .values),
              "B ");
    EXPECT_EQ(
        namesOf(valuesWithWarnings(value("A", "abc") + value("B", "1"),
                                   "m.svd:1: warning: enumerated value 'A' has no value, and is not used\n"
                                   "m.svd:1: warning: value 'abc' is not a number of up to 64 bits, and is not used\n")
                    .values),
        "B ");
}

TEST(IrregularValue, KeepsItsValueIfItIsTheDefault) {
    const Maps::Enumeration enumeration = valuesWithWarnings(
        "<enumeratedValue><name>A</name><value>3</value><isDefault>true</isDefault></enumeratedValue>",
        "m.svd:1: warning: enumerated value 'A' has a value and is the default: the value is used\n");
    EXPECT_FALSE(enumeration.values[0].isDefault);
    EXPECT_EQ(enumeration.values[0].value, 3U);
}

TEST(IrregularValue, IsKeptIfItDoesNotFit) {
    EXPECT_EQ(valuesWithWarnings(value("A", "16") + value("B", "15"),
                                 "m.svd:1: warning: enumerated value 'A' does not fit in the 4 bits of field 'F'\n")
                  .values[0]
                  .value,
              16U);
    readWithWarnings(mapOfFields("<field><name>G</name><bitRange>[3:3]</bitRange>" +
                                 element("enumeratedValues", value("A", "2")) + "</field>"),
                     "m.svd:1: warning: enumerated value 'A' does not fit in the 1 bit of field 'G'\n");
}

TEST(IrregularValues, AreKeptIfTheyAreRepeated) {
    EXPECT_EQ(
        namesOf(valuesWithWarnings(value("A", "1") + "\n" + value("A", "2") + "\n" + value("B", "1"),
                                   "m.svd:2: warning: enumerated value 'A' has the same name as the enumerated value "
                                   "in line 1\n"
                                   "m.svd:3: warning: enumerated value 'B' has the same value as the enumerated value "
                                   "in line 1\n")
                    .values),
        "A A B ");
    EXPECT_EQ(valuesWithWarnings(value("A", "#1x") + value("B", "#10"), "").values.size(), 2U);
}

TEST(IrregularValues, AreLeftOutIfNoneIsUsable) {
    valuesWithWarnings(
        "", "m.svd:1: warning: element 'enumeratedValues' has no usable enumerated value, and is not used\n");
}

TEST(IrregularValues, MustNotHaveTooManyEnumerations) {
    std::string enumerations;
    for (int i = 0; i < 17; ++i) {
        enumerations += element("enumeratedValues", value("V", "1"));
    }
    EXPECT_EQ(
        onlyField(
            readWithWarnings(
                mapOfFields(fieldOf(enumerations)),
                "m.svd:1: warning: the field has more than 16 elements 'enumeratedValues': this element and later "
                "ones are not used\n"))
            .enumerations.size(),
        16U);
}

TEST(IrregularConstraint, IsLeftOut) {
    const auto constraint = [](const std::string& content) {
        return mapOfFields(fieldOf(element("writeConstraint", content)));
    };
    const std::string warning = "m.svd:1: warning: a range has no minimum or maximum, or its maximum is below its "
                                "minimum, and is not used\n";
    EXPECT_FALSE(
        onlyField(readWithWarnings(constraint("<range><minimum>1</minimum></range>"), warning)).writeConstraint);
    EXPECT_FALSE(
        onlyField(readWithWarnings(constraint("<range><maximum>1</maximum></range>"), warning)).writeConstraint);
    EXPECT_FALSE(
        onlyField(readWithWarnings(constraint("<range><minimum>2</minimum><maximum>1</maximum></range>"), warning))
            .writeConstraint);
    EXPECT_FALSE(onlyField(readWithWarnings(
                               constraint("<writeAsRead>yes</writeAsRead>"),
                               "m.svd:1: warning: writeAsRead 'yes' is neither 'true' nor 'false', and is not used\n"))
                     .writeConstraint);
}

} // namespace
} // namespace RynvelTest
