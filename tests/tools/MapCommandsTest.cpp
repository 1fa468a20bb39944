// SPDX-License-Identifier: MIT
#include <filesystem>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "Program.h"

namespace RynvelTest {
namespace {

/** Runs the commands for register maps. These commands access no device, and the folder contains no device file. */
class MapCommands : public testing::Test {
protected:
    Ending run(const std::string& line) const { return runProgram(RYNVELCTL_FOR_TESTS, words(line), m_folder.path()); }

    void expect(const std::string& line, const std::string& output) const {
        expectEnding(run(line), 0, output, "", line);
    }

    void expectFailure(const std::string& line, int status, const std::string& problem) const {
        expectEnding(run(line), status, "", problem, line);
    }

    TestFolder m_folder;
};

const std::string oneRegister = registerAt("A", "0", "");

TEST_F(MapCommands, ListTheMapsAndTheDevicesThatTheyDescribe) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("map32", "", oneRegister + registerAt("B", "4", "")) +
                                             peripheralOf("seek_irq16", "", oneRegister)));
    m_folder.store("b.svd",
                   mapOfPeripherals(peripheralOf("OTHER", "", oneRegister) + peripheralOf("map32", "", oneRegister)));
    expect("--map a.svd --map b.svd maps list", "FILE   PERIPHERAL  REGISTERS  DEVICES\n"
                                                "a.svd  map32       2          map32\n"
                                                "a.svd  seek_irq16  1          seek.irq16\n"
                                                "b.svd  OTHER       1          -\n"
                                                "b.svd  map32       1          hidden by a.svd\n");
    expect("--map . maps list --quiet", "./a.svd\n./b.svd\n");
    expect("--map b.svd --map a.svd maps list --json",
           "[{\"file\":\"b.svd\",\"name\":\"Board\",\"version\":\"1.2\",\"peripherals\":["
           "{\"name\":\"OTHER\",\"registers\":1,\"devices\":[],\"hiddenBy\":null},"
           "{\"name\":\"map32\",\"registers\":1,\"devices\":[\"map32\"],\"hiddenBy\":null}]},"
           "{\"file\":\"a.svd\",\"name\":\"Board\",\"version\":\"1.2\",\"peripherals\":["
           "{\"name\":\"map32\",\"registers\":2,\"devices\":[],\"hiddenBy\":\"b.svd\"},"
           "{\"name\":\"seek_irq16\",\"registers\":1,\"devices\":[\"seek.irq16\"],\"hiddenBy\":null}]}]\n");
}

TEST_F(MapCommands, ListNothingIfAMapCannotBeUsed) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("map32", "", oneRegister)));
    m_folder.store("b.svd", "<device>\n</oops>");
    const Ending ending = run("--map a.svd --map b.svd maps list");
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.output, "");
    EXPECT_EQ(ending.error.rfind("rynvelctl: b.svd:2: error: ", 0), 0U) << ending.error;
}

TEST_F(MapCommands, AcceptMapsWithoutWarnings) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("P", "", oneRegister)));
    m_folder.store("b.svd", mapOfPeripherals(peripheralOf("P", "", oneRegister + registerAt("B", "4", ""))));
    expect("maps check a.svd b.svd", "a.svd: 1 peripheral, 1 register, 0 warnings\n"
                                     "b.svd: 1 peripheral, 2 registers, 0 warnings\n");
    expect("maps check .", "./a.svd: 1 peripheral, 1 register, 0 warnings\n"
                           "./b.svd: 1 peripheral, 2 registers, 0 warnings\n");
    expect("maps check a.svd --quiet", "");
    expect("maps check a.svd --json",
           "[{\"file\":\"a.svd\",\"usable\":true,\"peripherals\":1,\"registers\":1,\"diagnostics\":[]}]\n");
}

