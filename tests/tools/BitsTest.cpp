// SPDX-License-Identifier: MIT
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

std::string modified(const std::string& kind) { return "<modifiedWriteValues>" + kind + "</modifiedWriteValues>"; }

std::string array(const std::string& indexes) {
    return "<dim>2</dim><dimIncrement>4</dimIncrement><dimIndex>" + indexes + "</dimIndex>";
}

const std::string readOnly = "<access>read-only</access>";
const std::string writeOnly = "<access>write-only</access>";
const std::string alternative = "<alternateRegister>OTHER</alternateRegister>";
const std::string range = "<writeConstraint><range><minimum>1</minimum><maximum>9</maximum></range></writeConstraint>";
const std::string twoModes =
    "<writeConstraint><useEnumeratedValues>true</useEnumeratedValues></writeConstraint><enumeratedValues>"
    "<enumeratedValue><name>slow</name><value>1</value></enumeratedValue>"
    "<enumeratedValue><name>fast</name><value>2</value></enumeratedValue></enumeratedValues>";
const std::string asRead = "<writeConstraint><writeAsRead>true</writeAsRead></writeConstraint>";
const std::string names = "<enumeratedValues><enumeratedValue><name>stopped</name><value>0</value></enumeratedValue>"
                          "<enumeratedValue><name>running</name><value>1</value></enumeratedValue></enumeratedValues>";

const std::string bitRegisters =
    registerAt("CTRL", "0",
               fieldsOf(fieldAt("RUN", "0:0", names) + fieldAt("MODE", "6:4") + fieldAt("GAIN", "15:8", range) +
                        fieldAt("READY", "31:31", readOnly))) +
    registerAt("STATUS", "4", readOnly) + registerAt("KEY", "8", writeOnly) +
    registerAt("FLAGS", "0xC", fieldsOf(fieldAt("ERROR", "0:0", modified("oneToClear")) + fieldAt("ENABLE", "1:1"))) +
    registerAt("DATA[%s]", "0x10", array("3,4")) + registerAt("FIFO", "0x20", "<readAction>modify</readAction>") +
    registerAt("EVENTS", "0x24", modified("oneToClear")) + registerAt("NARROW", "0x28", "<size>16</size>") +
    registerAt("MIXED", "0x2C", fieldsOf(fieldAt("SECRET", "7:0", writeOnly) + fieldAt("PLAIN", "8:8"))) +
    registerAt("LIMITED", "0x30", range) + registerAt("FUSE", "0x34", "<access>read-writeOnce</access>") +
    registerAt("SHARED", "0x38", fieldsOf(fieldAt("SEEN", "0:0", readOnly) + fieldAt("GIVEN", "0:0", writeOnly))) +
    registerAt("SAME", "0x3C", fieldsOf(fieldAt("KEPT", "0:0", asRead) + fieldAt("3", "5:5"))) +
    registerAt("BYTE0", "0x40", "<size>8</size>") + registerAt("BYTE1", "0x41", "<size>8</size>");

class Bits : public DescribedProgram {
protected:
    Bits() : Bits(bitRegisters) {}
    explicit Bits(const std::string& registers)
        : DescribedProgram(
              mapOfPeripherals(peripheralOf("map32", "", registers) + peripheralOf("remote", "", registers))) {}
};

TEST_F(Bits, AreSetAndClearedAndToggled) {
    set(8, 0xF0000001);
    expect("set map32 8 4", 0, "map32 0x00000008 = 0x00000010 with mask 0x00000010\n");
    EXPECT_EQ(get(8), 0xF0000011U);
    expect("clear map32 8 31:30,0", 0, "map32 0x00000008 = 0x00000000 with mask 0xc0000001\n");
    EXPECT_EQ(get(8), 0x30000010U);
    expect("toggle map32 8 7:4,31", 0, "map32 0x00000008 = 0x800000e0 with mask 0x800000f0\n");
    EXPECT_EQ(get(8), 0xB00000E0U);
    expect("set map32 --index 2 31:0 --quiet", 0, "");
    EXPECT_EQ(get(8), 0xFFFFFFFFU);
}

