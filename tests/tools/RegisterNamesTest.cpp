// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdlib>

#include <gtest/gtest.h>

#include "DescribedProgram.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

/** Registers of the devices map32 and remote, in two parts, because a compiler may limit the length of a literal. */
const std::string controlRegisters = R"(
<register><name>CTRL</name><addressOffset>0</addressOffset><fields>
  <field><name>START</name><bitRange>[0:0]</bitRange><enumeratedValues>
    <enumeratedValue><name>stopped</name><value>0</value></enumeratedValue>
    <enumeratedValue><name>running</name><value>1</value></enumeratedValue></enumeratedValues></field>
  <field><name>MODE</name><bitRange>[6:4]</bitRange></field>
  <field><name>GAIN</name><bitRange>[15:8]</bitRange>
    <writeConstraint><range><minimum>2</minimum><maximum>200</maximum></range></writeConstraint></field>
  <field><name>READY</name><bitRange>[31:31]</bitRange><access>read-only</access></field></fields></register>
<register><name>STATUS</name><addressOffset>4</addressOffset><access>read-only</access></register>
<register><name>KEY</name><addressOffset>8</addressOffset><access>write-only</access><fields>
  <field><name>CODE</name><bitRange>[7:0]</bitRange></field>
  <field><name>LOCK</name><bitRange>[8:8]</bitRange></field></fields></register>
<register><name>FLAGS</name><addressOffset>0xC</addressOffset><fields>
  <field><name>ERROR</name><bitRange>[0:0]</bitRange><modifiedWriteValues>oneToClear</modifiedWriteValues></field>
  <field><name>ENABLE</name><bitRange>[1:1]</bitRange></field></fields></register>)";
const std::string furtherRegisters = R"(
<register><dim>4</dim><dimIncrement>4</dimIncrement><name>DATA[%s]</name><addressOffset>0x10</addressOffset></register>
<cluster><name>CHANNEL</name><addressOffset>0x20</addressOffset>
  <register><name>LEVEL</name><addressOffset>4</addressOffset></register></cluster>
<register><name>FIFO</name><addressOffset>0x40</addressOffset><readAction>modify</readAction><fields>
  <field><name>LOW</name><bitRange>[15:0]</bitRange></field>
  <field><name>HIGH</name><bitRange>[31:16]</bitRange></field></fields></register>
<register><name>WIDE</name><addressOffset>0x48</addressOffset><size>64</size></register>
<register><name>BYTE0</name><addressOffset>0x50</addressOffset><size>8</size></register>
<register><name>BYTE1</name><addressOffset>0x51</addressOffset><size>8</size></register>
<register><name>NARROW</name><addressOffset>0x54</addressOffset><size>16</size><fields>
  <field><name>ABOVE</name><bitRange>[16:16]</bitRange></field></fields></register>
<register><name>LIMITED</name><addressOffset>0x58</addressOffset>
  <writeConstraint><range><minimum>1</minimum><maximum>5</maximum></range></writeConstraint></register>
<register><name>OUTSIDE</name><addressOffset>0x1000</addressOffset></register>
<register><name>TOO_FAR</name><addressOffset>0x100000000</addressOffset></register>)";

std::string aRegister(const std::string& name, const std::string& offset, const std::string& elements = "") {
    return "<register><name>" + name + "</name><addressOffset>" + offset + "</addressOffset>" + elements +
           "</register>";
}

std::string field(const std::string& name, const std::string& range, const std::string& elements = "") {
    return "<field><name>" + name + "</name><bitRange>" + range + "</bitRange>" + elements + "</field>";
}

std::string fields(const std::string& fields) { return "<fields>" + fields + "</fields>"; }

std::string modifiedWrite(const std::string& kind) { return "<modifiedWriteValues>" + kind + "</modifiedWriteValues>"; }

const std::string takenByReading = "<readAction>modify</readAction>";

std::string peripheral(const std::string& name, const std::string& registers) {
    return "<peripheral><name>" + name + "</name><baseAddress>0</baseAddress><registers>" + registers +
           "</registers></peripheral>";
}

std::string mapOf(const std::string& peripherals, const std::string& addressUnitBits = "8") {
    return "<device schemaVersion=\"1.3\"><name>D</name><version>1</version><description>d</description>"
           "<addressUnitBits>" +
           addressUnitBits +
           "</addressUnitBits><width>32</width><size>32</size><access>read-write</access><resetValue>0</resetValue>"
           "<resetMask>0xFFFFFFFF</resetMask><peripherals>" +
           peripherals + "</peripherals></device>";
}

std::string boardMap() {
    const std::string registers = controlRegisters + furtherRegisters;
    return mapOf(peripheral("map32", registers) + peripheral("remote", registers));
}

/** Runs rynvelctl on devices that a register map describes. */
class RegisterNames : public DescribedProgram {
protected:
    RegisterNames() : DescribedProgram(boardMap()) { m_folder.store("registers8", std::string(64, '\0')); }

    /** Replaces the register map with one that describes only map32, with these registers. */
    void describe(const std::string& registers) const {
        m_folder.store("board.svd", mapOf(peripheral("map32", registers)));
    }
};

TEST_F(RegisterNames, ReadARegisterWithItsFields) {
    set(0, 0x80003721);
    expect(
        "read map32 CTRL", 0,
        "map32 CTRL = 0x80003721\n  READY[31]  = 1\n  GAIN[15:8] = 55\n  MODE[6:4]  = 2\n  START[0]   = 1 (running)\n");
    expect("read map32 CTRL --quiet", 0, "0x80003721\n");
    expect("read map32 CTRL --json", 0,
           R"({"name":"map32","address":0,"register":"CTRL","value":2147497761,"fields":[{"name":"READY","value":1},)"
           R"({"name":"GAIN","value":55},{"name":"MODE","value":2},{"name":"START","value":1,"meaning":"running"}]})"
           "\n");
}

