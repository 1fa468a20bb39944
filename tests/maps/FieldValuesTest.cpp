// SPDX-License-Identifier: MIT
#include "FieldValues.h"

#include "MapText.h"

namespace RynvelTest {
namespace {

using Maps::Assignment;
using Maps::decode;

Maps::MaskedValue encode(const Maps::LocatedRegister& located, const std::vector<Assignment>& assignments) {
    return Maps::encode(located, findFields(located, assignments));
}

std::string value(const std::string& name, const std::string& number) {
    return element("enumeratedValue", element("name", name) + element("value", number));
}

std::string valuesFor(const std::string& usage, const std::string& values) {
    return element("enumeratedValues", element("usage", usage) + values);
}

std::string field(const std::string& name, const std::string& range, const std::string& further = "") {
    return element("field", element("name", name) + element("bitRange", range) + further);
}

const std::string other = "<enumeratedValue><name>other</name><isDefault>true</isDefault></enumeratedValue>";

Maps::Register control() {
    return onlyRegister(read(mapOfFields(
        field("START", "[0:0]", "<access>write-only</access>") + field("READY", "[0:0]", "<access>read-only</access>") +
        field("MODE", "[3:1]",
              valuesFor("read", value("slow", "0") + value("fast", "#1xx") + other) +
                  valuesFor("write", value("stop", "0") + value("run", "#1xx") + other)) +
        field("GAIN", "[15:8]",
              "<writeConstraint><range><minimum>2</minimum><maximum>200</maximum></range>"
              "</writeConstraint>") +
        field("KIND", "[17:16]",
              valuesFor("read-write", value("a", "1") + value("b", "2")) +
                  "<writeConstraint><useEnumeratedValues>true</useEnumeratedValues>"
                  "</writeConstraint>") +
        field("SAME", "[18:18]", "<writeConstraint><writeAsRead>true</writeAsRead></writeConstraint>"))));
}

/**
 * Returns the decoded fields as text, each with its value. If the value has a name, the name follows in parentheses.
 */
std::string decoded(const Maps::Register& aRegister, std::uint64_t number) {
    std::string text;
    for (const Maps::FieldValue& each : decode(aRegister, number)) {
        text += each.field->name + "=" + std::to_string(each.value) +
                (each.name == nullptr ? "" : "(" + each.name->name + ")") + " ";
    }
    return text;
}

TEST(RegisterValue, HasItsReadableFieldsFromTheHighestBit) {
    EXPECT_EQ(decoded(control(), 0), "SAME=0 KIND=0 GAIN=0 MODE=0(slow) READY=0 ");
    EXPECT_EQ(decoded(control(), 0x6FF01), "SAME=1 KIND=2(b) GAIN=255 MODE=0(slow) READY=1 ");
}

TEST(RegisterValue, HasTheNamesForReading) {
    EXPECT_EQ(decode(named(control().fields, "MODE"), 0x2).name->name, "other");
    for (const std::uint64_t number : {0x8U, 0xAU, 0xCU, 0xEU}) {
        const Maps::Register aRegister = control();
        EXPECT_EQ(decode(named(aRegister.fields, "MODE"), number).name->name, "fast");
    }
}

TEST(RegisterValue, HasFieldsOf64Bits) {
    const Maps::Register aRegister = onlyRegister(read(
        mapOf(registerOf("<size>64</size><resetMask>0</resetMask><fields>" + field("ALL", "[63:0]") + "</fields>"))));
    EXPECT_EQ(decoded(aRegister, UINT64_MAX), "ALL=18446744073709551615 ");
    EXPECT_EQ(maskOf(aRegister.fields[0]), UINT64_MAX);
    EXPECT_EQ(encode({"R", 0, &aRegister}, {{"ALL", "0xFFFFFFFFFFFFFFFF"}}).value, UINT64_MAX);
}

TEST(RegisterValue, HasNoFieldsOutsideOfTheRegister) {
    const Maps::Register aRegister =
        onlyRegister(Maps::readMap(mapOf(registerOf("<size>8</size><fields>" + field("IN", "[7:0]") +
                                                    field("OUT", "[8:8]") + field("BOTH", "[9:7]") + "</fields>")))
                         .device.value());
    EXPECT_EQ(decoded(aRegister, 0x3FF), "IN=255 ");
    const Maps::Register wide = onlyRegister(
        Maps::readMap(mapOf(registerOf("<size>128</size><fields>" + field("HIGH", "[64:64]") + "</fields>")))
            .device.value());
    EXPECT_FALSE(isInside(wide.fields[0], wide));
}

void expectMaskedValue(const std::vector<Assignment>& assignments, std::uint64_t expected, std::uint64_t mask) {
    const Maps::Register aRegister = control();
    const Maps::MaskedValue result = encode({"C.R", 0, &aRegister}, assignments);
    EXPECT_EQ(result.value, expected);
    EXPECT_EQ(result.mask, mask);
}

TEST(Assignments, SelectTheGivenFieldIfAnotherHasTheSameName) {
    const Maps::Register aRegister =
        onlyRegister(Maps::readMap(mapOfFields(field("F", "[3:0]") + field("F", "[7:4]"))).device.value());
    EXPECT_EQ(Maps::encode({"R", 0, &aRegister}, {{&aRegister.fields[1], "5"}}).value, 0x50U);
}

TEST(Assignments, AreOneMaskedWrite) {
    expectMaskedValue({{"MODE", "5"}}, 0xA, 0xE);
    expectMaskedValue({{"START", "1"}, {"GAIN", "0x20"}, {"KIND", "2"}}, 0x22001, 0x3FF01);
    expectMaskedValue({}, 0, 0);
}

TEST(Assignments, UseTheNamesForWriting) {
    expectMaskedValue({{"MODE", "run"}}, 0x8, 0xE);
    expectMaskedValue({{"MODE", "stop"}, {"KIND", "b"}}, 0x20000, 0x3000E);
}

void expectRefused(const Maps::Register& aRegister, const std::vector<Assignment>& assignments,
                   const std::string& reason) {
    try {
        encode({"C.R", 0, &aRegister}, assignments);
        ADD_FAILURE() << "not refused: " << reason;
    } catch (const Maps::RefusedValue& refused) {
        EXPECT_EQ(refused.what(), reason);
    }
}

TEST(Assignments, HaveNoLeadingZeroEvenInAWideField) {
    const Maps::Register wide =
        onlyRegister(read(mapOf(registerOf("<size>64</size>" + element("fields", field("F", "[63:0]"))))));
    expectRefused(wide, {{"F", "04294967296"}}, "field C.R.F: '04294967296' is ambiguous (write 4294967296)");
}

void expectRefused(const std::vector<Assignment>& assignments, const std::string& reason) {
    expectRefused(control(), assignments, reason);
}

TEST(Assignments, TakeANameThatBeginsWithADigit) {
    const Maps::Register aRegister = onlyRegister(read(mapOfFields(
        field("SIZE", "[3:0]", valuesFor("read-write", value("1k", "2") + value("0b2", "3") + value("7", "7"))))));
    const auto valueOf = [&aRegister](const std::string& text) {
        return encode({"R", 0, &aRegister}, {{"SIZE", text}}).value;
    };
    EXPECT_EQ(valueOf("1k"), 2U);
    EXPECT_EQ(valueOf("0b2"), 3U);
    EXPECT_EQ(valueOf("7"), 7U);
    EXPECT_EQ(valueOf("0B11"), 3U);
}

TEST(Assignments, AreRefusedForANumberThatIsTheNameOfAnotherValue) {
    const Maps::Register aRegister = onlyRegister(read(mapOfFields(
        field("TRIGGER", "[3:0]", valuesFor("write", value("0010", "#0010") + value("0x3", "4") + value("a", "5"))))));
    expectRefused(
        aRegister, {{"TRIGGER", "0010"}},
        "field C.R.TRIGGER: '0010' is a number and also the name of the value 2 (give the value with 0x or 0b)");
    expectRefused(
        aRegister, {{"TRIGGER", "0x3"}},
        "field C.R.TRIGGER: '0x3' is a number and also the name of the value 4 (give the value with 0x or 0b)");
    expectRefused(aRegister, {{"TRIGGER", "b"}},
                  "field C.R.TRIGGER: 'b' is not a value of the field (give a number or a)");
    EXPECT_EQ(encode({"R", 0, &aRegister}, {{"TRIGGER", "10"}}).value, 10U);
    EXPECT_EQ(encode({"R", 0, &aRegister}, {{"TRIGGER", "0b10"}}).value, 2U);
}

TEST(Assignments, NameElementsOfArraysOfFields) {
    const Maps::Register aRegister = onlyRegister(read(mapOfFields(
        "<field><dim>4</dim><dimIncrement>2</dimIncrement><name>PIN%s</name><bitRange>[1:0]</bitRange></field>")));
    EXPECT_EQ(encode({"R", 0, &aRegister}, {{"PIN[3]", "2"}}).value, 0x80U);
    EXPECT_EQ(encode({"R", 0, &aRegister}, {{"PIN3", "2"}}).mask, 0xC0U);
}

TEST(Assignments, AreRefusedForAnUnknownField) {
    expectRefused({{"GAIM", "2"}}, "register C.R has no field 'GAIM' (did you mean 'GAIN'?)");
    expectRefused({{"NOTHING", "2"}},
                  "register C.R has no field 'NOTHING' (give START, READY, MODE, GAIN, KIND or SAME)");
}

TEST(Assignments, AreRefusedForAFieldThatCannotBeWritten) {
    expectRefused({{"READY", "1"}}, "field C.R.READY is read-only");
    expectRefused(
        onlyRegister(Maps::readMap(mapOf(registerOf("<size>8</size><fields>" + field("OUT", "[8:8]") + "</fields>")))
                         .device.value()),
        {{"OUT", "1"}}, "field C.R.OUT is outside the 8 bits of its register");
}

TEST(Assignments, AreRefusedForAnUnknownName) {
    for (const std::string name : {"slow", "other", "", "RUN"}) {
        expectRefused({{"MODE", name}},
                      "field C.R.MODE: '" + name + "' is not a value of the field (give a number, stop or run)");
    }
    expectRefused({{"GAIN", "high"}}, "field C.R.GAIN: 'high' is not a value of the field (give a number)");
}

TEST(Assignments, AreRefusedForAValueThatDoesNotFit) {
    for (const std::string number : {"8", "0x1ffffffff", "0xfffffffffffffffff"}) {
        expectRefused({{"MODE", number}}, "field C.R.MODE: '" + number + "' does not fit in 3 bits");
    }
    expectRefused(
        onlyRegister(Maps::readMap(mapOfFields(field("F", "[1:0]", valuesFor("read-write", value("wide", "4")))))
                         .device.value()),
        {{"F", "wide"}}, "field C.R.F: the value of 'wide' does not fit in 2 bits");
    expectRefused({{"START", "2"}}, "field C.R.START: '2' does not fit in 1 bit");
}

TEST(Assignments, AreRefusedForAValueThatMayNotBeWritten) {
    for (const std::string number : {"1", "201"}) {
        expectRefused({{"GAIN", number}}, "field C.R.GAIN: value '" + number + "' is not allowed (write 2 to 200)");
    }
    expectRefused({{"KIND", "3"}}, "field C.R.KIND: value '3' is not allowed (write a or b)");
    expectRefused({{"SAME", "1"}},
                  "field C.R.SAME may be written only with the value that was read (leave it unchanged)");
}

TEST(Assignments, AreRefusedWithTheEnumeratedValuesThatMayBeWritten) {
    const auto fieldWith = [](const std::string& values) {
        return onlyRegister(
            Maps::readMap(
                mapOfFields(field(
                    "F", "[3:0]",
                    values + "<writeConstraint><useEnumeratedValues>true</useEnumeratedValues></writeConstraint>")))
                .device.value());
    };
    expectRefused(fieldWith(valuesFor("write", value("off", "0") + value("0x2", "3") + value("wide", "16"))),
                  {{"F", "1"}}, "field C.R.F: value '1' is not allowed (write off or 3)");
    expectRefused(fieldWith(valuesFor("write", element("enumeratedValue", element("value", "5")))), {{"F", "1"}},
                  "field C.R.F: value '1' is not allowed (write 5)");
    expectRefused(fieldWith(valuesFor("read", value("idle", "1"))), {{"F", "1"}},
                  "field C.R.F: value '1' is not allowed (the field has no enumerated values for writing)");
}

TEST(Assignments, AreRefusedForARegisterWithoutFields) {
    expectRefused(onlyRegister(read(mapOf(registerOf("")))), {{"A", "1"}},
                  "register C.R has no field 'A' (the register has no fields)");
}

TEST(Assignments, AreRefusedForAFieldThatIsNamedTwice) {
    expectRefused({{"MODE", "1"}, {"MODE", "1"}}, "field C.R.MODE is assigned twice (assign it once)");
}

TEST(Assignments, AreRefusedForFieldsThatOverlap) {
    const Maps::Register aRegister = onlyRegister(
        Maps::readMap(mapOfFields(field("A", "[1:0]") + field("B", "[3:2]") + field("C", "[2:1]"))).device.value());
    expectRefused(aRegister, {{"A", "0"}, {"B", "0"}, {"C", "0"}},
                  "field C.R.C overlaps field A, which is also assigned (assign only one of them)");
    expectRefused(aRegister, {{"C", "0"}, {"B", "0"}},
                  "field C.R.B overlaps field C, which is also assigned (assign only one of them)");
}

/**
 * Returns whether the first field of a register matches the pattern in a text. `number` is the value of the register.
 */
bool matches(const std::string& text, const Maps::Register& aRegister, std::uint64_t number) {
    const Maps::Field& field = aRegister.fields[0];
    return Maps::parsePattern({"R", 0, &aRegister}, field, text).matches(decode(field, number));
}

Maps::Register withPatterns() {
    return onlyRegister(
        read(mapOfFields(field("F", "[3:0]",
                               valuesFor("read", value("low", "#00xx") + value("8", "8") + value("4", "#01xx") +
                                                     "<enumeratedValue><name>9</name><isDefault>true</isDefault>"
                                                     "</enumeratedValue>")))));
}

TEST(FieldPattern, MatchesANumberOrTheNumbersOfAName) {
    const Maps::Register aRegister = withPatterns();
    EXPECT_TRUE(matches("low", aRegister, 3));
    EXPECT_FALSE(matches("low", aRegister, 4));
    EXPECT_TRUE(matches("0x3", aRegister, 3));
    EXPECT_FALSE(matches("3", aRegister, 2));
    EXPECT_TRUE(matches("8", aRegister, 8));
    EXPECT_EQ(Maps::namesToRead(aRegister.fields[0]), (std::vector<std::string>{"low", "8"}));
}

TEST(FieldPattern, RefusesANumberThatIsAlsoTheNameOfOtherNumbers) {
    const Maps::Register aRegister = withPatterns();
    EXPECT_THROW(matches("4", aRegister, 4), Maps::RefusedValue);
    EXPECT_THROW(matches("9", aRegister, 9), Maps::RefusedValue);
    EXPECT_TRUE(matches("0x4", aRegister, 4));
}

/** Returns a register whose field F has a value with the name 10. The number of this value is not 10. */
Maps::Register withNumericName() {
    return onlyRegister(
        read(mapOfFields(field("F", "[3:0]", valuesFor("write", value("10", "2") + value("on", "1"))))));
}

TEST(NumberToWrite, BelongsToANameEvenIfTheNameHasOnlyDigits) {
    const Maps::Register aRegister = withNumericName();
    EXPECT_EQ(Maps::numberToWrite(aRegister.fields[0], "10"), 2U);
    EXPECT_EQ(Maps::numberToWrite(aRegister.fields[0], "on"), 1U);
    EXPECT_EQ(Maps::numberToWrite(aRegister.fields[0], "1"), std::nullopt);
    EXPECT_EQ(Maps::numberToWrite(aRegister.fields[0], ""), std::nullopt);
}

TEST(AssignedNumber, IsNeverAName) {
    const Maps::Register aRegister = withNumericName();
    const Maps::LocatedRegister located{"R", 0, &aRegister};
    EXPECT_EQ(Maps::encode(located, {{&aRegister.fields[0], "", 10}}).value, 10U);
    try {
        Maps::encode(located, {{&aRegister.fields[0], "", 16}});
        ADD_FAILURE() << "not refused";
    } catch (const Maps::RefusedValue& refused) {
        EXPECT_STREQ(refused.what(), "field R.F: value 16 does not fit in 4 bits");
    }
}

} // namespace
} // namespace RynvelTest