TEST_F(MapCommands, AcceptMapsWithWarnings) {
    m_folder.store("odd.svd", mapOfPeripherals(peripheralOf("P", "", registerAt("A", "0", "\n<odd/><size>7</size>"))));
    const std::string warnings = "odd.svd:6: warning: register 'A' has 7 bits (8, 16, 32 or 64 are usual)\n"
                                 "odd.svd:7: warning: element 'odd' is not part of the format, and is not used\n";
    expect("maps check odd.svd", warnings + "odd.svd: 1 peripheral, 1 register, 2 warnings\n");
    expect("maps check odd.svd --quiet", warnings);
    expect("maps check odd.svd --json",
           "[{\"file\":\"odd.svd\",\"usable\":true,\"peripherals\":1,\"registers\":1,\"diagnostics\":["
           "{\"line\":6,\"severity\":\"warning\","
           "\"text\":\"register 'A' has 7 bits (8, 16, 32 or 64 are usual)\"},"
           "{\"line\":7,\"severity\":\"warning\",\"text\":\"element 'odd' is not part of the format, and is not "
           "used\"}]}]\n");
}

TEST_F(MapCommands, CheckAllMapsAndFailIfOneIsBroken) {
    m_folder.store("broken.svd", "<device/>\n");
    m_folder.store("sound.svd", mapOfPeripherals(peripheralOf("P", "", oneRegister)));
    expectEnding(run("maps check broken.svd sound.svd"), 1,
                 "broken.svd:1: error: the device has no peripherals\n"
                 "broken.svd: not usable, 0 warnings\n"
                 "sound.svd: 1 peripheral, 1 register, 0 warnings\n",
                 "maps check: 1 of 2 maps cannot be used");
    expectEnding(run("maps check broken.svd --json"), 1,
                 "[{\"file\":\"broken.svd\",\"usable\":false,\"peripherals\":0,\"registers\":0,\"diagnostics\":["
                 "{\"line\":1,\"severity\":\"error\",\"text\":\"the device has no peripherals\"}]}]\n",
                 "maps check: 1 of 1 map cannot be used");
}

TEST_F(MapCommands, RefuseAFolderWithoutMaps) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("P", "", oneRegister)));
    std::filesystem::create_directory(m_folder.path() + "/none");
    m_folder.store("none/map.xml", "");
    expectFailure("maps check none", 2, "none: the folder has no register map (the names of maps end in .svd)");
    expectFailure("maps check a.svd none --json", 2,
                  "none: the folder has no register map (the names of maps end in .svd)");
}

TEST_F(MapCommands, ShowNoControlCharactersOfAMap) {
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf("map32", "x\x1B[2Jy", registerAt("A\x1B", "0", ""))));
    for (const std::string line :
         {"maps check m.svd", "--map m.svd describe map32", "--map m.svd describe map32 --quiet"}) {
        const Ending ending = run(line);
        EXPECT_EQ(ending.status, 0) << line;
        EXPECT_NE(ending.output, "") << line;
        EXPECT_EQ(ending.output.find('\x1B'), std::string::npos) << line;
    }
}

TEST_F(MapCommands, ShowNoLineEndOfAName) {
    m_folder.store("map", std::string(4096, '\0'));
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf("map32", "", registerAt("A&#10;B", "0", ""))));
    const auto expectOutput = [this](const std::string& line, const std::string& output) {
        expectEnding(run(line), 0, output, "", line);
    };
    expectOutput("--map m.svd show map32", "0x00000000  A?B = 0x00000000\n");
    expectOutput("--map m.svd show map32 --quiet", "A?B 0x00000000\n");
    expectOutput("--complete --map m.svd read map32 A", "A?B\n");
    const std::string header = run("--map m.svd maps header map32").output;
    EXPECT_NE(header.find("/* A?B"), std::string::npos) << header;
    EXPECT_EQ(header.find("A\nB"), std::string::npos) << header;
}

TEST_F(MapCommands, RefuseWrongCommandLines) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("map32", "", oneRegister)));
    expectFailure("maps", 2, "maps: the command is missing (list, check, header or wireshark)");
    expectFailure("maps lisst", 2, "maps: unknown command 'lisst' (did you mean 'list'?)");
    expectFailure("maps xyz", 2, "maps: unknown command 'xyz' (--help lists the commands)");
    expectFailure("maps list list", 2, "unexpected argument 'list' (--help shows the arguments)");
    expectFailure("maps --frob list", 2, "unknown option '--frob' (--help lists the options)");
    expectFailure("maps check", 2, "FILE is required");
    expectFailure("maps check nowhere.svd", 2, "nowhere.svd: error: No such file or directory");
    expectFailure("maps header", 2, "NAME is required");
    expectFailure("--remote h maps list", 2,
                  "maps list: --remote is not supported (the command works only on this machine)");
    expectFailure("--map a.svd maps header file8", 2,
                  "file8: no register map describes the device (give a map with --map)");
    expectFailure("--map a.svd maps header nothing", 2,
                  "nothing: not a device of this machine ('rynvelctl list' shows the names)");
    expectFailure("maps wireshark", 2, "NAME is required");
    expectFailure("--map a.svd maps wireshark map32 file8", 2,
                  "file8: no register map describes the device (give a map with --map)");
    expectFailure("--map a.svd describe map32 B.C.D", 2,
                  "map32: 'B.C.D' is not a name in a.svd ('rynvelctl describe map32' shows the names)");
    expectFailure("--map a.svd describe map32 A A", 2, "unexpected argument 'A' (--help shows the arguments)");
}