TEST_F(RegisterNames, ReadARegisterWithoutFields) {
    set(4, 7);
    expect("read map32 STATUS", 0, "map32 STATUS = 0x00000007\n");
    expect("read map32 STATUS --json", 0,
           "{\"name\":\"map32\",\"address\":4,\"register\":\"STATUS\",\"value\":7,\"fields\":[]}\n");
}

TEST_F(RegisterNames, ReadAField) {
    set(0, 0x00003721);
    expect("read map32 CTRL.START", 0, "map32 CTRL.START = 1 (running)\n");
    expect("read map32 CTRL.GAIN", 0, "map32 CTRL.GAIN = 55\n");
    expect("read map32 CTRL.START --quiet", 0, "1\n");
    expect("read map32 CTRL.START --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"field\":\"START\",\"value\":1,"
           "\"meaning\":\"running\"}\n");
    expect("read map32 CTRL.GAIN --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"field\":\"GAIN\",\"value\":55}\n");
}

TEST_F(RegisterNames, SelectElementsOfArraysAndClusters) {
    set(0x1C, 0x1234);
    set(0x24, 0x5678);
    expect("read map32 DATA[3]", 0, "map32 DATA[3] = 0x00001234\n");
    expect("read map32 CHANNEL.LEVEL", 0, "map32 CHANNEL.LEVEL = 0x00005678\n");
}

TEST_F(RegisterNames, HaveOnlyTheBitsOfTheirRegister) {
    set(0x54, 0xFFFF1234);
    expect("read map32 NARROW", 0, "map32 NARROW = 0x1234\n");
    expect("read map32 NARROW --quiet", 0, "0x1234\n");
    expect("read map32 NARROW --json", 0,
           "{\"name\":\"map32\",\"address\":84,\"register\":\"NARROW\",\"value\":4660,\"fields\":[]}\n");
    expect("watch map32 NARROW --count 1 --quiet", 0, "NARROW 0x1234\n");
    expect("show map32 NARROW", 0, "0x00000054  NARROW = 0x1234\n");
    expect("show map32 NARROW --quiet", 0, "NARROW 0x1234\n");
    expect("write map32 NARROW 0xff --mask 0xf", 0, "map32 NARROW = 0x000f with mask 0x000f\n");
}

TEST_F(RegisterNames, LeaveNumbersAsTheyAre) {
    m_folder.store("board.svd", "broken");
    set(4, 7);
    expect("read map32 4", 0, "map32 0x00000004 = 0x00000007\n");
    expect("write map32 --index 0 1", 0, "map32 0 = 0x00000001\n");
    expectRefused("read map32 --index CTRL",
                  "index 'CTRL' is not a number (decimal, hexadecimal with 0x, or binary with 0b)");
}

TEST_F(RegisterNames, WriteARegister) {
    expect("write map32 CTRL 0x3721", 0, "map32 CTRL = 0x00003721\n");
    EXPECT_EQ(get(0), 0x3721U);
    expect("write map32 CTRL 0xff --mask 0xf0 --verify", 0, "map32 CTRL = 0x000000f0 with mask 0x000000f0\n");
    EXPECT_EQ(get(0), 0x37F1U);
    expect("write map32 KEY 5", 0, "map32 KEY = 0x00000005\n");
    expect("write map32 LIMITED 5 --json", 0,
           "{\"name\":\"map32\",\"address\":88,\"register\":\"LIMITED\",\"value\":5}\n");
    expect("write map32 NARROW 0xffff --quiet", 0, "");
    EXPECT_EQ(get(0x54), 0xFFFFU);
}

TEST_F(RegisterNames, WriteAField) {
    set(0, 0xFFFFFFFF);
    expect("write map32 CTRL.START stopped --verify", 0, "map32 CTRL.START = 0 (stopped)\n");
    EXPECT_EQ(get(0), 0xFFFFFFFEU);
    expect("write map32 CTRL.MODE 0b101 --quiet", 0, "");
    EXPECT_EQ(get(0), 0xFFFFFFDEU);
}

TEST_F(RegisterNames, WriteSeveralFieldsAtOnce) {
    set(0, 0xFFFF0000);
    expect("write map32 CTRL MODE=5 START=running --verify", 0,
           "map32 CTRL.MODE = 5\nmap32 CTRL.START = 1 (running)\n");
    EXPECT_EQ(get(0), 0xFFFF0051U);
    expect("write map32 CTRL GAIN=3 --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"value\":768,\"mask\":65280,"
           "\"fields\":[{\"name\":\"GAIN\",\"value\":3}]}\n");
    EXPECT_EQ(get(0), 0xFFFF0351U);
}

TEST_F(RegisterNames, LeaveOtherFieldsAlone) {
    set(0xC, 0x1);
    expect("write map32 FLAGS.ENABLE 1", 0, "map32 FLAGS.ENABLE = 1\n");
    EXPECT_EQ(get(0xC), 0x2U);
}

TEST_F(RegisterNames, LeaveTheBitsOutsideAMaskAlone) {
    set(0xC, 0x1);
    expect("write map32 FLAGS 2 --mask 2 --verify", 0, "map32 FLAGS = 0x00000002 with mask 0x00000002\n");
    EXPECT_EQ(get(0xC), 0x2U);
    set(0xC, 0x1);
    expect("write map32 0xC 2 --mask 2", 0, "map32 0x0000000c = 0x00000002 with mask 0x00000002\n");
    EXPECT_EQ(get(0xC), 0x3U);
    describe(aRegister("EVENTS", "0", "<modifiedWriteValues>zeroToClear</modifiedWriteValues>") +
             aRegister("BITS", "4", fields(field("TWO", "[1:0]", modifiedWrite("oneToToggle")))));
    expect("write map32 EVENTS 0xff --mask 3", 0, "map32 EVENTS = 0x00000003 with mask 0x00000003\n");
    EXPECT_EQ(get(0), 0xFFFFFFFFU);
    set(4, 0xFF03);
    expect("write map32 BITS 1 --mask 1 --quiet", 0, "");
    EXPECT_EQ(get(4), 0xFF01U);
}