TEST_F(Bits, AreSetAndClearedAndToggledInNamedRegisters) {
    set(0, 0xFFFF0201);
    expect("set map32 CTRL 6:5", 0, "map32 CTRL = 0x00000060 with mask 0x00000060\n");
    EXPECT_EQ(get(0), 0xFFFF0261U);
    expect("clear map32 CTRL 5,MODE --json", 2, "",
           "map32: 'MODE' selects a bit that is already selected (select each bit once)");
    expect("clear map32 CTRL 5,RUN --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"value\":0,\"mask\":33}\n");
    EXPECT_EQ(get(0), 0xFFFF0240U);
    expect("toggle map32 CTRL 5:4,RUN", 0, "map32 CTRL = 0x00000031 with mask 0x00000031\n");
    EXPECT_EQ(get(0), 0xFFFF0271U);
}

TEST_F(Bits, MayBeGivenAsFields) {
    expect("set map32 CTRL RUN,MODE", 0, "map32 CTRL.RUN = 1 (running)\nmap32 CTRL.MODE = 7\n");
    EXPECT_EQ(get(0), 0x71U);
    expect("clear map32 CTRL RUN", 0, "map32 CTRL.RUN = 0 (stopped)\n");
    EXPECT_EQ(get(0), 0x70U);
    set(0, 0x20);
    expect("toggle map32 CTRL MODE --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"value\":80,\"mask\":112,"
           "\"fields\":[{\"name\":\"MODE\",\"value\":5}]}\n");
    EXPECT_EQ(get(0), 0x50U);
}

TEST_F(Bits, LeaveOtherFieldsAlone) {
    set(0xC, 1);
    expect("set map32 FLAGS ENABLE --quiet", 0, "");
    EXPECT_EQ(get(0xC), 2U);
    set(0xC, 1);
    expect("toggle map32 FLAGS 1 --quiet", 0, "");
    EXPECT_EQ(get(0xC), 2U);
}

/** Replaces the register map with one that has these registers. */
class BitsOfSpecialRegisters : public Bits {
protected:
    void describe(const std::string& registers) const {
        m_folder.store("board.svd", mapOfPeripherals(peripheralOf("map32", "", registers)));
    }
};

TEST_F(BitsOfSpecialRegisters, LeaveOtherRegistersOfTheirAddressAlone) {
    describe(registerAt("ALTA", "0", fieldsOf(fieldAt("EN", "0:0") + fieldAt("MODE", "5:4"))) +
             registerAt("ALTB", "0",
                        alternative + fieldsOf(fieldAt("PEND", "15:8", modified("oneToClear")) +
                                               fieldAt("SET", "16:16", modified("zeroToSet")))));
    for (const std::string bits : {"EN", "0"}) {
        set(0, 0x80001230);
        expect("set map32 ALTA " + bits + " --quiet", 0, "");
        EXPECT_EQ(get(0), 0x80010031U);
        set(0, 0x80001231);
        expect("clear map32 ALTA " + bits + " --quiet", 0, "");
        EXPECT_EQ(get(0), 0x80010030U);
        set(0, 0x80001230);
        expect("toggle map32 ALTA " + bits + " --quiet", 0, "");
        EXPECT_EQ(get(0), 0x80010031U);
    }
}

TEST_F(BitsOfSpecialRegisters, AreRefusedIfAnotherRegisterOfTheirAddressCannotBeLeftAlone) {
    describe(registerAt("A", "0", fieldsOf(fieldAt("F", "0:0") + fieldAt("G", "7:4"))) +
             registerAt("B", "0", alternative + modified("oneToClear")) + registerAt("PLAIN", "4", "") +
             registerAt("C", "8", fieldsOf(fieldAt("F", "0:0"))) + registerAt("D", "8", alternative + modified("set")) +
             registerAt("E", "0xC", "") + registerAt("ECLR", "0xC", alternative + modified("oneToClear")));
    for (const std::string command : {"set", "clear", "toggle"}) {
        expectRefused(command + " map32 A F",
                      "map32: field A.G cannot keep its value, because a field or register that shares its bits "
                      "needs other values (use write REGISTER FIELD=VALUE ..., and also assign G)");
        expectRefused(command + " map32 C 0",
                      "map32: register C: this write would also change another register at the same address "
                      "(to change it nevertheless, write the whole register)");
        expectRefused(command + " map32 E 3",
                      "map32: register E: the other bits cannot keep their values (write the whole register)");
        expect(command + " map32 PLAIN 0 --quiet", 0, "");
    }
}

