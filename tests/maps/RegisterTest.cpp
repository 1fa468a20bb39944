// SPDX-License-Identifier: MIT
#include "MapText.h"

namespace RynvelTest {
namespace {

using Maps::Access;
using Maps::Protection;

TEST(Register, HasTheValuesOfItsElements) {
    const Maps::Register aRegister = onlyRegister(
        read(mapOf("<register><name>CR</name><displayName>C R</displayName><description> The\n control </description>"
                   "<alternateGroup>G</alternateGroup><addressOffset>0x1C</addressOffset><size>16</size>"
                   "<access>read-only</access><protection>p</protection><resetValue>0x12</resetValue>"
                   "<resetMask>0xFF</resetMask><dataType>uint16_t</dataType></register>")));
    EXPECT_EQ(aRegister.name, "CR");
    EXPECT_EQ(aRegister.displayName, "C R");
    EXPECT_EQ(aRegister.description.str(), "The control");
    EXPECT_EQ(aRegister.alternateGroup, "G");
    EXPECT_EQ(aRegister.alternateRegister, "");
    EXPECT_EQ(aRegister.offset, 0x1CU);
    EXPECT_EQ(aRegister.size, 16U);
    EXPECT_EQ(aRegister.access, Access::ReadOnly);
    EXPECT_EQ(aRegister.protection, Protection::Privileged);
    EXPECT_EQ(aRegister.resetValue, 0x12U);
    EXPECT_EQ(aRegister.resetMask, 0xFFU);
    EXPECT_EQ(aRegister.line, 1U);
}

TEST(Register, HasEveryAccess) {
    const auto accessOf = [](const std::string& word) {
        return onlyRegister(read(mapOf(registerOf(element("access", word))))).access;
    };
    EXPECT_EQ(accessOf("read-only"), Access::ReadOnly);
    EXPECT_EQ(accessOf("write-only"), Access::WriteOnly);
    EXPECT_EQ(accessOf("read-write"), Access::ReadWrite);
    EXPECT_EQ(accessOf("writeOnce"), Access::WriteOnce);
    EXPECT_EQ(accessOf("read-writeOnce"), Access::ReadWriteOnce);
}

TEST(Access, AllowsReadsOrWrites) {
    EXPECT_TRUE(isReadable(Access::ReadOnly) && isReadable(Access::ReadWrite) && isReadable(Access::ReadWriteOnce));
    EXPECT_FALSE(isReadable(Access::WriteOnly) || isReadable(Access::WriteOnce));
    EXPECT_TRUE(isWritable(Access::WriteOnly) && isWritable(Access::WriteOnce) && isWritable(Access::ReadWrite) &&
                isWritable(Access::ReadWriteOnce));
    EXPECT_FALSE(isWritable(Access::ReadOnly));
}

TEST(Register, HasEveryProtection) {
    const auto protectionOf = [](const std::string& word) {
        return onlyRegister(read(mapOf(registerOf(element("protection", word))))).protection;
    };
    EXPECT_EQ(protectionOf("s"), Protection::Secure);
    EXPECT_EQ(protectionOf("n"), Protection::NonSecure);
    EXPECT_EQ(protectionOf("p"), Protection::Privileged);
}

TEST(Register, HasEveryReadAction) {
    const auto actionOf = [](const std::string& word) {
        return onlyRegister(read(mapOf(registerOf(element("readAction", word))))).readAction;
    };
    EXPECT_EQ(actionOf("clear"), Maps::ReadAction::Clear);
    EXPECT_EQ(actionOf("set"), Maps::ReadAction::Set);
    EXPECT_EQ(actionOf("modify"), Maps::ReadAction::Modify);
    EXPECT_EQ(actionOf("modifyExternal"), Maps::ReadAction::ModifyExternal);
    EXPECT_EQ(onlyRegister(read(mapOf(registerOf("")))).readAction, std::nullopt);
}

TEST(Register, HasEveryModifiedWrite) {
    const auto writeOf = [](const std::string& word) {
        return onlyRegister(read(mapOf(registerOf(element("modifiedWriteValues", word))))).modifiedWrite;
    };
    EXPECT_EQ(writeOf("oneToClear"), Maps::ModifiedWrite::OneToClear);
    EXPECT_EQ(writeOf("oneToSet"), Maps::ModifiedWrite::OneToSet);
    EXPECT_EQ(writeOf("oneToToggle"), Maps::ModifiedWrite::OneToToggle);
    EXPECT_EQ(writeOf("zeroToClear"), Maps::ModifiedWrite::ZeroToClear);
    EXPECT_EQ(writeOf("zeroToSet"), Maps::ModifiedWrite::ZeroToSet);
    EXPECT_EQ(writeOf("zeroToToggle"), Maps::ModifiedWrite::ZeroToToggle);
    EXPECT_EQ(writeOf("clear"), Maps::ModifiedWrite::Clear);
    EXPECT_EQ(writeOf("set"), Maps::ModifiedWrite::Set);
    EXPECT_EQ(writeOf("modify"), Maps::ModifiedWrite::Modify);
    EXPECT_EQ(onlyRegister(read(mapOf(registerOf("")))).modifiedWrite, Maps::ModifiedWrite::Modify);
}

TEST(Register, HasEveryWriteConstraint) {
    const auto constraintOf = [](const std::string& content) {
        return onlyRegister(read(mapOf(registerOf(element("writeConstraint", content))))).writeConstraint;
    };
    ASSERT_TRUE(constraintOf("<writeAsRead>true</writeAsRead>"));
    EXPECT_EQ(constraintOf("<writeAsRead>true</writeAsRead>")->kind, Maps::WriteConstraint::Kind::WriteAsRead);
    ASSERT_TRUE(constraintOf("<useEnumeratedValues>1</useEnumeratedValues>"));
    EXPECT_EQ(constraintOf("<useEnumeratedValues>1</useEnumeratedValues>")->kind,
              Maps::WriteConstraint::Kind::EnumeratedValues);
    const auto range = constraintOf("<range><minimum>2</minimum><maximum>0x10</maximum></range>");
    ASSERT_TRUE(range);
    EXPECT_EQ(range->kind, Maps::WriteConstraint::Kind::Range);
    EXPECT_EQ(range->minimum, 2U);
    EXPECT_EQ(range->maximum, 16U);
    EXPECT_FALSE(constraintOf("<writeAsRead>false</writeAsRead>"));
}

/** Returns a map with a register in a cluster. The arguments contain the properties at each level. */
std::string nested(const std::string& device, const std::string& peripheral, const std::string& cluster,
                   const std::string& aRegister) {
    return "<device><name>D</name><version>1</version><description>D</description><addressUnitBits>8</addressUnitBits>"
           "<width>32</width>" +
           device + "<peripherals><peripheral><name>P</name><baseAddress>0</baseAddress>" + peripheral +
           "<registers><cluster><name>C</name><description>C</description><addressOffset>0</addressOffset>" + cluster +
           registerOf(aRegister) + "</cluster></registers></peripheral></peripherals></device>";
}

Maps::Register nestedRegister(const std::string& device, const std::string& peripheral, const std::string& cluster,
                              const std::string& aRegister) {
    const Maps::Device map = read(nested(device, peripheral, cluster, aRegister));
    return onlyPeripheral(map).clusters[0].registers[0];
}

const std::string all = "<size>32</size><access>read-only</access><protection>s</protection><resetValue>1</resetValue>"
                        "<resetMask>3</resetMask>";

TEST(Register, InheritsFromEveryLevel) {
    for (const Maps::Register& aRegister : {nestedRegister(all, "", "", ""), nestedRegister("", all, "", ""),
                                            nestedRegister("", "", all, ""), nestedRegister("", "", "", all)}) {
        EXPECT_EQ(aRegister.size, 32U);
        EXPECT_EQ(aRegister.access, Access::ReadOnly);
        EXPECT_EQ(aRegister.protection, Protection::Secure);
        EXPECT_EQ(aRegister.resetValue, 1U);
        EXPECT_EQ(aRegister.resetMask, 3U);
    }
}

TEST(Register, InheritsFromTheNearestLevel) {
    const Maps::Register aRegister =
        nestedRegister(all, "<size>16</size><resetValue>4</resetValue><resetMask>7</resetMask>",
                       "<size>8</size><protection>n</protection><resetMask>6</resetMask>",
                       "<access>write-only</access><resetValue>5</resetValue>");
    EXPECT_EQ(aRegister.size, 8U);
    EXPECT_EQ(aRegister.access, Access::WriteOnly);
    EXPECT_EQ(aRegister.protection, Protection::NonSecure);
    EXPECT_EQ(aRegister.resetValue, 5U);
    EXPECT_EQ(aRegister.resetMask, 6U);
}

TEST(Register, HasNoResetValueThatTheMapDoesNotGive) {
    const Maps::Register aRegister = nestedRegister("<size>16</size><access>read-only</access>", "", "", "");
    EXPECT_EQ(aRegister.resetValue, std::nullopt);
    EXPECT_EQ(aRegister.resetMask, 0xFFFFU);
    EXPECT_EQ(aRegister.protection, std::nullopt);
}

TEST(Register, TakesTheBitsOfAnInheritedMaskThatItHas) {
    EXPECT_EQ(onlyRegister(read(mapOf(registerOf("<size>8</size>")))).resetMask, 0xFFU);
    EXPECT_EQ(
        onlyRegister(read(mapOf(registerOf("<size>64</size><resetMask>0xFFFFFFFFFFFFFFFF</resetMask>")))).resetMask,
        UINT64_MAX);
}

TEST(IrregularRegister, Has32BitsWithoutASize) {
    const std::string warning =
        "m.svd:1: warning: register 'R' has no valid size (1 to 65535 bits): 32 bits are assumed\n";
    EXPECT_EQ(onlyPeripheral(readWithWarnings(nested("<access>read-only</access>", "", "", ""), warning))
                  .clusters[0]
                  .registers[0]
                  .size,
              32U);
    for (const std::string size : {"0", "65536"}) {
        EXPECT_EQ(onlyRegister(readWithWarnings(mapOf(registerOf(element("size", size))), warning)).size, 32U);
    }
}

TEST(IrregularRegister, KeepsAnUnusualSize) {
    EXPECT_EQ(onlyRegister(readWithWarnings(mapOf(registerOf("<size>24</size>")),
                                            "m.svd:1: warning: register 'R' has 24 bits (8, 16, 32 or 64 are usual)\n"))
                  .size,
              24U);
}

TEST(IrregularRegister, HasTheAccessOfItsFieldsWithoutItsOwn) {
    const auto accessOf = [](const std::string& one, const std::string& other) {
        const auto field = [](const std::string& name, const std::string& access) {
            return element("field", element("name", name) + element("bitOffset", name == "A" ? "0" : "1") +
                                        element("access", access));
        };
        return onlyPeripheral(
                   readWithWarnings(
                       nested("<size>32</size>", "", "", element("fields", field("A", one) + field("B", other))),
                       "m.svd:1: warning: register 'R' has no access: the access of its fields is assumed\n"))
            .clusters[0]
            .registers[0]
            .access;
    };
    EXPECT_EQ(accessOf("read-only", "read-only"), Access::ReadOnly);
    EXPECT_EQ(accessOf("write-only", "writeOnce"), Access::WriteOnly);
    EXPECT_EQ(accessOf("write-only", "read-only"), Access::ReadWrite);
}

TEST(IrregularRegister, CanBeReadAndWrittenWithoutAnyAccess) {
    const std::string warning = "m.svd:1: warning: register 'R' has no access: read-write is assumed\n";
    for (const std::string& fields :
         {std::string(), std::string("<fields><field><name>F</name><bitOffset>0</bitOffset></field></fields>")}) {
        EXPECT_EQ(onlyPeripheral(readWithWarnings(nested("<size>32</size>", "", "", fields), warning))
                      .clusters[0]
                      .registers[0]
                      .access,
                  Access::ReadWrite);
    }
}

TEST(IrregularRegister, LosesTheBitsOfAResetValueThatDoNotFit) {
    const Maps::Register aRegister = onlyRegister(
        readWithWarnings(mapOf(registerOf("<size>8</size><resetValue>0x1FF</resetValue><resetMask>0x10F</resetMask>")),
                         "m.svd:1: warning: register 'R' has a reset mask that does not fit in its 8 bits\n"
                         "m.svd:1: warning: register 'R' has a reset value that does not fit in its 8 bits\n"));
    EXPECT_EQ(aRegister.resetValue, 0xFFU);
    EXPECT_EQ(aRegister.resetMask, 0x0FU);
}

TEST(IrregularRegister, IsLeftOutWithoutAnOffset) {
    EXPECT_EQ(namesOf(onlyPeripheral(
                          readWithWarnings(mapOf("<register><name>A</name></register>" + registerOf("")),
                                           "m.svd:1: warning: register 'A' has no addressOffset, and is not used\n"))
                          .registers),
              "R ");
}

TEST(IrregularRegister, IsLeftOutWithoutAName) {
    for (const std::string name : {"", "<name/>", "<name> </name>"}) {
        const std::string empty = name.empty() ? "" : "m.svd:2: warning: element 'name' is empty\n";
        EXPECT_EQ(namesOf(onlyPeripheral(
                              readWithWarnings(mapOf(registerOf("") + "\n<register>" + name +
                                                     "<addressOffset>4</addressOffset></register>"),
                                               "m.svd:2: warning: a register has no name, and is not used\n" + empty))
                              .registers),
                  "R ");
    }
}

TEST(IrregularRegister, KeepsAnUnusualName) {
    EXPECT_EQ(
        onlyRegister(readWithWarnings(mapOf("<register><name>A-B c</name><addressOffset>0</addressOffset></register>"),
                                      "m.svd:1: warning: name 'A-B c' has characters other than letters, digits and "
                                      "'_'\n"))
            .name,
        "A-B c");
}

TEST(IrregularRegister, IsLeftOutIfItsNameIsTooLong) {
    const std::string longName(257, 'N');
    EXPECT_EQ(
        namesOf(onlyPeripheral(
                    readWithWarnings(
                        mapOf(element("register", element("name", longName) + "<addressOffset>0</addressOffset>") +
                              registerOf("")),
                        "m.svd:1: warning: a register has no name, and is not used\n"
                        "m.svd:1: warning: name '" +
                            longName.substr(0, 80) + "' is longer than 256 characters, and is not used\n"))
                    .registers),
        "R ");
}

TEST(IrregularRegisters, AreBothUsedIfTheyHaveTheSameName) {
    EXPECT_EQ(namesOf(onlyPeripheral(readWithWarnings(
                                         mapOf(registerOf("") + "\n<register><name>R</name><addressOffset>4"
                                                                "</addressOffset></register>"),
                                         "m.svd:2: warning: register 'R' has the same name as the register in line 1: "
                                         "the name selects the register with the lowest offset\n"))
                          .registers),
              "R R ");
}

TEST(IrregularRegisters, AreAllUsedIfTheyHaveTheSameNameInSeveralGroups) {
    EXPECT_EQ(
        namesOf(onlyPeripheral(
                    readWithWarnings(mapOf(registerOf("") + "\n" + registerOf("<alternateGroup>G</alternateGroup>")),
                                     "m.svd:2: warning: register 'R' has the same name as the register in line 1: "
                                     "the name selects the register with the lowest offset\n"))
                    .registers),
        "R R ");
}

std::string two(const std::string& firstElements, const std::string& secondElements) {
    return mapOf("<register><name>A</name><addressOffset>4</addressOffset>" + firstElements +
                 "</register>\n<register><name>B</name><addressOffset>6</addressOffset>" + secondElements +
                 "</register>");
}

TEST(IrregularRegisters, AreBothUsedIfTheyOverlap) {
    EXPECT_EQ(
        namesOf(onlyPeripheral(readWithWarnings(two("", ""), "m.svd:2: warning: register 'B' overlaps register 'A' "
                                                             "and is not an alternative to it\n"))
                    .registers),
        "A B ");
}

TEST(Registers, MayOverlapAsAlternatives) {
    read(two("", "<alternateRegister>A</alternateRegister>"));
    read(two("", "<alternateGroup>G</alternateGroup>"));
    read(two("<size>16</size>", ""));
    read(two("<access>read-only</access>", "<access>write-only</access>"));
}

} // namespace
} // namespace RynvelTest