TEST_F(RegisterNames, RefuseAMaskIfTheOtherBitsCannotKeepTheirValues) {
    describe(aRegister("R", "0",
                       fields(field("A", "[0:0]") + field("KEY", "[5:4]", "<access>write-only</access>") +
                              field("ONCE", "[8:8]", "<access>read-writeOnce</access>"))) +
             aRegister("EVENTS", "4", modifiedWrite("clear")) +
             aRegister("FUSE", "8", "<access>read-writeOnce</access>"));
    const std::string keyIsLost = "map32: field R.KEY is write-only, so it cannot keep its value (also select all bits "
                                  "of KEY, ONCE with the mask)";
    expectRefused("write map32 R 1 --mask 1", keyIsLost);
    expectRefused("write map32 R 1 --mask 0x11", keyIsLost);
    expectRefused("write map32 R 1 --mask 0x31",
                  "map32: field R.ONCE can be written only once, and this write would include the field (also select "
                  "all bits of ONCE with the mask)");
    expect("write map32 R 0x121 --mask 0x131", 0, "map32 R = 0x00000121 with mask 0x00000131\n");
    EXPECT_EQ(get(0), 0x121U);
    expectRefused("write map32 EVENTS 1 --mask 1",
                  "map32: register EVENTS: the bits outside the mask cannot keep their values (leave out the mask)");
    expectRefused("write map32 FUSE 1 --mask 1",
                  "map32: register FUSE: the bits outside the mask cannot keep their values (leave out the mask)");
    expect("write map32 FUSE 1 --mask 0xffffffff --quiet", 0, "");
}

TEST_F(RegisterNames, WriteAllFieldsOfARegisterWhoseReadingHasASideEffect) {
    set(8, 0xFFFFFFFF);
    expect("write map32 KEY CODE=0x5a LOCK=0", 0, "map32 KEY.CODE = 90\nmap32 KEY.LOCK = 0\n");
    EXPECT_EQ(get(8), 0x5AU);
    expect("write map32 FIFO LOW=1 HIGH=2", 0, "map32 FIFO.LOW = 1\nmap32 FIFO.HIGH = 2\n");
    EXPECT_EQ(get(0x40), 0x20001U);
}

TEST_F(RegisterNames, RefuseAWriteIfAnotherFieldCannotKeepItsValue) {
    expectRefused("write map32 KEY.CODE 1",
                  "map32: register KEY is write-only, so its other fields cannot keep their values "
                  "(use write REGISTER FIELD=VALUE ..., and also assign LOCK)");
    expectRefused("write map32 FIFO LOW=1", "map32: reading register FIFO has a side effect, so its other fields "
                                            "cannot keep their values (also assign HIGH)");
}

TEST_F(RegisterNames, AreRefusedIfTheyAreUnknown) {
    expectRefused("read map32 CTLR", "map32: 'CTLR' is not a name in board.svd (did you mean 'CTRL'?)");
    expectRefused("read map32 ctrl.mode", "map32: 'ctrl.mode' is not a name in board.svd ('rynvelctl describe map32' "
                                          "shows the names)");
    expectRefused("read map32 CTRL.MODES",
                  "map32: 'CTRL.MODES' is not a name in board.svd (did you mean 'CTRL.MODE'?)");
    expectRefused("write map32 CTRL MODES=1", "map32: register CTRL has no field 'MODES' (did you mean 'MODE'?)");
}

TEST_F(RegisterNames, AreRefusedForAnAccessThatTheMapExcludes) {
    expectRefused("read map32 KEY", "map32: register KEY is write-only");
    expectRefused("read map32 KEY.CODE", "map32: field KEY.CODE is write-only");
    expectRefused("dump map32 KEY 2", "map32: register KEY is write-only");
    expectRefused("watch map32 CTRL KEY", "map32: register KEY is write-only");
    expectRefused("write map32 KEY 1 --verify", "map32: register KEY is write-only");
    expectRefused("write map32 KEY 1 --mask 1", "map32: register KEY is write-only");
    expectRefused("write map32 STATUS 1", "map32: register STATUS is read-only");
    expectRefused("fill map32 STATUS 2 1", "map32: register STATUS is read-only");
    expectRefused("write map32 CTRL.READY 1", "map32: field CTRL.READY is read-only");
    expectRefused("write map32 CTRL MODE=1 READY=1", "map32: field CTRL.READY is read-only");
}

TEST_F(RegisterNames, AreRefusedWithAValueThatTheMapExcludes) {
    expectRefused("write map32 NARROW 0x10000", "value 0x10000 does not fit in 16 bits");
    expectRefused("write map32 NARROW 1 --mask 0x10000", "mask 0x10000 does not fit in 16 bits");
    expectRefused("write map32 LIMITED 6", "map32: register LIMITED: value 6 is not allowed (write 1 to 5)");
    expectRefused("write map32 CTRL.MODE 8", "map32: field CTRL.MODE: '8' does not fit in 3 bits");
    expectRefused("write map32 CTRL.GAIN 1", "map32: field CTRL.GAIN: value '1' is not allowed (write 2 to 200)");
    expectRefused("write map32 CTRL.START going",
                  "map32: field CTRL.START: 'going' is not a value of the field (give a number, stopped or running)");
}