TEST_F(MapCommands, WriteTheSameHeaderInEveryFormatForPrograms) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("map32", "", oneRegister)));
    const std::string header = run("--map a.svd maps header map32").output;
    EXPECT_EQ(header.rfind("/* map32 */\n", 0), 0U) << header;
    EXPECT_EQ(run("--map a.svd maps header map32 --quiet").output, header);
}

TEST_F(MapCommands, WriteTheNamesForWireshark) {
    m_folder.store("m.svd", timerMap());
    const std::string registers = "device 32 1 map32\n"
                                  "# Left out: map32: register WIDE has 64 bits (the device has 32-bit registers)\n"
                                  "register 0x0 read-write CTRL\n"
                                  "field 17 17 read-write PINB\n"
                                  "field 16 16 read-write PINA\n"
                                  "field 15 8 read-write GAIN\n"
                                  "field 6 4 read-write MODE\n"
                                  "value 0x2 0x6 read-write slow\n"
                                  "value 0x4 0x7 read-write fast\n"
                                  "value 0x0 0x0 read-write unknown\n"
                                  "field 0 0 read-write RUN\n"
                                  "value 0x0 0x1 read-write stopped\n"
                                  "value 0x1 0x1 read-write running\n"
                                  "register 0x1 read-only STATUS\n"
                                  "field 31 31 read-only DONE\n"
                                  "register 0x2 write-only ACK\n"
                                  "field 31 31 write-only DONE\n"
                                  "register 0x6 read-write LEVEL0\n"
                                  "register 0x7 read-write LEVEL1\n"
                                  "register 0x8 read-write CH[0].DATAIN\n"
                                  "register 0x9 read-write CH[0].DATAOUT\n"
                                  "register 0xa read-write CH[0].LIMIT\n"
                                  "register 0x10 read-write CH[1].DATAIN\n"
                                  "register 0x11 read-write CH[1].DATAOUT\n"
                                  "register 0x12 read-write CH[1].LIMIT\n";
    expect("--map m.svd maps wireshark map32", registers);
    expect("--map m.svd maps wireshark map32 --quiet", registers);
}

TEST_F(MapCommands, WriteTheNamesOfSeveralDevicesForWireshark) {
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf("map32", "", oneRegister) +
                                             peripheralOf("codec", "", registerAt("B", "4", "<size>16</size>"))));
    expect("--map m.svd --remote 192.0.2.1 --type Lseek16 maps wireshark codec",
           "device 16 2 codec\nregister 0x4 read-write B\n");
    expect("--map m.svd maps wireshark map32 map32 --json",
           "{\"devices\":[\"map32\",\"map32\"],\"text\":\"device 32 1 map32\\u000aregister 0x0 read-write "
           "A\\u000adevice 32 1 map32\\u000aregister 0x0 read-write A\"}\n");
}

TEST_F(MapCommands, HaveSeparateHelp) {
    EXPECT_NE(run("maps --help").output.find("header "), std::string::npos);
    EXPECT_NE(run("maps check --help").output.find("a register map, or a folder"), std::string::npos);
}

TEST_F(MapCommands, TakeGlobalOptionsAnywhere) {
    m_folder.store("a.svd", mapOfPeripherals(peripheralOf("map32", "", oneRegister)));
    expect("maps --map a.svd list --quiet", "a.svd\n");
    expect("maps list --map a.svd --quiet", "a.svd\n");
}

/** The description of a device that has every element of a map. */
class Descriptions : public MapCommands {
protected:
    Descriptions() { m_folder.store("m.svd", timerMap()); }

    void expectDescription(const std::string& what, const std::string& output) const {
        expect("--map m.svd describe " + what, output);
    }
};