TEST_F(BitsOfSpecialRegisters, AreRefusedIfFieldsOnTheSameBitsNeedDifferentValues) {
    describe(registerAt(
        "MIX", "0", fieldsOf(fieldAt("A", "0:0") + fieldAt("P", "7:4") + fieldAt("C", "7:4", modified("oneToClear")))));
    for (const std::string command : {"set", "clear", "toggle"}) {
        expectRefused(command + " map32 MIX A",
                      "map32: field MIX.P cannot keep its value, because a field or register that shares its bits "
                      "needs other values (use write REGISTER FIELD=VALUE ..., and also assign P)");
        expectRefused(command + " map32 MIX P",
                      "map32: a write does not store the value in field MIX.C (use the command write)");
    }
}

TEST_F(BitsOfSpecialRegisters, FollowTheAccessOfTheFieldsBeforeThatOfTheRegister) {
    const std::string both = "<access>read-write</access>";
    describe(registerAt("RO", "0", readOnly + fieldsOf(fieldAt("F", "3:0", both))) +
             registerAt("WO", "4", writeOnly + fieldsOf(fieldAt("F", "3:0", both))));
    for (const std::string command : {"set", "toggle", "clear"}) {
        expect(command + " map32 RO F --quiet", 0, "");
        expect(command + " map32 WO 1 --quiet", 0, "");
        expectRefused(command + " map32 RO 4", "map32: register RO is read-only outside its fields");
    }
    expect("set map32 WO 8 --quiet", 0, "");
    EXPECT_EQ(get(4), 0x100U);
    expectRefused("toggle map32 WO 8",
                  "map32: register WO is write-only outside its fields (toggle must read it; use set or clear)");
    expect("poll map32 WO.F 0 --quiet", 0, "0\n");
}

class BitsOfConstrainedRegisters : public BitsOfSpecialRegisters {
protected:
    BitsOfConstrainedRegisters() {
        describe(registerAt("CTRL", "0",
                            fieldsOf(fieldAt("RUN", "0:0") + fieldAt("MODE", "6:4", twoModes) +
                                     fieldAt("GAIN", "15:8", range))) +
                 registerAt("LIMITED", "4", range));
    }

    void expectRefusedFor(std::size_t offset, std::uint32_t before, const std::string& line,
                          const std::string& problem) const {
        set(offset, before);
        expectRefused(line, "map32: " + problem);
    }

    void expectAllowedFor(std::size_t offset, std::uint32_t before, const std::string& line,
                          std::uint32_t after) const {
        set(offset, before);
        expect(line + " --quiet", 0, "");
        EXPECT_EQ(get(offset), after) << line;
    }

    const std::string onlyGain = "field CTRL.GAIN: value 11 is not allowed (write 1 to 9)";
    const std::string onlyModes = "field CTRL.MODE: value 3 is not allowed (write slow or fast)";
    const std::string onlyLimited = "register LIMITED: value 11 is not allowed (write 1 to 9)";
};

TEST_F(BitsOfConstrainedRegisters, AreRefusedIfAFieldWouldHaveAnExcludedValue) {
    expectRefusedFor(0, 0x900, "toggle map32 CTRL 9", onlyGain);
    expectRefusedFor(0, 0x900, "set map32 CTRL 0,9", onlyGain);
    expectRefusedFor(0, 0xF00, "clear map32 CTRL 10", onlyGain);
    expectRefusedFor(0, 0x900, "write map32 CTRL 0x200 --mask 0x200", onlyGain);
    expectRefusedFor(0, 0x110, "set map32 CTRL 5", onlyModes);
    expectRefusedFor(0, 0x110, "toggle map32 CTRL 5", onlyModes);
    expectRefusedFor(0, 0x170, "clear map32 CTRL 6", onlyModes);
    expectRefusedFor(0, 0x110, "write map32 CTRL 0x20 --mask 0x21", onlyModes);
}

TEST_F(BitsOfConstrainedRegisters, AreRefusedIfTheRegisterWouldHaveAnExcludedValue) {
    expectRefusedFor(4, 9, "set map32 LIMITED 1", onlyLimited);
    expectRefusedFor(4, 9, "toggle map32 LIMITED 1", onlyLimited);
    expectRefusedFor(4, 15, "clear map32 LIMITED 2", onlyLimited);
    expectRefusedFor(4, 9, "write map32 LIMITED 2 --mask 2", onlyLimited);
    expectRefusedFor(4, 1, "clear map32 LIMITED 0", "register LIMITED: value 0 is not allowed (write 1 to 9)");
}