TEST_F(RegisterNames, AreRefusedWithAValueThatAFieldExcludes) {
    expectRefused("write map32 CTRL 1", "map32: field CTRL.GAIN: value 0 is not allowed (write 2 to 200)");
    expectRefused("write map32 CTRL 0x100 --mask 0xff00",
                  "map32: field CTRL.GAIN: value 1 is not allowed (write 2 to 200)");
    expectRefused("write map32 CTRL 1 --mask 0xf0ff",
                  "map32: field CTRL.GAIN: value 0 is not allowed (write 2 to 200)");
    set(0, 0x300);
    expect("write map32 CTRL 1 --mask 0xf0ff --quiet", 0, "");
    describe(aRegister("R", "0",
                       fields(field("SAME", "[0:0]",
                                    "<writeConstraint><writeAsRead>true</writeAsRead>"
                                    "</writeConstraint>"))));
    expectRefused("write map32 R 1",
                  "map32: field R.SAME may be written only with the value that was read (leave it unchanged)");
    expect("write map32 R 2 --mask 2 --quiet", 0, "");
    describe(aRegister(
        "R", "0",
        fields(field("SAME", "[1:0]", "<writeConstraint><writeAsRead>true</writeAsRead></writeConstraint>"))));
    expectRefused("write map32 R 1 --mask 1",
                  "map32: field R.SAME may be written only with the value that was read (leave it unchanged)");
    describe(aRegister("R", "0", "<writeConstraint><writeAsRead>true</writeAsRead></writeConstraint>"));
    expectRefused("write map32 R 1",
                  "map32: register R may be written only with the value that was read (leave it unchanged)");
}

TEST_F(RegisterNames, AcceptAnyNumberForAFieldWithoutNamesOfARegisterThatAllowsOnlyNames) {
    const std::string states = "<enumeratedValues><enumeratedValue><name>on</name><value>1</value></enumeratedValue>"
                               "</enumeratedValues>";
    describe(aRegister("R", "0",
                       "<writeConstraint><useEnumeratedValues>true</useEnumeratedValues></writeConstraint>" +
                           fields(field("STATE", "[1:0]", states) + field("LEVEL", "[15:8]"))));
    expect("write map32 R.LEVEL 5", 0, "map32 R.LEVEL = 5\n");
    expect("write map32 R 0x701", 0, "map32 R = 0x00000701\n");
    expectRefused("write map32 R.STATE 2", "map32: field R.STATE: value '2' is not allowed (write on)");
    expectRefused("write map32 R 0x702", "map32: field R.STATE: value 2 is not allowed (write on)");
}

TEST_F(RegisterNames, AllowAWriteThatKeepsAFieldWhoseOnlyValueClearsIt) {
    const std::string clearing =
        "<modifiedWriteValues>oneToClear</modifiedWriteValues>"
        "<writeConstraint><useEnumeratedValues>true</useEnumeratedValues></writeConstraint>"
        "<enumeratedValues><enumeratedValue><name>Clear</name><value>1</value></enumeratedValue></enumeratedValues>";
    describe(aRegister("IFCR", "0", fields(field("A", "[0:0]", clearing) + field("B", "[1:1]", clearing))));
    expect("write map32 IFCR 1", 0, "map32 IFCR = 0x00000001\n");
}

TEST_F(RegisterNames, RefuseAPartialWriteOutsideTheRangeOfTheRegister) {
    describe(aRegister("R", "0",
                       "<writeConstraint><range><minimum>1</minimum><maximum>5</maximum></range></writeConstraint>" +
                           fields(field("F", "[7:0]"))));
    const std::string refusal = "map32: register R: value 9 is not allowed (write 1 to 5)";
    expectRefused("write map32 R.F 9", refusal);
    expectRefused("write map32 R 9 --mask 0xff", refusal);
    expect("write map32 R.F 5", 0, "map32 R.F = 5\n");
}

TEST_F(RegisterNames, RefuseAWholeWriteOutsideTheRangeOfTheRegister) {
    describe(
        aRegister("R", "0",
                  "<writeConstraint><range><minimum>256</minimum><maximum>511</maximum></range></writeConstraint>" +
                      fields(field("LOW", "[15:0]") + field("HIGH", "[31:16]"))));
    expect("write map32 R.LOW 5", 0, "map32 R.LOW = 5\n");
    expect("write map32 R LOW=256 HIGH=0 --quiet", 0, "");
    expect("write map32 R 6 --mask 7 --quiet", 0, "");
    expectRefused("write map32 R LOW=5 HIGH=0", "map32: register R: value 5 is not allowed (write 256 to 511)");
    expectRefused("write map32 R 5", "map32: register R: value 5 is not allowed (write 256 to 511)");
}

TEST_F(RegisterNames, AreRefusedWithAWrongListOfValues) {
    expectRefused("write map32 CTRL 1 2",
                  "map32: '2' is a second value (give one value, or FIELD=VALUE for each field)");
    expectRefused("write map32 0 1 2", "map32: '2' is a second value (give one value, or FIELD=VALUE for each field)");
    expectRefused("write map32 CTRL.MODE 1 2",
                  "map32: '2' is a second value (give one value, or FIELD=VALUE for each field)");
    expectRefused("write map32 CTRL MODE=1 2", "map32: '2' does not assign a value to a field (give FIELD=VALUE)");
    expectRefused("write map32 CTRL MODE=", "map32: 'MODE=' does not assign a value to a field (give FIELD=VALUE)");
    expectRefused("write map32 CTRL =1", "map32: '=1' does not assign a value to a field (give FIELD=VALUE)");
    expectRefused("write map32 0 MODE=1",
                  "map32: 'MODE=1' assigns a field of address 0x00000000 (give the name of the register)");
    expectRefused("write map32 CTRL.MODE 1 --mask 1",
                  "--mask: the fields already select the bits to write (leave out --mask)");
    expectRefused("dump map32 CTRL.MODE 1", "map32: CTRL.MODE is a field (give a register)");
    expectRefused("fill map32 CTRL.MODE 1 1", "map32: CTRL.MODE is a field (give a register)");
}