TEST_F(Descriptions, ListTheRegistersOfADevice) {
    expectDescription("map32", "map32: A timer\n"
                               "map: m.svd, peripheral map32\n"
                               "\n"
                               "OFFSET      REGISTER       BITS  ACCESS      RESET               DESCRIPTION\n"
                               "0x00000000  CTRL           32    read-write  0x00000021          Control\n"
                               "0x00000004  STATUS         32    read-only   0x00000000          State\n"
                               "0x00000008  ACK            32    write-only  0x00000000\n"
                               "0x00000010  WIDE           64    read-write  0x0000000000000000\n"
                               "0x00000018  LEVEL0         32    read-write  0x00000000\n"
                               "0x0000001c  LEVEL1         32    read-write  0x00000000\n"
                               "0x00000020  CH[0].DATAIN   32    read-write  0x00000000          Data\n"
                               "0x00000024  CH[0].DATAOUT  32    read-write  0x00000000          Data\n"
                               "0x00000028  CH[0].LIMIT    32    read-write  0x00000000\n"
                               "0x00000040  CH[1].DATAIN   32    read-write  0x00000000          Data\n"
                               "0x00000044  CH[1].DATAOUT  32    read-write  0x00000000          Data\n"
                               "0x00000048  CH[1].LIMIT    32    read-write  0x00000000\n");
    expectDescription("map32 --quiet",
                      "CTRL\nSTATUS\nACK\nWIDE\nLEVEL0\nLEVEL1\nCH[0].DATAIN\nCH[0].DATAOUT\nCH[0].LIMIT\n"
                      "CH[1].DATAIN\nCH[1].DATAOUT\nCH[1].LIMIT\n");
}

TEST_F(Descriptions, ListTheFieldsOfARegister) {
    expectDescription("map32 CTRL", "map32 CTRL: Control\n"
                                    "\n"
                                    "offset:       0x00000000\n"
                                    "width:        32 bits\n"
                                    "access:       read-write\n"
                                    "reset value:  0x00000021\n"
                                    "\n"
                                    "  31:18    17     16    15:8   7   6:4    3:1    0\n"
                                    "+-------+------+------+------+---+------+-----+-----+\n"
                                    "|   -   | PINB | PINA | GAIN | - | MODE |  -  | RUN |\n"
                                    "+-------+------+------+------+---+------+-----+-----+\n"
                                    "\n"
                                    "BITS  FIELD  ACCESS      RESET  DESCRIPTION\n"
                                    "17    PINB   read-write  0\n"
                                    "16    PINA   read-write  0\n"
                                    "15:8  GAIN   read-write  0\n"
                                    "6:4   MODE   read-write  2      Clock mode\n"
                                    "0     RUN    read-write  1      Runs the timer\n"
                                    "\n"
                                    "values of MODE:\n"
                                    "  0b01x   slow\n"
                                    "  4       fast\n"
                                    "  others  unknown\n"
                                    "\n"
                                    "values of RUN:\n"
                                    "  0  stopped\n"
                                    "  1  running  It counts\n");
    expectDescription("map32 CTRL --quiet", "PINB\nPINA\nGAIN\nMODE\nRUN\n");
}

TEST_F(Descriptions, ShowTheSideEffectsOfARegister) {
    expectDescription("map32 STATUS", "map32 STATUS: State\n"
                                      "\n"
                                      "offset:            0x00000004\n"
                                      "width:             32 bits\n"
                                      "access:            read-only\n"
                                      "effect of a read:  clear\n"
                                      "reset value:       0x00000000 (mask 0x000000ff)\n"
                                      "\n"
                                      "   31    30:0\n"
                                      "+------+------+\n"
                                      "| DONE |  -   |\n"
                                      "+------+------+\n"
                                      "\n"
                                      "BITS  FIELD  ACCESS     RESET  EFFECTS      DESCRIPTION\n"
                                      "31    DONE   read-only  -      read: clear\n");
    expectDescription("map32 ACK", "map32 ACK\n"
                                   "\n"
                                   "offset:             0x00000008\n"
                                   "width:              32 bits\n"
                                   "access:             write-only\n"
                                   "effect of a write:  oneToClear\n"
                                   "reset value:        0x00000000\n"
                                   "\n"
                                   "   31    30:0\n"
                                   "+------+------+\n"
                                   "| DONE |  -   |\n"
                                   "+------+------+\n"
                                   "\n"
                                   "BITS  FIELD  ACCESS      RESET  EFFECTS            DESCRIPTION\n"
                                   "31    DONE   write-only  0      write: oneToClear\n");
}