TEST_F(BitsOfConstrainedRegisters, AreWrittenIfTheResultIsAllowed) {
    expectAllowedFor(0, 0x900, "toggle map32 CTRL 11", 0x100);
    expectAllowedFor(0, 0x100, "set map32 CTRL 9", 0x300);
    expectAllowedFor(0, 0xB00, "clear map32 CTRL 11", 0x300);
    expectAllowedFor(0, 0x100, "write map32 CTRL 0x200 --mask 0x200", 0x300);
    expectAllowedFor(0, 0x110, "toggle map32 CTRL 5:4", 0x120);
    expectAllowedFor(4, 1, "set map32 LIMITED 3", 9);
    expectAllowedFor(4, 9, "write map32 LIMITED 0 --mask 1", 8);
}

TEST_F(BitsOfConstrainedRegisters, DoNotDependOnFieldsWithoutTheseBits) {
    expectAllowedFor(0, 0xFF30, "set map32 CTRL 0", 0xFF31);
    expectAllowedFor(0, 0xFF30, "write map32 CTRL 1 --mask 1", 0xFF31);
}

TEST_F(BitsOfConstrainedRegisters, AreNotCheckedAtAnAddress) {
    expectAllowedFor(4, 9, "set map32 4 1", 11);
    expectAllowedFor(4, 9, "write map32 4 2 --mask 2", 11);
}

TEST_F(Bits, LeaveNarrowNeighborsAlone) {
    m_folder.store("registers8", "\x11\x81\x33\x44");
    expect("set map16 2 15,0", 0, "map16 0x00000002 = 0x8001 with mask 0x8001\n");
    expect("clear map16 2 15", 0, "map16 0x00000002 = 0x0000 with mask 0x8000\n");
    expect("toggle map16 2 15:14,0", 0, "map16 0x00000002 = 0xc000 with mask 0xc001\n");
    EXPECT_EQ(get(0), 0xC0000000U);
    expect("set file8 1 1", 0, "file8 0x00000001 = 0x02 with mask 0x02\n");
    expect("clear file8 1 7,0", 0, "file8 0x00000001 = 0x00 with mask 0x81\n");
    expect("toggle file8 1 7:6,1", 0, "file8 0x00000001 = 0xc0 with mask 0xc2\n");
    EXPECT_EQ(m_folder.load("registers8"), "\x11\xc0\x33\x44");
    expect("toggle file8 1 7:0 --quiet", 0, "");
    EXPECT_EQ(m_folder.load("registers8"), "\x11\x3f\x33\x44");
    expectRefused("set map16 2 16", "bit 16 is outside the 16 bits of the register");
    expectRefused("set file8 1 8", "bit 8 is outside the 8 bits of the register");
}

TEST_F(Bits, SayThatTheyWereWrittenIfTheOutputFails) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments("set map32 CTRL 0"), m_folder.path(), full).wait(), 1, "",
                 "standard output: No space left on device (written: CTRL)");
    close(full);
    EXPECT_EQ(get(0), 1U);
}