TEST_F(RegisterNames, AreRefusedIfAWriteCannotBeVerified) {
    expectRefused("write map32 FLAGS ERROR=1 ENABLE=1 --verify",
                  "map32: a write does not store the value in field FLAGS.ERROR (leave out --verify)");
    expectRefused("write map32 KEY CODE=1 LOCK=1 --verify", "map32: register KEY is write-only");
    expectRefused("write map32 FLAGS 1 --verify",
                  "map32: a write does not store the value in field FLAGS.ERROR (leave out --verify)");
    expect("write map32 FLAGS 2 --mask 2 --verify --quiet", 0, "");
    describe(aRegister("EVENTS", "0", "<modifiedWriteValues>oneToClear</modifiedWriteValues>"));
    expectRefused("write map32 EVENTS 1 --verify",
                  "map32: a write does not store the value in register EVENTS (leave out --verify)");
}

TEST_F(RegisterNames, AreRefusedIfAWriteWouldReadWithASideEffect) {
    const std::string problem = "map32: reading register FIFO has a side effect (leave out ";
    expectRefused("write map32 FIFO 1 --mask 1", problem + "--mask)");
    expectRefused("write map32 FIFO 1 --verify", problem + "--verify)");
    expectRefused("write map32 FIFO LOW=1 HIGH=2 --verify", problem + "--verify)");
}

TEST_F(RegisterNames, AreRefusedForRegistersThatTheDeviceCannotAccess) {
    expectRefused("read map32 WIDE", "map32: register WIDE has 64 bits (the device has 32-bit registers)");
    expectRefused("read map32 BYTE0",
                  "map32: register BYTE0 has 8 bits and shares a register of the device with register BYTE1 (the "
                  "device has 32-bit registers)");
    expectRefused("read map32 BYTE1",
                  "map32: register BYTE1: offset 0x00000051 is not a multiple of 4 (32-bit registers)");
    expectRefused("read map32 TOO_FAR", "map32: register TOO_FAR is outside the 32-bit address range");
    expectRefused("read map32 NARROW.ABOVE", "map32: field NARROW.ABOVE is outside the 16 bits of its register");
    expectRefused("read map32 OUTSIDE", "map32: register OUTSIDE is outside the map of 4096 bytes");
}

TEST_F(RegisterNames, AreRefusedForANarrowRegisterInsideAnother) {
    describe(aRegister("DATA", "0") + aRegister("DATA8", "0", "<size>8</size>") +
             aRegister("EARLY", "6", "<size>32</size>") + aRegister("BEHIND", "8", "<size>16</size>") +
             aRegister("ONE", "0x10", "<size>16</size>") +
             aRegister("OTHER", "0x10", "<alternateRegister>ONE</alternateRegister><size>16</size>") +
             aRegister("SMALL", "0x10", "<alternateRegister>ONE</alternateRegister><size>8</size>") +
             aRegister("NEARLY", "0x10", "<alternateRegister>ONE</alternateRegister><size>12</size>"));
    const std::string width = " (the device has 32-bit registers)";
    expectRefused("write map32 DATA8 5",
                  "map32: register DATA8 has 8 bits and shares a register of the device with register DATA" + width);
    expectRefused("write map32 BEHIND 5",
                  "map32: register BEHIND has 16 bits and shares a register of the device with register EARLY" + width);
    expectRefused("write map32 SMALL 5",
                  "map32: register SMALL has 8 bits and shares a register of the device with register ONE" + width);
    expectRefused("write map32 NEARLY 5",
                  "map32: register NEARLY has 12 bits and shares a register of the device with register ONE" + width);
    expect("write map32 DATA 5", 0, "map32 DATA = 0x00000005\n");
    expect("write map32 OTHER 5 --quiet", 0, "");
    EXPECT_EQ(get(0x10), 5U);
}

TEST_F(RegisterNames, AreRefusedForAFieldIfReadingAnotherRegisterOfTheWordHasASideEffect) {
    describe(
        aRegister("RBR", "0", "<access>read-only</access>" + takenByReading) +
        aRegister("DLL", "0",
                  "<alternateRegister>RBR</alternateRegister>" + fields(field("F", "[7:0]") + field("G", "[15:8]"))));
    expectRefused("write map32 DLL.F 1", "map32: reading register DLL has a side effect, so its other fields cannot "
                                         "keep their values (use write REGISTER FIELD=VALUE ..., and also assign G)");
    expect("write map32 DLL F=1 G=2", 0, "map32 DLL.F = 1\nmap32 DLL.G = 2\n");
}

TEST_F(RegisterNames, AreRefusedIfAFieldOnTheBitsOfAnotherCannotKeepItsValue) {
    describe(aRegister(
                 "MIX", "0",
                 fields(field("A", "[0:0]") + field("P", "[7:4]") + field("C", "[7:4]", modifiedWrite("oneToClear")))) +
             aRegister("FLAGS", "4",
                       fields(field("A", "[0:0]") + field("Q", "[1:1]", modifiedWrite("oneToClear")) +
                              field("R", "[1:1]", modifiedWrite("zeroToClear")))));
    const std::string reason =
        " cannot keep its value, because a field or register that shares its bits needs other values";
    expectRefused("write map32 MIX.A 1",
                  "map32: field MIX.P" + reason + " (use write REGISTER FIELD=VALUE ..., and also assign P)");
    expectRefused("write map32 MIX 1 --mask 1",
                  "map32: field MIX.P" + reason + " (also select all bits of P with the mask)");
    expectRefused("write map32 FLAGS.A 1",
                  "map32: field FLAGS.Q" + reason + " (use write REGISTER FIELD=VALUE ..., and also assign Q)");
    expect("write map32 MIX A=1 P=2 --quiet", 0, "");
    EXPECT_EQ(get(0), 0x21U);
}