TEST_F(Descriptions, ShowTheSideEffectsOfTheFieldsOfARegister) {
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf(
                                "map32", "",
                                registerAt("EVENTS", "0",
                                           "<fields><field><name>A</name><bitRange>[0:0]</bitRange></field>"
                                           "<field><name>B</name><description>Both</description><bitRange>[1:1]"
                                           "</bitRange><modifiedWriteValues>oneToSet</modifiedWriteValues>"
                                           "<readAction>clear</readAction></field></fields>"))));
    const std::string output = run("--map m.svd describe map32 EVENTS").output;
    EXPECT_NE(output.find("\n\nBITS  FIELD  ACCESS      RESET  EFFECTS                       DESCRIPTION\n"
                          "1     B      read-write  0      read: clear, write: oneToSet  Both\n"
                          "0     A      read-write  0\n"),
              std::string::npos)
        << output;
}

TEST_F(Descriptions, ListTheValuesOfAField) {
    expectDescription("map32 CTRL.MODE", "map32 CTRL.MODE: Clock mode\n"
                                         "\n"
                                         "register offset:  0x00000000\n"
                                         "bits:             6:4\n"
                                         "access:           read-write\n"
                                         "reset value:      2\n"
                                         "\n"
                                         "values of MODE:\n"
                                         "  0b01x   slow\n"
                                         "  4       fast\n"
                                         "  others  unknown\n");
    expectDescription("map32 CTRL.GAIN", "map32 CTRL.GAIN\n"
                                         "\n"
                                         "register offset:  0x00000000\n"
                                         "bits:             15:8\n"
                                         "access:           read-write\n"
                                         "may be written:   1 to 9\n"
                                         "reset value:      0\n");
    expectDescription("map32 CTRL.MODE --quiet", "slow\nfast\nunknown\n");
}

TEST_F(Descriptions, IncludeRegistersThatTheDeviceCannotAccess) {
    expectDescription("map32 WIDE", "map32 WIDE\n"
                                    "\n"
                                    "offset:          0x00000010\n"
                                    "width:           64 bits\n"
                                    "access:          read-write\n"
                                    "reset value:     0x0000000000000000\n"
                                    "not accessible:  register WIDE has 64 bits (the device has 32-bit registers)\n");
}

TEST_F(Descriptions, IncludeRemoteDevices) {
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf("codec", "", oneRegister)));
    expectDescription("codec --remote 192.0.2.1 --type Lseek16 --quiet", "A\n");
}

TEST_F(Descriptions, HaveSeveralLinesIfTheyAreLong) {
    std::string text = "word";
    for (int i = 0; i < 20; ++i) {
        text += " word";
    }
    const std::string nine = "word word word word word word word word word";
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf(
                                "map32", "", registerAt("A", "0", "<description>" + text + "</description>"))));
    expectDescription("map32", "map32\n"
                               "map: m.svd, peripheral map32\n"
                               "\n"
                               "OFFSET      REGISTER  BITS  ACCESS      RESET       DESCRIPTION\n"
                               "0x00000000  A         32    read-write  0x00000000  " +
                                   nine + "\n" + std::string(52, ' ') + nine + "\n" + std::string(52, ' ') +
                                   "word word word\n");
    EXPECT_EQ(run("--map m.svd describe map32 A").output.find('\n'), 98U);
}

TEST_F(Descriptions, NameTheAlternativesOfARegister) {
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf(
                                "map32", "",
                                oneRegister + registerAt("B", "0", "<alternateRegister>A</alternateRegister>") +
                                    registerAt("C", "0", "<alternateGroup>other\x7f</alternateGroup>"))));
    EXPECT_NE(run("--map m.svd describe map32 B").output.find("\nalternative to:  A\n"), std::string::npos);
    EXPECT_NE(run("--map m.svd describe map32 C").output.find("\nalternative group:  other?\n"), std::string::npos);
}