TEST_F(Bits, AreRefusedIfTheyAreNotInTheRegister) {
    for (const std::string command : {"set", "clear", "toggle"}) {
        expectRefused(command + " map32 0 32", "bit 32 is outside the 32 bits of the register");
        expectRefused(command + " map32 CTRL RUNS", "map32: register CTRL has no field 'RUNS' (did you mean 'RUN'?)");
    }
    expectRefused("set map32 NARROW 16", "bit 16 is outside the 16 bits of the register");
    expectRefused("set map32 NARROW 16:15", "bit 16 is outside the 16 bits of the register");
    expectRefused("set map32 0 4:7", "'4:7' does not begin with the highest bit (give 7:4)");
    expectRefused("set map32 0 7:4:2", "bit '4:2' is not a number (decimal, hexadecimal with 0x, or binary with 0b)");
    expectRefused("set map32 0 1,1", "map32: '1' selects a bit that is already selected (select each bit once)");
    expectRefused("set map32 0 3:0,2", "map32: '2' selects a bit that is already selected (select each bit once)");
    expectRefused("set map32 0 RUN", "map32: 'RUN' is not a bit or a range of bits (give the name "
                                     "of the register to select fields)");
    expectRefused("set map32 CTRL run", "map32: register CTRL has no field 'run' (did you mean 'RUN'?)");
    expectRefused("set map32 CTRL 3-5", "map32: '3-5' is not a range of bits (give 5:3)");
    expectRefused("set map32 0 0x10..0x12", "map32: '0x10..0x12' is not a range of bits (give 18:16)");
    expectRefused("set map32 CTRL 3..32", "bit 32 is outside the 32 bits of the register");
    for (const std::string bits : {"7:", ":0", ":"}) {
        expectRefused("set map32 CTRL " + bits,
                      "'" + bits + "' is not a range of bits (give the highest and the lowest bit, such as 7:4)");
    }
    for (const std::string name : {"CTRL", "0"}) {
        Arguments separated = arguments("set map32 " + name);
        separated.emplace_back("RUN MODE");
        expectEnding(runProgram(RYNVELCTL_FOR_TESTS, separated, m_folder.path()), 2, "",
                     "map32: 'RUN MODE' contains a blank (separate the entries of the list only with commas)");
    }
    expectRefused("set map32 CTRL 1,",
                  "map32: the list of bits has an empty entry (give a bit, a range of bits or a field between commas)");
    expectRefused("set map32 CTRL.MODE 1", "map32: CTRL.MODE is a field (give a register)");
    expectRefused("set map32 CTRL[7:4] 1", "map32: CTRL[7:4] selects bits (give a register)");
    expectRefused("set map32 SAME 3", "map32: '3' is a bit and also a field of register SAME (give the range "
                                      "3:3 for the bit, or the range of the field)");
}

TEST_F(Bits, AreRefusedIfTheMapExcludesTheAccess) {
    for (const std::string command : {"set", "clear", "toggle"}) {
        expectRefused(command + " map32 STATUS 1", "map32: register STATUS is read-only");
        expectRefused(command + " map32 KEY 31:0", "map32: register KEY is write-only");
        expectRefused(command + " map32 CTRL READY", "map32: field CTRL.READY is read-only");
        expectRefused(command + " map32 CTRL 31", "map32: field CTRL.READY is read-only");
        expectRefused(command + " map32 FIFO 1",
                      "map32: reading register FIFO has a side effect (write the whole register)");
        expectRefused(command + " map32 BYTE0 1",
                      "map32: register BYTE0 has 8 bits and shares a register of the device with register "
                      "BYTE1 (the device has 32-bit registers)");
        expectRefused(command + " map32 SAME KEPT",
                      "map32: field SAME.KEPT may be written only with the value that was read (leave it unchanged)");
    }
}

TEST_F(Bits, AreRefusedIfAWriteDoesNotStoreThem) {
    const std::string problem = "map32: a write does not store the value in ";
    const std::string hint = " (use the command write)";
    for (const std::string command : {"set", "clear", "toggle"}) {
        expectRefused(command + " map32 FLAGS ERROR", problem + "field FLAGS.ERROR" + hint);
        expectRefused(command + " map32 FLAGS 0", problem + "field FLAGS.ERROR" + hint);
        expectRefused(command + " map32 EVENTS 3", problem + "register EVENTS" + hint);
    }
}

TEST_F(Bits, AreRefusedIfAnotherFieldCannotKeepItsValue) {
    for (const std::string command : {"set", "clear", "toggle"}) {
        const std::string problem = "map32: field MIXED.SECRET is write-only, so it cannot keep its value "
                                    "(use write REGISTER FIELD=VALUE ..., and also assign SECRET)";
        expectRefused(command + " map32 MIXED PLAIN", problem);
        expectRefused(command + " map32 MIXED 3", problem);
        expectRefused(command + " map32 FUSE 3",
                      "map32: register FUSE: the other bits cannot keep their values (write the whole register)");
    }
}

TEST_F(Bits, AreRefusedWithAValueThatTheMapExcludes) {
    expectRefused("set map32 CTRL GAIN", "map32: field CTRL.GAIN: value 255 is not allowed (write 1 to 9)");
    expectRefused("clear map32 CTRL GAIN", "map32: field CTRL.GAIN: value 0 is not allowed (write 1 to 9)");
    expectRefused("toggle map32 CTRL GAIN", "map32: field CTRL.GAIN: value 255 is not allowed (write 1 to 9)");
    expectRefused("set map32 LIMITED 4", "map32: register LIMITED: value 16 is not allowed (write 1 to 9)");
    expectRefused("toggle map32 LIMITED 4", "map32: register LIMITED: value 16 is not allowed (write 1 to 9)");
    expect("set map32 LIMITED 3", 0, "map32 LIMITED = 0x00000008 with mask 0x00000008\n");
}