TEST_F(RegisterNames, LeaveOtherRegistersOfTheirAddressAlone) {
    describe(aRegister("ALTA", "0", fields(field("EN", "[0:0]") + field("MODE", "[5:4]"))) +
             aRegister("ALTB", "0",
                       "<alternateRegister>ALTA</alternateRegister>" +
                           fields(field("PEND", "[15:8]", modifiedWrite("oneToClear")) +
                                  field("SET", "[16:16]", modifiedWrite("zeroToSet")))));
    set(0, 0x80001230);
    expect("write map32 ALTA.EN 1 --quiet", 0, "");
    EXPECT_EQ(get(0), 0x80010031U);
    set(0, 0x80001230);
    expect("write map32 ALTA 2 --mask 2 --quiet", 0, "");
    EXPECT_EQ(get(0), 0x80010032U);
}

TEST_F(RegisterNames, AreRefusedIfAnotherRegisterOfTheirAddressCannotBeLeftAlone) {
    const std::string other = "<alternateRegister>A</alternateRegister>";
    describe(aRegister("A", "0", fields(field("F", "[0:0]") + field("G", "[7:4]"))) +
             aRegister("B", "0", other + modifiedWrite("oneToClear")) + aRegister("PLAIN", "4") +
             aRegister("C", "8", fields(field("F", "[0:0]"))) + aRegister("D", "8", other + modifiedWrite("set")));
    expectRefused("write map32 A.F 1", "map32: field A.G cannot keep its value, because a field or register that "
                                       "shares its bits needs other values "
                                       "(use write REGISTER FIELD=VALUE ..., and also assign G)");
    expect("write map32 A F=1 G=2 --quiet", 0, "");
    expectRefused("write map32 C.F 1", "map32: register C: this write would also change another register at the same "
                                       "address (to change it nevertheless, write the whole register)");
    expect("write map32 C 1 --quiet", 0, "");
}

TEST_F(RegisterNames, LeaveTheBitsAboveANarrowRegisterAlone) {
    describe(aRegister("N8", "0", "<size>8</size>" + fields(field("A", "[3:0]") + field("B", "[7:4]"))));
    set(0, 0xABCDEF01);
    expect("write map32 N8 A=1 B=2 --quiet", 0, "");
    EXPECT_EQ(get(0), 0xABCDEF21U);
    expect("write map32 N8 3 --quiet", 0, "");
    EXPECT_EQ(get(0), 3U);
}

TEST_F(RegisterNames, AreWrittenWithoutReadingIfNoOtherFieldNeedsIt) {
    const std::string cleared = modifiedWrite("oneToClear");
    const std::string flags = fields(field("TXINT", "[0:0]", cleared) + field("RXINT", "[1:1]", cleared) +
                                     field("SET", "[2:2]", modifiedWrite("zeroToSet")));
    describe(aRegister("INTCLEAR", "0", "<access>write-only</access>" + flags) +
             aRegister("INTREAD", "4", "<readAction>clear</readAction>" + flags));
    set(0, 0xFF);
    expect("write map32 INTCLEAR.TXINT 1 --quiet", 0, "");
    EXPECT_EQ(get(0), 5U);
    set(4, 0xFF);
    expect("write map32 INTREAD.RXINT 1 --quiet", 0, "");
    EXPECT_EQ(get(4), 6U);
}

TEST_F(RegisterNames, AreAccessibleIfOneOfTheirFieldsIs) {
    const std::string both = "<access>read-write</access>";
    describe(
        aRegister("RO", "0", "<access>read-only</access>" + fields(field("F", "[3:0]", both))) +
        aRegister("WO", "4", "<access>write-only</access>" + fields(field("F", "[3:0]", both) + field("G", "[7:4]"))) +
        aRegister("ALL", "8", "<access>read-only</access>" + fields(field("OUT", "[32:32]", both))));
    expect("write map32 RO.F 3 --quiet", 0, "");
    expect("write map32 RO 4 --verify --quiet", 0, "");
    expect("read map32 RO.F", 0, "map32 RO.F = 4\n");
    expect("write map32 WO 5 --quiet", 0, "");
    expect("read map32 WO", 0, "map32 WO = 0x00000005\n  F[3:0] = 5\n");
    expect("show map32 WO --quiet", 0, "WO 0x00000005\n");
    expectRefused("write map32 WO.F 1", "map32: field WO.G is write-only, so it cannot keep its value "
                                        "(use write REGISTER FIELD=VALUE ..., and also assign G)");
    expectRefused("write map32 ALL 1", "map32: register ALL is read-only");
}

TEST_F(RegisterNames, SelectTheFirstOfConsecutiveRegisters) {
    set(0x18, 0xAB);
    expect("dump map32 DATA[1] 3", 0, "0x00000014: 00000000 000000ab 00000000\n");
    expect("fill map32 DATA[1] 2 7", 0, "map32 DATA[1] = 0x00000007 in 2 registers\n");
    EXPECT_EQ(get(0x10), 0U);
    EXPECT_EQ(get(0x18), 7U);
}

TEST_F(RegisterNames, AreRefusedIfARegisterAfterTheFirstExcludesTheAccess) {
    expectRefused("fill map32 CTRL 2 0x200", "map32: register STATUS is read-only");
    expectRefused("fill map32 NARROW 2 6", "map32: register LIMITED: value 6 is not allowed (write 1 to 5)");
    expectRefused("fill map32 LIMITED 1 6", "map32: register LIMITED: value 6 is not allowed (write 1 to 5)");
    expectRefused("fill map32 NARROW 1 0x10000", "map32: register NARROW: value 65536 does not fit in 16 bits");
    expectRefused("fill map32 FIFO 3 1", "map32: register WIDE has 64 bits (the device has 32-bit registers)");
    expectRefused("dump map32 STATUS 2", "map32: register KEY is write-only");
    expect("fill map32 0 2 0x200 --quiet", 0, "");
}