TEST_F(Descriptions, AreOneValueOfADeviceInJson) {
    m_folder.store(
        "m.svd", mapOfPeripherals(peripheralOf("map32", "Two \"registers\"", oneRegister + registerAt("B", "4", ""))));
    const auto expected = [](const std::string& name, const std::string& offset) {
        return "{\"register\":\"" + name + "\",\"offset\":" + offset +
               ",\"width\":32,\"access\":\"read-write\",\"readAction\":null,\"modifiedWriteValues\":\"modify\","
               "\"writeConstraint\":null,\"resetValue\":0,\"resetMask\":4294967295,\"description\":\"\",\"fields\":[]}";
    };
    expectDescription("map32 --json",
                      "{\"name\":\"map32\",\"map\":\"m.svd\",\"peripheral\":\"map32\",\"description\":\"Two "
                      "\\\"registers\\\"\",\"registers\":[" +
                          expected("A", "0") + "," + expected("B", "4") + "]}\n");
}

TEST_F(Descriptions, ShowThatAResetValueIsUnknown) {
    std::string map = mapOfPeripherals(
        peripheralOf("map32", "",
                     registerAt("A", "0",
                                fieldsOf(fieldAt("F", "1:0",
                                                 "<enumeratedValues><usage>read</usage><enumeratedValue><name>on</name>"
                                                 "<value>1</value></enumeratedValue></enumeratedValues>")))));
    const std::string resetValue = "<resetValue>0</resetValue>";
    map.erase(map.find(resetValue), resetValue.size());
    m_folder.store("m.svd", map);
    expectDescription("map32", "map32\n"
                               "map: m.svd, peripheral map32\n"
                               "\n"
                               "OFFSET      REGISTER  BITS  ACCESS      RESET  DESCRIPTION\n"
                               "0x00000000  A         32    read-write  -\n");
    expectDescription("map32 A.F", "map32 A.F\n"
                                   "\n"
                                   "register offset:  0x00000000\n"
                                   "bits:             1:0\n"
                                   "access:           read-write\n"
                                   "reset value:      -\n"
                                   "\n"
                                   "values of F (read):\n"
                                   "  1  on\n");
    EXPECT_EQ(run("--map m.svd describe map32 A").output.find("reset value"), std::string::npos);
    EXPECT_NE(run("--map m.svd describe map32 A --json").output.find("\"resetValue\":null"), std::string::npos);
}

TEST_F(Descriptions, HaveConstraintsAndObstaclesInJson) {
    EXPECT_NE(run("--map m.svd describe map32 CTRL.GAIN --json").output.find("\"writeConstraint\":\"1 to 9\""),
              std::string::npos);
    EXPECT_NE(run("--map m.svd describe map32 WIDE --json")
                  .output.find("\"obstacle\":\"register WIDE has 64 bits (the device has 32-bit registers)\"}"),
              std::string::npos);
}

TEST_F(Descriptions, AreOneValueInJson) {
    expectDescription(
        "map32 CTRL.MODE --json",
        "{\"name\":\"map32\",\"register\":\"CTRL\",\"field\":\"MODE\",\"lsb\":4,\"msb\":6,\"access\":\"read-write\","
        "\"readAction\":null,\"modifiedWriteValues\":\"modify\",\"writeConstraint\":null,\"description\":\"Clock "
        "mode\",\"values\":[{\"name\":\"slow\",\"value\":2,\"mask\":6,\"usage\":\"read-write\",\"description\":\"\"},{"
        "\"name\":\"fast\",\"value\":4,\"mask\":7,\"usage\":\"read-write\",\"description\":\"\"},{\"name\":\"unknown\","
        "\"value\":null,\"mask\":null,\"usage\":\"read-write\",\"description\":\"\"}]}\n");
    expectDescription("map32 STATUS --json",
                      "{\"name\":\"map32\",\"register\":\"STATUS\",\"offset\":4,\"width\":32,\"access\":\"read-only\","
                      "\"readAction\":\"clear\",\"modifiedWriteValues\":\"modify\",\"writeConstraint\":null,"
                      "\"resetValue\":0,\"resetMask\":255,\"description\":\"State\",\"fields\":[{\"name\":\"DONE\","
                      "\"lsb\":31,\"msb\":31,\"access\":\"read-only\",\"readAction\":\"clear\",\"modifiedWriteValues\":"
                      "\"modify\",\"writeConstraint\":null,\"description\":\"\",\"values\":[]}],\"obstacle\":null}\n");
}

} // namespace
} // namespace RynvelTest