TEST_F(Bits, CanBeSetButNotToggledInAWriteOnlyField) {
    expect("set map32 MIXED SECRET", 0, "map32 MIXED.SECRET = 255\n");
    EXPECT_EQ(get(0x2C), 0xFFU);
    const std::string problem = "map32: field MIXED.SECRET is write-only (toggle must read it; use set or clear)";
    expectRefused("toggle map32 MIXED SECRET", problem);
    expectRefused("toggle map32 MIXED 7:0", problem);
}

TEST_F(Bits, CanBeWrittenInAReadOnlyFieldIfAWritableFieldHasThem) {
    expect("set map32 SHARED 0 --quiet", 0, "");
    EXPECT_EQ(get(0x38), 1U);
    expectRefused("toggle map32 SHARED 0",
                  "map32: field SHARED.GIVEN is write-only (toggle must read it; use set or clear)");
    expectRefused("set map32 SHARED SEEN", "map32: field SHARED.SEEN is read-only");
}

TEST_F(Bits, CanBeReadFromARegister) {
    set(0, 0x80003721);
    expect("read map32 CTRL[7:4]", 0, "map32 CTRL[7:4] = 0x2\n");
    expect("read map32 CTRL[13:8] --quiet", 0, "0x37\n");
    expect("read map32 CTRL[31:31] --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"bits\":\"31:31\",\"value\":1}\n");
    expect("read map32 CTRL[31:0]", 0, "map32 CTRL[31:0] = 0x80003721\n");
    expect("watch map32 CTRL[7:4] 0x0[5:5] --count 2 --interval 1ms --quiet", 0,
           "CTRL[7:4] 0x2\n0x00000000[5:5] 0x1\n");
}

TEST_F(Bits, AreInTheHelpOfTheCommandsThatTakeThem) {
    for (const std::string command : {"read", "watch", "poll", "expect"}) {
        EXPECT_NE(run(command + " --help").output.find("ADDRESS[7:4]"), std::string::npos) << command;
    }
}

TEST_F(Bits, CanBeReadAtAnAddressWithoutAMap) {
    m_folder.store("board.svd", "broken");
    set(4, 0xAB);
    expect("read map32 0x4[7:4]", 0, "map32 0x00000004[7:4] = 0xa\n");
    expect("read map32 --index 1[3:0] --json", 0, "{\"name\":\"map32\",\"index\":1,\"bits\":\"3:0\",\"value\":11}\n");
}

TEST_F(Bits, HaveAColonUnlikeTheIndexOfAnArray) {
    set(0x10, 0x1234);
    expect("read map32 DATA[3]", 0, "map32 DATA[3] = 0x00001234\n");
    expect("read map32 DATA[3][7:4]", 0, "map32 DATA[3][7:4] = 0x3\n");
    expectRefused("read map32 DATA[7:4]", "map32: 'DATA' is not a name in board.svd ('rynvelctl describe map32' shows "
                                          "the names)");
    expectRefused("read map32 CTRL[3]", "map32: 'CTRL[3]' is not a name in board.svd (give CTRL[3:3] for bit 3)");
    expectRefused("read map32 DATA[3][2]",
                  "map32: 'DATA[3][2]' is not a name in board.svd (give DATA[3][2:2] for bit 2)");
    expectRefused("read map32 0x10[2]", "map32: '0x10[2]' is not an address (give 0x10[2:2] for bit 2)");
}