TEST_F(RegisterNames, SelectConsecutiveRegistersIfOneOfEachAddressAllowsTheAccess) {
    describe(aRegister("FIRST", "0") + aRegister("RBR", "4", "<access>read-only</access>") +
             aRegister("THR", "4", "<alternateRegister>RBR</alternateRegister><access>write-only</access>"));
    expect("fill map32 FIRST 3 1 --quiet", 0, "");
    expect("dump map32 FIRST 3", 0, "0x00000000: 00000001 00000001 00000001\n");
    expectRefused("fill map32 RBR 1 1", "map32: register RBR is read-only");
    expectRefused("dump map32 THR 1", "map32: register THR is write-only");
}

TEST_F(RegisterNames, AreRefusedIfAWiderRegisterReachesIntoALaterAddress) {
    describe(aRegister("LOW", "0") + aRegister("BOTH", "0", "<size>64</size>") + aRegister("NEXT", "0xC") +
             aRegister("LONG", "0xC", "<size>128</size>") + aRegister("LAST", "0x14"));
    expectRefused("fill map32 LOW 2 1", "map32: register BOTH has 64 bits (the device has 32-bit registers)");
    expectRefused("fill map32 LAST 2 1", "map32: register LONG has 128 bits (the device has 32-bit registers)");
    expect("fill map32 LOW 1 1 --quiet", 0, "");
    expect("fill map32 0 2 1 --quiet", 0, "");
    expect("dump map32 LOW 2", 0, "0x00000000: 00000001 00000001\n");
    describe(aRegister("LOW", "0") + aRegister("BOTH", "0", "<size>64</size>") + aRegister("HIGH", "4") +
             aRegister("BEHIND", "12"));
    expect("fill map32 LOW 4 2 --quiet", 0, "");
    EXPECT_EQ(get(12), 2U);
}

TEST_F(RegisterNames, AreWatchedAtTheSameAddress) {
    describe(aRegister("RX", "0") + aRegister("TX", "0", "<alternateRegister>RX</alternateRegister>"));
    expect("watch map32 RX TX RX --count 2 --interval 1ms --quiet", 0, "RX 0x00000000\nTX 0x00000000\nRX 0x00000000\n");
}

TEST_F(RegisterNames, MayBeginWithADigitAndHaveDots) {
    describe(aRegister("0X", "4") + aRegister("A.B", "8", fields(field("F", "[7:0]"))));
    set(4, 7);
    set(8, 5);
    expect("read map32 0X", 0, "map32 0X = 0x00000007\n");
    expect("read map32 0x4", 0, "map32 0x00000004 = 0x00000007\n");
    expect("read map32 A.B", 0, "map32 A.B = 0x00000005\n  F[7:0] = 5\n");
    expect("read map32 A.B.F", 0, "map32 A.B.F = 5\n");
    expectRefused("read map32 0XX", "map32: '0XX' is not a name in board.svd (did you mean '0X'?)");
    expectRefused("read file8 0X", "address '0X' is not a number (decimal, hexadecimal with 0x, or binary with 0b)");
}

TEST_F(RegisterNames, AreWatched) {
    expect("watch map32 CTRL CTRL.START 4 --count 2 --interval 1ms", 0,
           "TIME map32 CTRL = 0x00000000\nTIME map32 CTRL.START = 0 (stopped)\nTIME map32 0x00000004 = 0x00000000\n");
    expect("watch map32 CTRL CTRL.START --count 1 --quiet", 0, "CTRL 0x00000000\nCTRL.START 0\n");
    expect(
        "watch map32 STATUS CTRL.MODE --count 1 --json", 0,
        "{\"name\":\"map32\",\"address\":4,\"register\":\"STATUS\",\"value\":0,\"fields\":[],\"time\":\"TIME\"}\n"
        "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"field\":\"MODE\",\"value\":0,\"time\":\"TIME\"}\n");
}

TEST_F(RegisterNames, PrintAWatchedFieldOnlyWhenTheFieldChanges) {
    Program program(RYNVELCTL_FOR_TESTS, words("--map board.svd watch map32 CTRL.MODE CTRL --interval 1ms --quiet"),
                    m_folder.path());
    EXPECT_EQ(program.outputLine(), "CTRL.MODE 0");
    EXPECT_EQ(program.outputLine(), "CTRL 0x00000000");
    run("write map32 CTRL 0x201");
    EXPECT_EQ(program.outputLine(), "CTRL 0x00000201");
    run("write map32 CTRL 0x231");
    EXPECT_EQ(program.outputLine(), "CTRL.MODE 3");
    EXPECT_EQ(program.outputLine(), "CTRL 0x00000231");
}

/**
 * The search for maps in the environment and on the command line. The tests do not use the folders of the installation.
 */
class MapsOfRegisterNames : public RegisterNames {
protected:
    void expectWith(const std::string& maps, const std::string& line, int status, const std::string& output,
                    const std::string& problem = "") const {
        const Ending ending = runWithVariable("RYNVEL_MAPS=" + maps, RYNVELCTL_FOR_TESTS, words(line), m_folder.path());
        expectEnding(ending, status, output, problem, maps + ": " + line);
    }
};

TEST_F(MapsOfRegisterNames, ComeFromTheEnvironment) {
    m_folder.store("other.svd", mapOf(peripheral("file8", "<register><name>R</name><addressOffset>0</addressOffset>"
                                                          "<size>8</size></register>")));
    expectWith("other.svd:board.svd", "read map32 STATUS", 0, "map32 STATUS = 0x00000000\n");
    expectWith(":other.svd:", "read file8 R", 0, "file8 R = 0x00\n");
    expectWith(".", "read file8 R", 0, "file8 R = 0x00\n");
    expectWith("other.svd", "read map32 STATUS", 2, "",
               "map32: 'STATUS' is not an address, and no register map describes the device (give a map with --map)");
    expectWith("nowhere", "read map32 STATUS", 2, "", "nowhere: error: No such file or directory");
    expectWith("nowhere", "read map32 4", 0, "map32 0x00000004 = 0x00000000\n");
}

