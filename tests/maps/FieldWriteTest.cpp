// SPDX-License-Identifier: MIT
#include "FieldWrite.h"

#include "MapText.h"

namespace RynvelTest {
namespace {

using Maps::Assignment;
using Assignments = std::vector<Assignment>;

const std::string writeOnly = "<access>write-only</access>";
const std::string clearedByReading = "<readAction>clear</readAction>";

std::string modified(const std::string& kind) { return element("modifiedWriteValues", kind); }

std::string bit(const std::string& name, unsigned int number, const std::string& further = "") {
    const std::string position = std::to_string(number);
    return element("field",
                   element("name", name) + element("bitRange", "[" + position + ":" + position + "]") + further);
}

/** Returns a map with one register of 8 bits that has these fields. `further` contains more elements of the register.
 */
std::string mapWith(const std::string& fields, const std::string& further = "") {
    const std::string size = "<size>8</size><resetValue>0</resetValue><resetMask>0xFF</resetMask>";
    return mapOf(registerOf(size + further + element("fields", fields)));
}

Maps::Register registerWith(const std::string& fields, const std::string& further = "") {
    return onlyRegister(read(mapWith(fields, further)));
}

Maps::FieldWrite plan(const Maps::Register& aRegister, const Assignments& assignments) {
    const Maps::LocatedRegister located{"C.R", 0, &aRegister};
    return planWrite(located, findFields(located, assignments), {aRegister.size, hasReadSideEffect(aRegister), {}});
}

void expectMasked(const Maps::Register& aRegister, const Assignments& assignments, std::uint64_t value,
                  std::uint64_t mask) {
    const Maps::FieldWrite write = plan(aRegister, assignments);
    EXPECT_EQ(write.written.value, value);
    EXPECT_EQ(write.written.mask, mask);
    EXPECT_FALSE(write.isWhole);
}

void expectWhole(const Maps::Register& aRegister, const Assignments& assignments, std::uint64_t value) {
    const Maps::FieldWrite write = plan(aRegister, assignments);
    EXPECT_EQ(write.written.value, value);
    EXPECT_TRUE(write.isWhole);
}

void expectRefused(const Maps::Register& aRegister, const std::string& reason) {
    try {
        plan(aRegister, {{"A", "1"}});
        ADD_FAILURE() << "not refused: " << reason;
    } catch (const Maps::RefusedValue& refused) {
        EXPECT_EQ(refused.what(), reason);
    }
}

TEST(FieldWrite, IsMaskedAndSelectsTheAssignedFields) {
    const Maps::Register aRegister = registerWith(bit("A", 0) + bit("B", 1) + bit("C", 7));
    expectMasked(aRegister, {{"A", "1"}}, 0x01, 0x01);
    expectMasked(aRegister, {{"C", "1"}, {"A", "0"}}, 0x80, 0x81);
}

TEST(FieldWrite, ReportsTheAssignedFieldsWithTheirNamesForWriting) {
    const auto named = [](const std::string& usage, const std::string& name) {
        return element("enumeratedValues", element("name", usage + "s") + element("usage", usage) +
                                               element("enumeratedValue", element("name", name) + "<value>1</value>"));
    };
    const Maps::Register aRegister =
        registerWith(bit("A", 4, named("read", "busy") + named("write", "go")) + bit("B", 1));
    const Maps::FieldWrite write = plan(aRegister, {{"B", "0"}, {"A", "go"}});
    ASSERT_EQ(write.fields.size(), 2U);
    EXPECT_EQ(write.fields[0].field->name, "B");
    EXPECT_EQ(write.fields[0].value, 0U);
    EXPECT_EQ(write.fields[0].name, nullptr);
    EXPECT_EQ(write.fields[1].value, 1U);
    EXPECT_EQ(write.fields[1].name->name, "go");
}

TEST(FieldWrite, LeavesOtherFieldsAloneThatAOneWouldChange) {
    for (const std::string kind : {"oneToClear", "oneToSet", "oneToToggle"}) {
        expectMasked(registerWith(bit("A", 0) + bit("B", 1, modified(kind)) + bit("C", 2)), {{"A", "1"}}, 0x01, 0x03);
    }
}

TEST(FieldWrite, LeavesOtherFieldsAloneThatAZeroWouldChange) {
    for (const std::string kind : {"zeroToClear", "zeroToSet", "zeroToToggle"}) {
        expectMasked(registerWith(bit("A", 0) + bit("B", 1, modified(kind)) + bit("C", 2)), {{"A", "1"}}, 0x03, 0x03);
    }
}

TEST(FieldWrite, WritesAssignedFieldsAsTheyAreAssigned) {
    expectMasked(registerWith(bit("A", 0, modified("oneToClear")) + bit("B", 1, modified("zeroToClear"))),
                 {{"A", "1"}, {"B", "0"}}, 0x01, 0x03);
}

TEST(FieldWrite, LeavesBitsWithoutAFieldAlone) {
    expectMasked(registerWith(bit("A", 0) + bit("B", 1, "<access>read-only</access>"), modified("oneToClear")),
                 {{"A", "1"}}, 0x01, 0xFD);
    expectMasked(registerWith(bit("A", 0) + bit("B", 1, "<access>read-only</access>"), modified("zeroToSet")),
                 {{"A", "0"}}, 0xFC, 0xFD);
    expectMasked(registerWith(bit("A", 0), modified("clear")), {{"A", "1"}}, 0x01, 0x01);
}

TEST(FieldWrite, LeavesEachBitOfOverlappingFieldsAlone) {
    const std::string both =
        "<field><name>BOTH</name><bitRange>[1:0]</bitRange>" + modified("zeroToClear") + "</field>";
    expectMasked(
        onlyRegister(Maps::readMap(mapOf(registerOf("<size>8</size>" +
                                                    element("fields", both + bit("A", 0, modified("zeroToClear"))))))
                         .device.value()),
        {{"A", "0"}}, 0x02, 0x03);
}

TEST(FieldWrite, HasNoMaskIfItSelectsAllBits) {
    expectWhole(registerWith("<field><name>A</name><bitRange>[7:0]</bitRange></field>"), {{"A", "0x5A"}}, 0x5A);
    expectWhole(registerWith(bit("A", 0), modified("oneToSet")), {{"A", "1"}}, 0x01);
}

TEST(FieldWrite, IsRefusedIfAnotherFieldChangesWithEveryWrite) {
    for (const std::string kind : {"clear", "set"}) {
        expectRefused(registerWith(bit("A", 0) + bit("B", 1, modified(kind)) + bit("C", 2)),
                      "field C.R.B changes with every write to its register (also assign B)");
    }
}

TEST(FieldWrite, IsRefusedIfTheValueOfAnotherFieldCannotBeWrittenBack) {
    expectRefused(registerWith(bit("A", 0) + bit("B", 1, writeOnly)),
                  "field C.R.B is write-only, so it cannot keep its value (also assign B)");
    expectRefused(registerWith(bit("A", 0) + bit("B", 1, "<access>read-writeOnce</access>")),
                  "field C.R.B can be written only once, and this write would include the field (also assign B)");
    expectMasked(registerWith(bit("A", 0) + bit("B", 1, writeOnly + modified("oneToSet"))), {{"A", "1"}}, 0x01, 0x03);
}

TEST(FieldWrite, IsRefusedIfTheRegisterIsWriteOnly) {
    expectRefused(registerWith(bit("A", 0) + bit("B", 1), writeOnly),
                  "register C.R is write-only, so its other fields cannot keep their values (also assign B)");
}

TEST(FieldWrite, IsRefusedIfReadingHasASideEffect) {
    const std::string reason =
        "reading register C.R has a side effect, so its other fields cannot keep their values (also assign B)";
    expectRefused(registerWith(bit("A", 0) + bit("B", 1), clearedByReading), reason);
    expectRefused(
        registerWith(bit("A", 0) + bit("B", 1) + bit("C", 2, "<access>read-only</access>" + clearedByReading)), reason);
}

TEST(FieldWrite, HasNoMaskIfTheRegisterCannotBeReadAndAllFieldsAreAssigned) {
    const Assignments both = {{"A", "1"}, {"B", "0"}};
    expectWhole(registerWith(bit("A", 0) + bit("B", 1), writeOnly), both, 0x01);
    expectWhole(registerWith(bit("A", 0) + bit("B", 1), clearedByReading), both, 0x01);
    expectWhole(registerWith(bit("A", 0) + bit("B", 1) + bit("C", 2, "<access>read-only</access>" + clearedByReading)),
                both, 0x01);
    expectWhole(registerWith(bit("A", 0) + bit("B", 1), writeOnly + modified("zeroToClear")), both, 0xFD);
}

TEST(FieldWrite, IsMaskedIfAllFieldsWithSpecialWritesAreAssigned) {
    expectMasked(registerWith(bit("A", 0) + bit("B", 1, modified("clear")) + bit("C", 2, writeOnly)),
                 {{"A", "1"}, {"B", "1"}, {"C", "1"}}, 0x07, 0x07);
}

Maps::MaskedValue planMasked(const Maps::Register& aRegister, std::uint64_t value, std::uint64_t mask) {
    return Maps::planMaskedWrite({"C.R", 0, &aRegister}, {value, mask}, {aRegister.size, false, {}});
}

void expectMaskedRefused(const Maps::Register& aRegister, std::uint64_t mask, const std::string& reason) {
    try {
        planMasked(aRegister, 0, mask);
        ADD_FAILURE() << "not refused: " << reason;
    } catch (const Maps::RefusedValue& refused) {
        EXPECT_EQ(refused.what(), reason);
    }
}

TEST(MaskedWrite, SelectsItsBits) {
    const Maps::MaskedValue written = planMasked(registerWith(bit("A", 0) + bit("B", 1)), 0x02, 0x42);
    EXPECT_EQ(written.value, 0x02U);
    EXPECT_EQ(written.mask, 0x42U);
}

TEST(MaskedWrite, LeavesAloneTheBitsOutsideTheMaskOfAFieldThatItSelectsPartly) {
    const std::string flags = "<field><name>A</name><bitRange>[3:0]</bitRange>" + modified("zeroToClear") + "</field>";
    const Maps::MaskedValue written =
        planMasked(registerWith(flags + bit("B", 4, modified("oneToSet")) + bit("C", 5)), 0, 0x01);
    EXPECT_EQ(written.value, 0x0EU);
    EXPECT_EQ(written.mask, 0x1FU);
}

TEST(MaskedWrite, LeavesAloneTheOtherBitsOfARegisterWithoutFields) {
    const Maps::Register aRegister =
        onlyRegister(read(mapOf(registerOf("<size>8</size><resetMask>0xFF</resetMask>" + modified("zeroToToggle")))));
    const Maps::MaskedValue written = planMasked(aRegister, 0, 0x0F);
    EXPECT_EQ(written.value, 0xF0U);
    EXPECT_EQ(written.mask, 0xFFU);
}

TEST(MaskedWrite, IsRefusedIfAFieldThatItDoesNotSelectChanges) {
    const Maps::Register aRegister =
        registerWith(bit("A", 0) + bit("B", 1, modified("clear")) + bit("C", 2, writeOnly) + bit("D", 3));
    expectMaskedRefused(
        aRegister, 0x01,
        "field C.R.B changes with every write to its register (also select all bits of B, C with the mask)");
    expectMaskedRefused(
        aRegister, 0x0B,
        "field C.R.C is write-only, so it cannot keep its value (also select all bits of C with the mask)");
    EXPECT_EQ(planMasked(aRegister, 0x06, 0x06).mask, 0x06U);
}

TEST(MaskedWrite, IsRefusedIfARegisterWithoutFieldsChanges) {
    const Maps::Register aRegister =
        onlyRegister(read(mapOf(registerOf("<size>8</size><resetMask>0xFF</resetMask>" + modified("set")))));
    expectMaskedRefused(aRegister, 0x7F,
                        "register C.R: the bits outside the mask cannot keep their values (leave out the mask)");
    EXPECT_EQ(planMasked(aRegister, 0, 0xFF).mask, 0xFFU);
}

TEST(MaskedWrite, IsRefusedIfTheNeutralValueOfAnotherFieldIsOutsideTheRange) {
    const std::string range =
        "<writeConstraint><range><minimum>0</minimum><maximum>1</maximum></range></writeConstraint>";
    expectMaskedRefused(registerWith(bit("A", 0) + bit("B", 1, modified("zeroToClear")), range), 0x01,
                        "register C.R: value 2 is not allowed (write 0 to 1)");
}

const std::string oneToNine =
    "<writeConstraint><range><minimum>1</minimum><maximum>9</maximum></range></writeConstraint>";

std::string nibble(const std::string& further) {
    return "<field><name>A</name><bitRange>[3:0]</bitRange>" + further + "</field>";
}

void expectResultRefused(const Maps::LocatedRegister& located, const Maps::MaskedValue& written, std::uint64_t before,
                         const std::string& reason) {
    try {
        requireResultAllowed(located, written, before);
        ADD_FAILURE() << "not refused: " << reason;
    } catch (const Maps::RefusedValue& refused) {
        EXPECT_EQ(refused.what(), reason);
    }
}

TEST(MaskedWrite, DependsOnTheOtherBitsOfAFieldWithAWriteConstraint) {
    const Maps::Register aRegister = registerWith(nibble(oneToNine) + bit("B", 4));
    const Maps::LocatedRegister located{"C.R", 0, &aRegister};
    for (const std::uint64_t mask : {0x01U, 0x18U, 0x1EU}) {
        EXPECT_TRUE(dependsOnOtherBits(located, mask)) << mask;
    }
    for (const std::uint64_t mask : {0x0FU, 0x10U, 0x1FU, 0xFFU}) {
        EXPECT_FALSE(dependsOnOtherBits(located, mask)) << mask;
    }
    expectResultRefused(located, {0x02, 0x02}, 0x09, "field C.R.A: value 11 is not allowed (write 1 to 9)");
    expectResultRefused(located, {0, 0x01}, 0xF1, "field C.R.A: value 0 is not allowed (write 1 to 9)");
    EXPECT_NO_THROW(requireResultAllowed(located, {0x02, 0x02}, 0xF1));
    EXPECT_NO_THROW(requireResultAllowed(located, {0x10, 0x10}, 0x0F));
    const Maps::Register readOnly = registerWith(nibble("<access>read-only</access>" + oneToNine) + bit("B", 4));
    EXPECT_FALSE(Maps::dependsOnOtherBits({"C.R", 0, &readOnly}, 0x01));
}

TEST(MaskedWrite, DependsOnTheOtherBitsOfARegisterWithARange) {
    const Maps::Register aRegister = registerWith(bit("B", 4), oneToNine);
    const Maps::LocatedRegister located{"C.R", 0, &aRegister};
    EXPECT_TRUE(dependsOnOtherBits(located, 0x10));
    EXPECT_FALSE(dependsOnOtherBits(located, 0xFF));
    expectResultRefused(located, {0x02, 0x02}, 0x09, "register C.R: value 11 is not allowed (write 1 to 9)");
    EXPECT_NO_THROW(requireResultAllowed(located, {0x02, 0x02}, 0xFF01));
}

TEST(MaskedWrite, MayAssignTheValueThatLeavesAFieldUnchanged) {
    const Maps::Register aRegister = registerWith(nibble(modified("oneToClear") + oneToNine) + bit("B", 4));
    const Maps::LocatedRegister located{"C.R", 0, &aRegister};
    EXPECT_NO_THROW(requireResultAllowed(located, {0x10, 0x1F}, 0x0F));
    expectResultRefused(located, {0x0C, 0x0F}, 0, "field C.R.A: value 12 is not allowed (write 1 to 9)");
}

TEST(ReadableBits, IncludeReadableFieldsAndTheOtherBitsOfAReadableRegister) {
    EXPECT_EQ(readableBits(registerWith(bit("A", 0) + bit("B", 1, writeOnly))), 0xFDU);
    const std::string both = "<access>read-write</access>";
    const Maps::Register aRegister = onlyRegister(
        readWithWarnings(mapWith(bit("A", 0, both) + bit("B", 1), writeOnly),
                         "m.svd:1: warning: field 'A' can be read, but its register cannot (the access of the "
                         "field is used)\n"));
    EXPECT_EQ(readableBits(aRegister), 0x01U);
    const Maps::LocatedRegister located{"C.R", 0, &aRegister};
    EXPECT_NO_THROW(requireBitsReadable(located, 0x01));
    EXPECT_THROW(requireBitsReadable(located, 0x03), Maps::RefusedValue);
    EXPECT_THROW(requireBitsReadable(located, 0x80), Maps::RefusedValue);
    EXPECT_EQ(readableBits(registerWith(bit("A", 0, "<access>read-only</access>") + bit("B", 1))), 0xFFU);
}

TEST(FieldWrite, IsMaskedIfTheRegisterIsNarrowerThanItsWord) {
    const Maps::Register aRegister = registerWith("<field><name>A</name><bitRange>[7:0]</bitRange></field>");
    const Maps::LocatedRegister located{"R", 0, &aRegister};
    const Maps::FieldWrite write = planWrite(located, findFields(located, {{"A", "0x5A"}}), {32, false, {}});
    EXPECT_EQ(write.written.mask, 0xFFU);
    EXPECT_FALSE(write.isWhole);
}

TEST(FieldWrite, ReadsNothingIfTheOtherFieldsDoNotNeedIt) {
    const std::string fields = bit("A", 0) + bit("B", 1, modified("oneToClear")) + bit("C", 2, modified("zeroToSet"));
    expectWhole(registerWith(fields, writeOnly), {{"A", "1"}}, 0x05);
    expectWhole(registerWith(fields, clearedByReading), {{"A", "1"}}, 0x05);
    expectRefused(registerWith(fields + bit("D", 3), writeOnly),
                  "register C.R is write-only, so its other fields cannot keep their values (also assign D)");
}

Maps::Register registerWithOverlaps(const std::string& fields) {
    return onlyRegister(Maps::readMap(mapOf(registerOf("<size>8</size>" + element("fields", fields)))).device.value());
}

TEST(FieldWrite, IsRefusedIfTwoFieldsNeedDifferentValuesOfABit) {
    const std::string reason =
        " cannot keep its value, because a field or register that shares its bits needs other values (also assign ";
    expectRefused(registerWithOverlaps(bit("A", 0) + bit("B", 1) + bit("C", 1, modified("zeroToSet"))),
                  "field C.R.B" + reason + "B)");
    expectRefused(registerWithOverlaps(bit("A", 0) + bit("B", 1, modified("oneToSet")) +
                                       bit("C", 1, modified("zeroToClear")) + bit("D", 2) +
                                       bit("E", 2, modified("oneToClear"))),
                  "field C.R.B" + reason + "B, D)");
    expectMasked(registerWithOverlaps(bit("A", 0) + bit("B", 1) + bit("C", 1, modified("zeroToSet"))),
                 {{"A", "1"}, {"B", "0"}}, 0x01, 0x03);
    expectMasked(
        registerWithOverlaps(bit("A", 0) + bit("B", 1, modified("oneToSet")) + bit("C", 1, modified("oneToClear"))),
        {{"A", "1"}}, 0x01, 0x03);
}

TEST(WriteShape, AppliesToEveryWriteOfTheFields) {
    const Maps::Register aRegister =
        registerWith(bit("A", 0) + bit("B", 1, modified("oneToClear")) + bit("C", 2, modified("zeroToSet")));
    const Maps::LocatedRegister located{"R", 0, &aRegister};
    const Maps::WriteShape shape = shapeOfWrite(located, 0x01, {8, false, {}});
    EXPECT_EQ(shape.kept.value, 0x04U);
    EXPECT_EQ(shape.kept.mask, 0x06U);
    EXPECT_FALSE(shape.isWhole);
}

TEST(WriteShape, RefusesAWriteOfAnAttributeWithItsOwnHint) {
    const Maps::Register aRegister = registerWith(bit("A", 0) + bit("B", 1), writeOnly);
    const Maps::LocatedRegister located{"R", 0, &aRegister};
    try {
        shapeOfWrite(located, 0x01, {8, false, {}}, Maps::WriteForm::Attribute);
        ADD_FAILURE() << "not refused";
    } catch (const Maps::RefusedValue& refused) {
        EXPECT_STREQ(refused.what(), "register R is write-only, so its other fields cannot keep their values (use "
                                     "update(), and also assign B)");
    }
}

TEST(ModifiedBits, IncludeWritableFieldsAndTheBitsOutside) {
    const Maps::ModifiedBits bits = modifiedBitsOf(registerWith(
        bit("A", 0) + bit("B", 1, modified("zeroToClear")) +
            bit("C", 2, "<access>read-only</access>" + modified("zeroToClear")) + bit("D", 3, modified("clear")),
        modified("oneToSet")));
    EXPECT_EQ(bits.keptByZero, 0xF1U);
    EXPECT_EQ(bits.keptByOne, 0x02U);
    EXPECT_EQ(bits.alwaysChanged, 0x08U);
    EXPECT_EQ(bits.all(), 0xFBU);
}

TEST(ReadSideEffect, MayBelongToARegisterOrToAField) {
    EXPECT_FALSE(hasReadSideEffect(registerWith(bit("A", 0))));
    EXPECT_TRUE(hasReadSideEffect(registerWith(bit("A", 0), "<readAction>modifyExternal</readAction>")));
    EXPECT_TRUE(hasReadSideEffect(onlyRegister(read(mapOf(registerOf(clearedByReading))))));
    EXPECT_TRUE(hasReadSideEffect(registerWith(bit("A", 0) + bit("B", 1, "<readAction>set</readAction>"))));
}

} // namespace
} // namespace RynvelTest