TEST_F(Bits, CannotBeReadIfTheyAreNotARangeOfReadableBits) {
    expectRefused("read map32 CTRL[4:7]", "'4:7' does not begin with the highest bit (give 7:4)");
    expectRefused("read map32 CTRL[32:0]", "bit 32 is outside the 32 bits of the register");
    expectRefused("read map32 NARROW[16:0]", "bit 16 is outside the 16 bits of the register");
    expectRefused("read map32 CTRL[7:]",
                  "'7:' is not a range of bits (give the highest and the lowest bit, such as 7:4)");
    expectRefused("read map32 CTRL.MODE[6:4]", "map32: CTRL.MODE is a field (give a register)");
    expectRefused("read map32 KEY[3:0]", "map32: register KEY is write-only");
    expectRefused("read map32 BYTE0[3:0]",
                  "map32: register BYTE0 has 8 bits and shares a register of the device with register BYTE1 "
                  "(the device has 32-bit registers)");
    for (const std::string line : {"dump map32 CTRL[7:4] 1", "fill map32 CTRL[7:4] 1 1"}) {
        expectRefused(line, "map32: CTRL[7:4] selects bits (give a register)");
    }
    for (const std::string line : {"write map32 CTRL[7:4] 1", "write map32 LIMITED=1 CTRL[7:4]=1"}) {
        expectRefused(line, "map32: CTRL[7:4] selects bits (give the register and --mask, or use set and clear)");
    }
}

TEST_F(Bits, CannotBeReadIfAllAreWriteOnly) {
    for (const std::string command : {"read", "watch"}) {
        expectRefused(command + " map32 MIXED[7:4]", "map32: field MIXED.SECRET is write-only");
        expectRefused(command + " map32 0 MIXED[0:0]", "map32: field MIXED.SECRET is write-only");
    }
    set(0x2C, 0x1FF);
    expect("read map32 MIXED[8:7] MIXED[31:0] --quiet", 0, "0x3\n0x000001ff\n");
    // The bit also belongs to a read-only field.
    expect("read map32 SHARED[0:0]", 0, "map32 SHARED[0:0] = 0x0\n");
}

TEST_F(Bits, CannotBeComparedIfTheyAreWriteOnly) {
    for (const std::string command : {"poll", "expect"}) {
        for (const std::string condition :
             {"MIXED[7:4] 0", "MIXED[8:7] 0", "MIXED 0 --mask 0x10", "MIXED 0 --mask 0x110 --not"}) {
            expectRefused(command + " map32 " + condition, "map32: field MIXED.SECRET is write-only");
        }
        for (const std::string condition :
             {"MIXED[9:8] 0", "SHARED[0:0] 0", "MIXED 0 --mask 0x100", "MIXED 0", "0x2c[7:4] 0"}) {
            EXPECT_EQ(run(command + " map32 " + condition + " --quiet").status, 0) << condition;
        }
    }
}

/** A map in which the index of an array looks like a range of bits. */
class BitsLikeArrayIndexes : public Bits {
protected:
    BitsLikeArrayIndexes()
        : Bits(registerAt("A[%s]", "0", array("7:4,3:0")) + registerAt("A", "8", "") +
               registerAt("B[%s]", "0x10", array("7:4,3:0"))) {}
};

TEST_F(BitsLikeArrayIndexes, AreRefusedIfTheyAreAlsoTheNameOfARegister) {
    expectRefused("read map32 A[7:4]",
                  "map32: 'A[7:4]' is a register and also selects bits of register A (give 0x00000000 for the "
                  "register, or 0x00000008[7:4] for the bits)");
    set(8, 0x50);
    expect("read map32 0x00000008[7:4]", 0, "map32 0x00000008[7:4] = 0x5\n");
    set(8, 0);
    expect("read map32 A[6:5]", 0, "map32 A[6:5] = 0x0\n");
    set(0x14, 5);
    expect("read map32 B[3:0]", 0, "map32 B[3:0] = 0x00000005\n");
    expect("read map32 B[3:0][1:0]", 0, "map32 B[3:0][1:0] = 0x1\n");
}

/** Runs rynvelctl on a remote device of a scripted server. */
class RemoteBits : public Bits {
protected:
    Ending run(const std::string& line) { return Bits::run("--remote " + m_peer.address() + " --type Uio32 " + line); }

    void expectRequest(std::size_t position, Rynvel::RequestData::Type type, std::uint32_t value, std::uint32_t mask) {
        const Rynvel::Request request = asRequest(m_peer.requests(position + 1)[position].bytes);
        EXPECT_EQ(request.getType(), type);
        EXPECT_EQ(request.getAddress(), 0U);
        EXPECT_EQ(request.getValue(), value);
        EXPECT_EQ(request.getBitmask(), mask);
    }

    TestPeer m_peer;
};