TEST_F(MapsOfRegisterNames, ComeFromTheCommandLineBeforeTheEnvironment) {
    expectWith("nowhere", "read map32 STATUS --map board.svd", 0, "map32 STATUS = 0x00000000\n");
    expectWith("board.svd", "read map32 STATUS --map nowhere.svd", 2, "",
               "nowhere.svd: error: No such file or directory");
}

TEST_F(MapsOfRegisterNames, MustBeUsable) {
    m_folder.store("broken.svd", "<device>\n<peripherals>\n</device>");
    expectWith("broken.svd", "read map32 STATUS", 2, "",
               "broken.svd:3: error: the file is not well-formed XML: Start-end tags mismatch");
    m_folder.store("words.svd", mapOf(peripheral("map32", controlRegisters), "16"));
    expectWith("words.svd", "read map32 STATUS", 2, "", "words.svd: addressUnitBits is 16 (only 8 is supported)");
}

/** Runs rynvelctl on a remote device of a scripted server. */
class RemoteRegisterNames : public RegisterNames {
protected:
    Ending run(const std::string& line) {
        return RegisterNames::run("--remote " + m_peer.address() + " --type Uio32 " + line);
    }

    /** Returns the request that follows the opening of the device. */
    Rynvel::Request operation() { return asRequest(m_peer.requests(2)[1].bytes); }

    TestPeer m_peer;
};

TEST_F(RemoteRegisterNames, ReadTheSameRegister) {
    m_peer.script({success(), success({0x21})});
    expectEnding(run("read remote CTRL.START"), 0, "remote CTRL.START = 1 (running)\n");
}

TEST_F(RemoteRegisterNames, WriteFieldsWithTheirMask) {
    m_peer.script({success(), success()});
    expectEnding(run("write remote CTRL MODE=5 START=0"), 0, "remote CTRL.MODE = 5\nremote CTRL.START = 0 (stopped)\n");
    const Rynvel::Request request = operation();
    EXPECT_EQ(request.getType(), Rynvel::RequestData::Type::Write32);
    EXPECT_EQ(request.getAddress(), 0U);
    EXPECT_EQ(request.getValue(), 0x50U);
    EXPECT_EQ(request.getBitmask(), 0x71U);
}

TEST_F(RemoteRegisterNames, WriteAllFieldsWithoutAMask) {
    m_peer.script({success(), success()});
    expectEnding(run("write remote KEY CODE=5 LOCK=1"), 0, "remote KEY.CODE = 5\nremote KEY.LOCK = 1\n");
    EXPECT_EQ(operation().getValue(), 0x105U);
    EXPECT_EQ(operation().getBitmask(), 0U);
}

TEST_F(RemoteRegisterNames, AreVerifiedWithoutTheBitsOfOthers) {
    m_peer.script({success(), success(), success({0xABCD0005})});
    expectEnding(run("write remote NARROW 5 --verify"), 0, "remote NARROW = 0x0005\n");
}

TEST_F(RemoteRegisterNames, AreVerifiedWithoutTheirReadOnlyFields) {
    m_peer.script({success(), success(), success({0x80000201})});
    expectEnding(run("write remote CTRL 0x201 --verify"), 0, "remote CTRL = 0x00000201\n");
}

TEST_F(RemoteRegisterNames, AreVerifiedByTheWritableFieldsOfAReadOnlyRegister) {
    m_folder.store(
        "board.svd",
        mapOf(peripheral("remote", aRegister("RO", "0",
                                             "<access>read-only</access>" +
                                                 fields(field("F", "[3:0]", "<access>read-write</access>"))))));
    m_peer.script({success(), success(), success({0xFF000004})});
    expectEnding(run("write remote RO 4 --verify"), 0, "remote RO = 0x00000004\n");
}

TEST_F(RemoteRegisterNames, AreVerifiedEvenWhereAReadOnlyFieldOverlaps) {
    m_folder.store("board.svd",
                   mapOf(peripheral("remote", aRegister("OVL", "0",
                                                        fields(field("STAT", "[3:0]", "<access>read-only</access>") +
                                                               field("CTL", "[3:0]"))))));
    m_peer.script({success(), success(), success({0})});
    expectEnding(run("write remote OVL.CTL 5 --verify"), 1, "",
                 "remote: OVL holds 0x00000000 after 0x00000005 was written with mask 0x0000000f");
}

TEST_F(RemoteRegisterNames, AreVerifiedByTheirFields) {
    m_peer.script({success(), success(), success({0x21})});
    expectEnding(run("write remote CTRL.MODE 5 --verify"), 1, "",
                 "remote: CTRL holds 0x00000021 after 0x00000050 was written with mask 0x00000070");
}

TEST_F(RemoteRegisterNames, AreReportedWithTheGivenMaskIfTheyAreVerifiedWithoutAReadOnlyField) {
    m_peer.script({success(), success(), success({0x80000000})});
    expectEnding(run("write remote CTRL 0x50 --mask 0x80000070 --verify"), 1, "",
                 "remote: CTRL holds 0x80000000 after 0x00000050 was written with mask 0x80000070");
}

TEST_F(RemoteRegisterNames, AreRefusedBeforeTheServerIsAsked) {
    expectEnding(run("write remote STATUS 1"), 2, "", "remote: register STATUS is read-only");
    EXPECT_EQ(m_peer.requests(0).size(), 0U);
}

} // namespace
} // namespace RynvelTest