TEST_F(RemoteBits, AreWrittenWithTheirMask) {
    m_peer.script({success(), success()});
    expectEnding(run("set remote CTRL MODE,0"), 0, "remote CTRL = 0x00000071 with mask 0x00000071\n");
    expectRequest(1, Rynvel::RequestData::Type::Write32, 0x71, 0x71);
    m_peer.clearRequests();
    m_peer.script({success(), success()});
    expectEnding(run("clear remote 0 31:16"), 0, "remote 0x00000000 = 0x00000000 with mask 0xffff0000\n");
    expectRequest(1, Rynvel::RequestData::Type::Write32, 0, 0xFFFF0000);
}

TEST_F(RemoteBits, AreReadAndWrittenToToggleThem) {
    m_peer.script({success(), success({0x20}), success()});
    expectEnding(run("toggle remote CTRL MODE"), 0, "remote CTRL.MODE = 5\n");
    expectRequest(2, Rynvel::RequestData::Type::Write32, 0x50, 0x70);
}

TEST_F(RemoteBits, AreNotReportedIfTheServerRefusesTheWrite) {
    m_peer.script({success(), success({0x20}), refusal()});
    expectEnding(run("toggle remote CTRL MODE"), 1, "", "remote: writing CTRL failed: the server refused the request");
}

TEST_F(RemoteBits, AreReadBeforeTheWriteIfTheMapRestrictsTheValue) {
    m_peer.script({success(), success({0x900})});
    expectEnding(run("set remote CTRL 9"), 2, "", "remote: field CTRL.GAIN: value 11 is not allowed (write 1 to 9)");
    EXPECT_EQ(m_peer.requests(2).size(), 2U);
    m_peer.clearRequests();
    m_peer.script({success(), success({0x100}), success()});
    expectEnding(run("set remote CTRL 9 --quiet"), 0, "");
    expectRequest(2, Rynvel::RequestData::Type::Write32, 0x200, 0x200);
    m_peer.clearRequests();
    m_peer.script({success(), success({0x900})});
    expectEnding(run("toggle remote CTRL 9"), 2, "", "remote: field CTRL.GAIN: value 11 is not allowed (write 1 to 9)");
    EXPECT_EQ(m_peer.requests(2).size(), 2U);
}

TEST_F(RemoteBits, SayWhetherTheyMayHaveBeenWritten) {
    const std::string late = m_peer.address() + ": timed out after 200 ms";
    m_peer.script({success(), success({0x20}), silence()});
    expectEnding(run("toggle remote CTRL MODE --timeout 200ms"), 4, "", late + " (unknown whether written: CTRL)");
    m_peer.script({success(), silence()});
    expectEnding(run("toggle remote CTRL MODE --timeout 200ms"), 4, "", late + " (not written: CTRL)");
    m_peer.script({success(), closing()});
    expectEnding(run("set remote 0 4"), 3, "",
                 m_peer.address() + ": the connection was closed (unknown whether written: 0)");
}

TEST_F(RemoteBits, SayAfterASignalThatTheyMayHaveBeenWritten) {
    const Arguments line = arguments("--remote " + m_peer.address() + " --type Uio32 toggle remote CTRL MODE");
    for (const int signal : {SIGINT, SIGTERM}) {
        m_peer.clearRequests();
        m_peer.script({success(), success({0x20}), silence()});
        Program program(RYNVELCTL_FOR_TESTS, line, m_folder.path());
        m_peer.requests(3);
        program.signal(signal);
        expectEnding(program.wait(), -signal, "", "remote: interrupted (unknown whether written: CTRL)");
    }
    m_peer.clearRequests();
    m_peer.script({success(), silence()});
    Program program(RYNVELCTL_FOR_TESTS, line, m_folder.path());
    m_peer.requests(2);
    program.signal(SIGINT);
    expectEnding(program.wait(), -SIGINT, "");
}

TEST_F(RemoteBits, AreRefusedBeforeTheServerIsAsked) {
    expectEnding(run("toggle remote FLAGS ERROR"), 2, "",
                 "remote: a write does not store the value in field FLAGS.ERROR (use the command write)");
    expectEnding(run("toggle remote STATUS 1"), 2, "", "remote: register STATUS is read-only");
    EXPECT_EQ(m_peer.requests(0).size(), 0U);
}

TEST_F(RemoteBits, CanBeReadFromARegister) {
    m_peer.script({success(), success({0x80000021})});
    expectEnding(run("read remote CTRL[7:4]"), 0, "remote CTRL[7:4] = 0x2\n");
}

} // namespace
} // namespace RynvelTest
