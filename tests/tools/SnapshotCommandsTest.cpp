// SPDX-License-Identifier: MIT
#include <array>
#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

std::string element(const std::string& tag, const std::string& content) {
    return '<' + tag + '>' + content + "</" + tag + '>';
}

std::string aRegister(const std::string& name, const std::string& offset, const std::string& further = "") {
    return element("register", element("name", name) + element("addressOffset", offset) + further);
}

std::string field(const std::string& name, const std::string& bits, const std::string& further = "") {
    return element("field", element("name", name) + element("bitRange", bits) + further);
}

std::string peripheral(const std::string& name, const std::string& registers) {
    return element("peripheral",
                   element("name", name) + "<baseAddress>0</baseAddress>" + element("registers", registers));
}

std::string value(const std::string& name, const std::string& number) {
    return element("enumeratedValue", element("name", name) + element("value", number));
}

/** Returns registers of every kind for a device with 32-bit registers. */
std::string registersOfMap32() {
    const std::string states = element("enumeratedValues", value("stopped", "0") + value("running", "1"));
    return aRegister("CTRL", "0x00",
                     element("fields", field("START", "[0:0]", states) + field("MODE", "[6:4]") +
                                           field("BUSY", "[31:31]", element("access", "read-only")))) +
           aRegister("STATUS", "0x04", element("access", "read-only")) +
           aRegister("FIFO", "0x08", element("readAction", "modify")) +
           aRegister("KEY", "0x0C", element("access", "write-only")) +
           aRegister("EVENTS", "0x10", element("modifiedWriteValues", "oneToClear")) + aRegister("LIMIT", "0x14") +
           aRegister("WIDE", "0x18", element("size", "64")) + aRegister("SMALL", "0x20", element("size", "16")) +
           aRegister("MIXED", "0x24",
                     element("fields", field("LEVEL", "[7:0]") + field("LOW", "[3:0]") +
                                           field("SEEN", "[8:8]", element("modifiedWriteValues", "oneToClear")) +
                                           field("STEP", "[19:16]",
                                                 "<writeConstraint><range><minimum>1</minimum><maximum>4</maximum>"
                                                 "</range></writeConstraint>") +
                                           field("ECHO", "[31:28]",
                                                 element("writeConstraint", element("writeAsRead", "true"))))) +
           aRegister("POP", "0x28", element("fields", field("NEXT", "[7:0]", element("readAction", "clear")))) +
           aRegister("FAR", "0x2000");
}

std::string mapOf(const std::string& peripherals) {
    return "<device schemaVersion=\"1.3\"><name>tests</name><version>1.5</version><description>d</description>"
           "<addressUnitBits>8</addressUnitBits><width>32</width><size>32</size><access>read-write</access>"
           "<resetValue>0</resetValue><resetMask>0xFFFFFFFF</resetMask>" +
           element("peripherals", peripherals) + "</device>";
}

std::string map() {
    const std::string bits = element("size", "8");
    return mapOf(
        peripheral("map32", registersOfMap32()) +
        peripheral("file8", aRegister("A", "0", bits) + aRegister("B", "1", bits) + aRegister("C", "2", bits)));
}

const char* const leftOut = "rynvelctl: map32: left out: FIFO, POP "
                            "(reading has a side effect; --with-side-effects includes them)\n";
const char* const obstacles =
    "rynvelctl: map32: left out: register WIDE has 64 bits (the device has 32-bit registers)\n"
    "rynvelctl: map32: left out: register FAR is outside the map of the device\n";

/** Runs rynvelctl on devices that are files of the test, with a map of their registers. */
class SavedRegisters : public testing::Test {
protected:
    SavedRegisters() {
        m_folder.store("tests.svd", map());
        m_folder.store("map", std::string(4096, '\0'));
        m_folder.store("registers8", "\x01\x02\x03");
    }

    Ending run(const std::string& line) const {
        return runProgram(RYNVELCTL_FOR_TESTS, words("--map tests.svd " + line), m_folder.path());
    }

    void expect(const std::string& line, int status, const std::string& output, const std::string& error = "") const {
        const Ending ending = run(line);
        EXPECT_EQ(ending.status, status) << line;
        EXPECT_EQ(withoutTimes(ending.output), output) << line;
        EXPECT_EQ(ending.error, error) << line;
    }

    /** @param output the descriptor of standard output, which this function closes. */
    Ending runWithOutput(int output, const std::string& line) const {
        Program program(RYNVELCTL_FOR_TESTS, words("--map tests.svd " + line), m_folder.path(), output);
        close(output);
        return program.wait();
    }

    /** Runs the program with a standard output without a reader. */
    Ending runWithoutAReader(const std::string& line) const {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        close(ends[0]);
        return runWithOutput(ends[1], line);
    }

    /** Runs the program with a full disk as standard output. */
    Ending runOnAFullDisk(const std::string& line) const {
        return runWithOutput(open("/dev/full", O_WRONLY | O_CLOEXEC), line);
    }

    /** Replaces the registers of map32 in the register map. */
    void describeMap32(const std::string& registers) const {
        m_folder.store("tests.svd", mapOf(peripheral("map32", registers)));
    }

    /** Writes a register of map32 directly to the file of the device. */
    void poke(std::size_t offset, std::uint32_t number) const {
        std::string bytes = m_folder.load("map");
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[offset + i] = static_cast<char>(number >> (8 * i));
        }
        m_folder.store("map", bytes);
    }

    std::uint32_t peek(std::size_t offset) const {
        const std::string bytes = m_folder.load("map");
        std::uint32_t number = 0;
        for (std::size_t i = 4; i-- > 0;) {
            number = number << 8U | static_cast<unsigned char>(bytes[offset + i]);
        }
        return number;
    }

    /** Replaces a text in a snapshot. */
    void edit(const std::string& file, const std::string& replaced, const std::string& replacement) const {
        std::string text = m_folder.load(file);
        const std::size_t position = text.find(replaced);
        ASSERT_NE(position, std::string::npos) << replaced;
        m_folder.store(file, text.replace(position, replaced.size(), replacement));
    }

    std::size_t files() const {
        const std::filesystem::directory_iterator entries(m_folder.path());
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    TestFolder m_folder;
};

TEST_F(SavedRegisters, IncludeAllRegistersThatCanBeReadWithoutSideEffects) {
    poke(0x00, 0x80000031);
    poke(0x20, 0xFFFF1234);
    expect("save map32 s", 0, "map32: saved 6 registers in s\n", std::string(leftOut) + obstacles);
    EXPECT_EQ(withoutTimes(m_folder.load("s")),
              R"({"format":"rynvel-registers","version":1,"device":"map32",)"
              R"("map":{"file":"tests.svd","name":"tests","version":"1.5"},"time":"TIME","registers":[)"
              "\n"
              R"({"name":"CTRL","offset":0,"size":32,"value":2147483697},)"
              "\n"
              R"({"name":"STATUS","offset":4,"size":32,"value":0},)"
              "\n"
              R"({"name":"EVENTS","offset":16,"size":32,"value":0},)"
              "\n"
              R"({"name":"LIMIT","offset":20,"size":32,"value":0},)"
              "\n"
              R"({"name":"SMALL","offset":32,"size":16,"value":4660},)"
              "\n"
              R"({"name":"MIXED","offset":36,"size":32,"value":0})"
              "\n]}\n");
}

TEST_F(SavedRegisters, IncludeThoseWithSideEffectsOnRequest) {
    poke(0x08, 5);
    expect("save map32 s --with-side-effects --json", 0, "{\"name\":\"map32\",\"file\":\"s\",\"count\":8}\n",
           obstacles);
    EXPECT_NE(m_folder.load("s").find(R"({"name":"FIFO","offset":8,"size":32,"value":5})"), std::string::npos);
}

TEST_F(SavedRegisters, ArePrintedOnRequest) {
    const Ending ending = run("save file8 -");
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "");
    expect("save file8 s --quiet", 0, "");
    EXPECT_EQ(withoutTimes(ending.output), withoutTimes(m_folder.load("s")));
}

TEST_F(SavedRegisters, AreAFailureIfStandardOutputHasNoReader) {
    expectEnding(runWithoutAReader("save file8 -"), 1, "", "standard output: Broken pipe");
    expectEnding(runOnAFullDisk("save file8 -"), 1, "", "standard output: No space left on device");
    if (std::string(RYNVEL_EMULATOR).empty()) {
        std::filesystem::remove(m_folder.path() + "/registers8");
        const std::string line = "exec \"$0\" --map tests.svd save file8 - >&-";
        expectEnding(runProgram("/bin/sh", {"-c", line, RYNVELCTL_FOR_TESTS}, m_folder.path()), 1, "",
                     "standard output: Bad file descriptor");
    }
}

TEST_F(SavedRegisters, AreSavedOnceIfTheyHaveTheSameName) {
    describeMap32(aRegister("R", "0", element("alternateGroup", "one")) +
                  aRegister("R", "4", element("alternateGroup", "two")));
    expect(
        "save map32 s", 0, "map32: saved 1 register in s\n",
        "rynvelctl: map32: left out: register R at 0x00000004 has the same name as a register with a lower offset\n");
    poke(0, 1);
    expect("diff map32 s", 1, "R: 0x00000001 -> 0x00000000\n");
    expect("restore map32 s", 0, "map32 R: 0x00000001 -> 0x00000000\n");
}

TEST_F(SavedRegisters, MayHaveAnyNames) {
    describeMap32(aRegister("A&#9;B", "0"));
    expect("save map32 s", 0, "map32: saved 1 register in s\n");
    poke(0, 1);
    expect("diff map32 s", 1, "A?B: 0x00000001 -> 0x00000000\n");
    expect("restore map32 s", 0, "map32 A?B: 0x00000001 -> 0x00000000\n");
}

TEST_F(SavedRegisters, ReplaceAnOlderFile) {
    m_folder.store("s", "old");
    expect("save file8 s", 0, "file8: saved 3 registers in s\n");
    EXPECT_NE(m_folder.load("s").find("\"C\""), std::string::npos);
}

TEST_F(SavedRegisters, ReplaceNothingWhenARegisterCannotBeRead) {
    m_folder.store("s", "old");
    m_folder.store("registers8", "\x01\x02");
    expect("save file8 s", 1, "", "rynvelctl: file8: reading C failed\n");
    expect("save missing.map s", 2, "",
           "rynvelctl: missing.map: no register map describes the device (give a map with --map)\n");
    EXPECT_EQ(m_folder.load("s"), "old");
    EXPECT_EQ(files(), 4U);
}

TEST_F(SavedRegisters, ReplaceNothingWhenTheFileCannotBeWritten) {
    m_folder.store("s", "old");
    std::filesystem::create_directory(m_folder.path() + "/folder");
    expect("save file8 folder", 2, "", "rynvelctl: folder: Is a directory\n");
    expect("save file8 no/s", 1, "", "rynvelctl: no/s: No such file or directory\n");
    expect("save file8 /dev/full", 2, "",
           "rynvelctl: /dev/full: the file is not a regular file (- is standard output)\n");
    Process process({"sh", "-c",
                     "ulimit -S -f 0; exec " + std::string(RYNVEL_EMULATOR) + " " RYNVELCTL_FOR_TESTS +
                         " --map tests.svd save file8 s"},
                    {"cd '" + m_folder.path() + "' && ", {}});
    const Ending ending = process.wait();
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, "rynvelctl: s: File too large\n");
    EXPECT_EQ(m_folder.load("s"), "old");
    EXPECT_EQ(files(), 5U);
}

TEST_F(SavedRegisters, AreNotReadWhenTheFolderOfTheFileCannotBeUsed) {
    std::filesystem::remove(m_folder.path() + "/registers8");
    expect("save file8 no/s", 1, "", "rynvelctl: no/s: No such file or directory\n");
}

TEST_F(SavedRegisters, ReplaceNothingWhenTheServerStaysSilent) {
    m_folder.store("s", "old");
    TestPeer peer;
    peer.script({success(), success({1}), silence()});
    expect("--timeout 500ms --remote " + peer.address() + " save file8 s", 4, "",
           "rynvelctl: " + peer.address() + ": timed out after 500 ms\n");
    EXPECT_EQ(m_folder.load("s"), "old");
    EXPECT_EQ(files(), 4U);
}

TEST_F(SavedRegisters, ReplaceNothingWhenASignalEndsTheProgram) {
    m_folder.store("s", "old");
    TestPeer peer;
    peer.script({success(), success({1}), silence()});
    Program program(RYNVELCTL_FOR_TESTS, words("--map tests.svd --remote " + peer.address() + " save file8 s"),
                    m_folder.path());
    peer.requests(3);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait().status, -SIGTERM);
    EXPECT_EQ(m_folder.load("s"), "old");
    EXPECT_EQ(files(), 4U);
}

TEST_F(SavedRegisters, MayBelongToARemoteDevice) {
    TestPeer peer;
    peer.script({success(), success({1}), success({2}), success({0xAB})});
    expect("--remote " + peer.address() + " save file8 s", 0, "file8: saved 3 registers in s\n");
    EXPECT_NE(m_folder.load("s").find(R"("name":"C","offset":2,"size":8,"value":171)"), std::string::npos);
}

TEST_F(SavedRegisters, HaveNoDifferenceIfTheyAreEqual) {
    run("save map32 a");
    run("save map32 b");
    expect("diff a b", 0, "");
    expect("diff map32 a", 0, "");
    expect("diff map32 a --json", 0, "");
}

TEST_F(SavedRegisters, AreNamedWithTheirFieldsIfTheyDiffer) {
    run("save map32 a");
    poke(0x00, 0x80000031);
    poke(0x14, 0xFF);
    const std::string differences = "CTRL: 0x00000000 -> 0x80000031\n"
                                    "CTRL.BUSY: 0 -> 1\n"
                                    "CTRL.MODE: 0 -> 3\n"
                                    "CTRL.START: 0 (stopped) -> 1 (running)\n"
                                    "LIMIT: 0x00000000 -> 0x000000ff\n";
    run("save map32 b");
    expect("diff a b", 1, differences);
    expect("diff b a", 1,
           "CTRL: 0x80000031 -> 0x00000000\nCTRL.BUSY: 1 -> 0\nCTRL.MODE: 3 -> 0\n"
           "CTRL.START: 1 (running) -> 0 (stopped)\nLIMIT: 0x000000ff -> 0x00000000\n");
    expect("diff a b --quiet", 1, "");
    expect("diff a b --json", 1,
           R"({"name":"map32","address":0,"register":"CTRL","first":0,"second":2147483697,"fields":[)"
           R"({"name":"BUSY","first":0,"second":1},)"
           R"({"name":"MODE","first":0,"second":3},)"
           R"({"name":"START","first":0,"firstMeaning":"stopped","second":1,"secondMeaning":"running"}]})"
           "\n"
           R"({"name":"map32","address":20,"register":"LIMIT","first":0,"second":255,"fields":[]})"
           "\n");
    run("save map32 a");
    poke(0x00, 0x31);
    expect("diff map32 a", 1, "CTRL: 0x00000031 -> 0x80000031\nCTRL.BUSY: 0 -> 1\n");
}

TEST_F(SavedRegisters, AreNamedWithoutAMapIfTheyDiffer) {
    run("save file8 a");
    m_folder.store("registers8", "\x01\x42\x03");
    run("save file8 b");
    m_folder.store("empty.svd", map().replace(map().find("<name>file8"), 11, "<name>other"));
    const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, words("--map empty.svd diff a b"), m_folder.path());
    expectEnding(ending, 1, "B: 0x02 -> 0x42\n");
}

TEST_F(SavedRegisters, AreComparedInFilesEvenIfAMapCannotBeUsed) {
    run("save file8 a");
    m_folder.store("registers8", "\x01\x42\x03");
    run("save file8 b");
    m_folder.store("broken.svd", "<device>");
    const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, words("--map broken.svd diff a b"), m_folder.path());
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, "B: 0x02 -> 0x42\n");
    EXPECT_EQ(ending.error.rfind("rynvelctl: broken.svd:1: error: ", 0), 0U) << ending.error;
    EXPECT_EQ(runProgram(RYNVELCTL_FOR_TESTS, words("--map broken.svd diff file8 b"), m_folder.path()).status, 2);
}

TEST_F(SavedRegisters, AreNamedIfOnlyOneSideHasThem) {
    run("save file8 a");
    run("save file8 b");
    edit("a", "{\"name\":\"A\",\"offset\":0,\"size\":8,\"value\":1},", "");
    edit("b", "\"B\",\"offset\":1", "\"B\",\"offset\":9");
    expect("diff a b", 1,
           "A: only in b (0x00000000 = 0x01)\nB: only in a (0x00000001 = 0x02)\nB: only in b (0x00000009 = 0x02)\n");
    expect("diff a b --json", 1,
           R"({"name":"file8","address":0,"register":"A","first":null,"second":1,"fields":[]})"
           "\n"
           R"({"name":"file8","address":1,"register":"B","first":2,"second":null,"fields":[]})"
           "\n"
           R"({"name":"file8","address":9,"register":"B","first":null,"second":2,"fields":[]})"
           "\n");
}

TEST_F(SavedRegisters, AreComparedDespiteSideEffectsOnlyOnRequest) {
    run("save map32 a --with-side-effects");
    poke(0x08, 1);
    expect("diff map32 a", 0, "", leftOut);
    expect("diff map32 a --with-side-effects", 1, "FIFO: 0x00000001 -> 0x00000000\n");
}

TEST_F(SavedRegisters, AreNamedInTheOrderOfTheDeviceIfReadingHasSideEffects) {
    const std::string effect = element("readAction", "clear");
    describeMap32(aRegister("A", "0", effect) + aRegister("B", "4") + aRegister("C", "8", effect) +
                  aRegister("D", "12", effect) + aRegister("E", "16"));
    run("save map32 s");
    edit("s", R"({"name":"B","offset":4,"size":32,"value":0})",
         R"({"name":"D","offset":12,"size":32,"value":1},{"name":"F","offset":20,"size":32,"value":0},)"
         R"({"name":"B","offset":4,"size":32,"value":1},{"name":"A","offset":0,"size":32,"value":1})");
    expect("diff map32 s", 1, "B: 0x00000000 -> 0x00000001\nF: only in s (0x00000014 = 0x00000000)\n",
           "rynvelctl: map32: left out: A, D (reading has a side effect; --with-side-effects includes them)\n");
}

TEST_F(SavedRegisters, AreDistinguishedByDeviceAndFile) {
    run("save file8 a");
    m_folder.store("file8", m_folder.load("a"));
    m_folder.store("registers8", "\x09\x09\x09");
    expect("diff file8 a", 2, "",
           "rynvelctl: file8: a device and a file have this name (give ./file8 for the file, or run the command in "
           "another folder for the device)\n");
    expect("diff ./file8 a", 0, "");
    std::filesystem::remove(m_folder.path() + "/file8");
    expect("diff file8 a", 1, "A: 0x09 -> 0x01\nB: 0x09 -> 0x02\nC: 0x09 -> 0x03\n");
    expect("diff ./file8 a", 2, "", "rynvelctl: ./file8: No such file or directory\n");
}

TEST_F(SavedRegisters, HaveSeparateStatusesForADifferenceAndAFailure) {
    run("save file8 a");
    m_folder.store("bad", "{\n");
    expect("diff a none", 2, "", "rynvelctl: none: No such file or directory\n");
    expect("diff bad a", 2, "",
           "rynvelctl: bad:1: error: the file is not well-formed JSON: syntax error while parsing object key - "
           "unexpected end of "
           "input\n");
    expect("diff nothing a", 2, "",
           "rynvelctl: nothing: not a device of this machine ('rynvelctl list' shows the names)\n");
    m_folder.store("registers8", "\x01\x02");
    expect("diff file8 a", 2, "", "rynvelctl: file8: reading C failed\n");
}

TEST_F(SavedRegisters, AreNotComparedWithThoseOfAnotherDevice) {
    run("save file8 a");
    run("save map32 b");
    expect("diff map32 a", 2, "", "rynvelctl: a: the file is a snapshot of file8 (give a snapshot of map32)\n");
    expect("diff b a", 2, "",
           "rynvelctl: a: the file is a snapshot of file8, but b is a snapshot of map32 (give snapshots of the same "
           "device)\n");
}

TEST_F(SavedRegisters, HaveTheStatusOfADifferenceEvenIfTheOutputHasNoReader) {
    run("save file8 a");
    m_folder.store("registers8", "\x01\x42\x03");
    expectEnding(runWithoutAReader("diff file8 a"), 1, "");
}

TEST_F(SavedRegisters, AreRestoredWhereTheyDiffer) {
    poke(0x00, 0x31);
    poke(0x14, 0xFF);
    poke(0x20, 0x1234);
    run("save map32 s");
    poke(0x00, 0x32);
    poke(0x14, 0);
    poke(0x20, 0xAB);
    const std::string outside = "map32: not restored, bits outside the fields differ: CTRL\n";
    expect("restore map32 s --dry-run", 0,
           "map32 CTRL: 0x00000032 -> 0x00000033 (not written)\n"
           "map32 LIMIT: 0x00000000 -> 0x000000ff (not written)\n"
           "map32 SMALL: 0x00ab -> 0x1234 (not written)\n" +
               outside);
    EXPECT_EQ(peek(0x00), 0x32U);
    EXPECT_EQ(peek(0x14), 0U);
    expect("restore map32 s", 0,
           "map32 CTRL: 0x00000032 -> 0x00000033\nmap32 LIMIT: 0x00000000 -> 0x000000ff\n"
           "map32 SMALL: 0x00ab -> 0x1234\n" +
               outside);
    EXPECT_EQ(peek(0x00), 0x33U);
    EXPECT_EQ(peek(0x14), 0xFFU);
    EXPECT_EQ(peek(0x20), 0x1234U);
    expect("restore map32 s", 0, outside);
}

TEST_F(SavedRegisters, AreRestoredInAllFormats) {
    poke(0x14, 1);
    run("save map32 s");
    poke(0x14, 0);
    poke(0x04, 1);
    expect("restore map32 s --dry-run --json", 0,
           R"({"name":"map32","address":20,"register":"LIMIT","before":0,"after":1,"written":false})"
           "\n"
           R"({"name":"map32","notRestored":["STATUS"],"reason":"read-only"})"
           "\n");
    expect("restore map32 s --quiet", 0, "", "rynvelctl: map32: not restored, read-only: STATUS\n");
    EXPECT_EQ(peek(0x14), 1U);
}

TEST_F(SavedRegisters, StayUnchangedIfAWriteCannotRestoreThem) {
    run("save map32 s --with-side-effects");
    poke(0x00, 0x80000000);
    poke(0x04, 1);
    poke(0x08, 1);
    poke(0x10, 1);
    poke(0x24, 0x10000100);
    edit("s", "\"SMALL\",\"offset\":32,\"size\":16,\"value\":0", "\"NONE\",\"offset\":32,\"size\":16,\"value\":0");
    edit("s", "\"LIMIT\",\"offset\":20", "\"LIMIT\",\"offset\":24");
    edit("s", "{\"name\":\"FIFO\"",
         R"({"name":"KEY","offset":12,"size":32,"value":0},{"name":"WIDE","offset":24,"size":32,"value":0},)"
         R"({"name":"FAR","offset":8192,"size":32,"value":0},{"name":"FIFO")");
    expect("restore map32 s", 1,
           "map32: not restored, read-only: CTRL.BUSY, STATUS\n"
           "map32: not restored, write-only: KEY\n"
           "map32: not restored, the device cannot access it: WIDE\n"
           "map32: not restored, outside the map of the device: FAR\n"
           "map32: not restored, reading has a side effect: FIFO, POP\n"
           "map32: not restored, a write does not store the value: EVENTS, MIXED.SEEN\n"
           "map32: not restored, the register map has another offset or size: LIMIT\n"
           "map32: not restored, not in the register map: NONE\n"
           "map32: not restored, a write must repeat the value that was read: MIXED.ECHO\n");
    EXPECT_EQ(peek(0x10), 1U);
    EXPECT_EQ(peek(0x24), 0x10000100U);
}

TEST_F(SavedRegisters, FailTheRestorationIfTheDeviceDoesNotHaveThem) {
    run("save map32 saved");
    for (const auto& [file, name, replaced, replacement] :
         {std::array{"a", "NONE", "\"LIMIT\"", "\"NONE\""},
          {"b", "LIMIT", "\"LIMIT\",\"offset\":20", "\"LIMIT\",\"offset\":24"},
          {"c", "WIDE", "\"LIMIT\",\"offset\":20", "\"WIDE\",\"offset\":24"},
          {"d", "FAR", "\"LIMIT\",\"offset\":20", "\"FAR\",\"offset\":8192"}}) {
        m_folder.store(file, m_folder.load("saved"));
        edit(file, replaced, replacement);
        const Ending ending = run(std::string("restore map32 --quiet ") + file);
        EXPECT_EQ(ending.status, 1) << name;
        EXPECT_EQ(ending.output, "");
        EXPECT_NE(ending.error.find("rynvelctl: map32: not restored, "), std::string::npos) << ending.error;
        EXPECT_NE(ending.error.find(std::string(": ") + name + '\n'), std::string::npos) << ending.error;
        EXPECT_EQ(run(std::string("restore map32 ") + file).status, 1) << name;
    }
}

TEST_F(SavedRegisters, AreGroupedByReasonsInTheOrderOfOccurrence) {
    const std::string limited =
        element("fields",
                field("F", "[7:0]",
                      element("writeConstraint", element("range", element("minimum", "0") + element("maximum", "4")))));
    const std::string readOnly = element("access", "read-only");
    describeMap32(aRegister("A", "0", limited) + aRegister("B", "4", readOnly) + aRegister("C", "8", limited) +
                  aRegister("D", "12", readOnly));
    const auto pokeAll = [this](std::uint32_t number) {
        for (const std::size_t offset : {0U, 4U, 8U, 12U}) {
            poke(offset, number);
        }
    };
    pokeAll(9);
    run("save map32 s");
    pokeAll(0);
    expect("restore map32 s", 0,
           "map32: not restored, field A.F: value '0x00000009' is not allowed (write 0 to 4): A\n"
           "map32: not restored, read-only: B, D\n"
           "map32: not restored, field C.F: value '0x00000009' is not allowed (write 0 to 4): C\n");
}

TEST_F(SavedRegisters, AreRestoredWithoutAnEffectOnFieldsThatWritesModify) {
    poke(0x24, 0x10012);
    run("save map32 s");
    poke(0x24, 0x10134);
    expect("restore map32 s", 0,
           "map32 MIXED: 0x00010134 -> 0x00010012\n"
           "map32: not restored, a write does not store the value: MIXED.SEEN\n");
    // The file stores the written 0 in the field SEEN. On a device, a written 0 leaves the field unchanged.
    EXPECT_EQ(peek(0x24), 0x10012U);
}

TEST_F(SavedRegisters, AreNotRestoredToValuesThatMayNotBeWritten) {
    poke(0x24, 0x50000);
    run("save map32 s");
    poke(0x24, 0x10000);
    const Ending ending = run("restore map32 s");
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.output.find("STEP"), std::string::npos) << ending.output;
    EXPECT_NE(ending.output.find(": MIXED\n"), std::string::npos) << ending.output;
    EXPECT_EQ(peek(0x24), 0x10000U);
}

TEST_F(SavedRegisters, AreNamedIfBitsDifferThatARestorationDoesNotWrite) {
    describeMap32(
        aRegister("CTRL", "0",
                  element("fields", field("SEEN", "[0:0]", element("access", "read-only")) + field("MODE", "[7:4]") +
                                        field("CLEAR", "[0:0]", element("access", "write-only")) +
                                        field("START", "[9:8]", element("access", "write-only")))));
    run("save map32 s");
    poke(0, 0x10000);
    expect("restore map32 s", 0, "map32: not restored, bits outside the fields differ: CTRL\n");
    poke(0, 0x10301);
    expect("restore map32 s", 0,
           "map32: not restored, read-only: CTRL.SEEN\nmap32: not restored, write-only: CTRL.START\n"
           "map32: not restored, bits outside the fields differ: CTRL\n");
    EXPECT_EQ(peek(0), 0x10301U);
}

TEST_F(SavedRegisters, AreNotNamedIfAnotherFieldRestoresTheirBits) {
    const std::string canOnlyBeRead = element("access", "read-only");
    describeMap32(aRegister("CTRL", "0",
                            element("fields", field("SEEN", "[3:0]", canOnlyBeRead) + field("SET", "[3:0]") +
                                                  field("MORE", "[4:3]", canOnlyBeRead))));
    run("save map32 s");
    poke(0, 0x0F);
    expect("restore map32 s --dry-run", 0, "map32 CTRL: 0x0000000f -> 0x00000000 (not written)\n");
    expect("restore map32 s", 0, "map32 CTRL: 0x0000000f -> 0x00000000\n");
    poke(0, 0x1F);
    expect("restore map32 s", 0, "map32 CTRL: 0x0000001f -> 0x00000010\nmap32: not restored, read-only: CTRL.MORE\n");
}

TEST_F(SavedRegisters, AreNotRestoredWithoutFieldsToValuesThatMayNotBeWritten) {
    describeMap32(
        aRegister("ECHO", "0", element("writeConstraint", element("writeAsRead", "true"))) +
        aRegister("STEP", "4",
                  element("writeConstraint", element("range", element("minimum", "1") + element("maximum", "4")))));
    poke(4, 5);
    run("save map32 s");
    poke(0, 1);
    poke(4, 2);
    expect("restore map32 s", 0,
           "map32: not restored, a write must repeat the value that was read: ECHO\n"
           "map32: not restored, the register map does not allow the value: STEP\n");
    EXPECT_EQ(peek(0), 1U);
    EXPECT_EQ(peek(4), 2U);
    edit("s", "\"size\":32,\"value\":5", "\"size\":32,\"value\":4");
    expect("restore map32 s", 0,
           "map32 STEP: 0x00000002 -> 0x00000004\n"
           "map32: not restored, a write must repeat the value that was read: ECHO\n");
}

TEST_F(SavedRegisters, ExcludeAWordWhoseReadingHasASideEffectOnAnotherRegister) {
    edit("tests.svd", "<peripheral><name>map32</name>", "<peripheral><name>unused</name>");
    edit("tests.svd", "<peripherals>",
         "<peripherals>" +
             peripheral("map32",
                        aRegister("RBR", "0", element("access", "read-only") + element("readAction", "modify")) +
                            aRegister("DLL", "0", element("alternateRegister", "RBR")) + aRegister("NEXT", "4", "")));
    expect("save map32 s", 0, "map32: saved 1 register in s\n",
           "rynvelctl: map32: left out: RBR, DLL (reading has a side effect; --with-side-effects includes them)\n");
    expect("save map32 s --with-side-effects", 0, "map32: saved 3 registers in s\n");
    poke(0, 1);
    expect("restore map32 s", 0, "map32: not restored, reading has a side effect: RBR, DLL\n");
    EXPECT_EQ(peek(0), 1U);
}

TEST_F(SavedRegisters, AreRestoredFieldByFieldEvenIfTheirNamesAreEqual) {
    describeMap32(
        aRegister("DUP", "0", element("fields", field("X", "[3:0]") + field("X", "[7:4]") + field("Y", "[11:8]"))) +
        aRegister("ALIAS", "4",
                  element("fields", field("P%s", "[3:0]", element("dim", "2") + element("dimIncrement", "4")) +
                                        field("P[1]", "[11:8]"))));
    poke(0, 0x321);
    poke(4, 0x321);
    run("save map32 s");
    poke(0, 0x391);
    poke(4, 0x921);
    expect("restore map32 s", 0, "map32 DUP: 0x00000391 -> 0x00000321\nmap32 ALIAS: 0x00000921 -> 0x00000321\n");
}

TEST_F(SavedRegisters, AreRestoredWithoutTheBitsAboveThem) {
    poke(0x20, 0xFFFF1234);
    run("save map32 s");
    poke(0x20, 0xABCD0000);
    expect("restore map32 s", 0, "map32 SMALL: 0x0000 -> 0x1234\n");
    EXPECT_EQ(peek(0x20), 0xABCD1234U);
}

TEST_F(SavedRegisters, AreNotRestoredIfAWriteChangesAnotherRegisterAtTheirAddress) {
    const std::string cleared = element("modifiedWriteValues", "oneToClear");
    describeMap32(
        aRegister("A", "0") +
        aRegister("B", "0", element("alternateRegister", "A") + element("fields", field("PEND", "[15:8]", cleared))));
    poke(0, 0x100);
    run("save map32 s");
    poke(0, 0x101);
    expect("restore map32 s", 0,
           "map32: not restored, a write changes another register at the same address: A\n"
           "map32: not restored, bits outside the fields differ: B\n");
    EXPECT_EQ(peek(0), 0x101U);
}

TEST_F(SavedRegisters, IncludeRegistersWithAnAccessibleField) {
    const std::string both = element("access", "read-write");
    describeMap32(aRegister("RO", "0", element("access", "read-only") + element("fields", field("F", "[3:0]", both))) +
                  aRegister("WO", "4", element("access", "write-only") + element("fields", field("F", "[3:0]", both))));
    expect("save map32 s", 0, "map32: saved 2 registers in s\n");
    poke(0, 1);
    poke(4, 1);
    expect("restore map32 s", 0, "map32 RO: 0x00000001 -> 0x00000000\nmap32 WO: 0x00000001 -> 0x00000000\n");
}

TEST_F(SavedRegisters, AreRestoredToAValueWhoseNumberIsTheNameOfAnother) {
    edit("tests.svd", "<name>running</name>", "<name>0</name>");
    edit("tests.svd", "<name>stopped</name>", "<name>1</name>");
    poke(0, 1);
    expect("save map32 s --quiet", 0, "", std::string(leftOut) + obstacles);
    poke(0, 0);
    expect("restore map32 s", 0, "map32 CTRL: 0x00000000 -> 0x00000001\n");
    EXPECT_EQ(peek(0), 1U);
}

TEST_F(SavedRegisters, AreNotRestoredToAnotherDevice) {
    run("save file8 s");
    expect("restore map32 s", 2, "", "rynvelctl: s: the file is a snapshot of file8 (give a snapshot of map32)\n");
    expect("restore map32 none", 2, "", "rynvelctl: none: No such file or directory\n");
}

TEST_F(SavedRegisters, AreReadFromAPipeNoLongerThanTheTimeout) {
    run("save map32 s");
    const std::string pipe = m_folder.path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string late = "rynvelctl: pipe: timed out after 200 ms\n";
    const auto expectLate = [&] {
        for (const std::string line : {"restore map32 pipe", "diff map32 pipe", "diff ./pipe s", "maps check pipe",
                                       "--map pipe describe missing.map"}) {
            const Ending ending = run("--timeout 200ms " + line);
            EXPECT_EQ(ending.status, 4) << line;
            EXPECT_EQ(ending.output, "") << line;
            EXPECT_EQ(ending.error.substr(0, 11) + ending.error.substr(ending.error.find("pipe")), late) << line;
        }
    };
    expectLate();
    const int silentWriter = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    expectLate();
    close(silentWriter);
}

TEST_F(SavedRegisters, CanBeReadFromAPipe) {
    if (!std::string(RYNVEL_EMULATOR).empty()) {
        GTEST_SKIP() << "the shell runs the program without an emulator";
    }
    run("save file8 s");
    const std::string pipe = m_folder.path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string line :
         {"(sleep 0.2; cat s) > pipe & exec \"$0\" --map tests.svd restore file8 pipe --timeout 1m",
          "(sleep 0.2; cat s) | \"$0\" --map tests.svd restore file8 /dev/stdin"}) {
        m_folder.store("registers8", "\x01\x02\x09");
        expectEnding(runProgram("/bin/sh", {"-c", line, RYNVELCTL_FOR_TESTS}, m_folder.path()), 0,
                     "file8 C: 0x09 -> 0x03\n", "", line);
    }
    expectEnding(runProgram("/bin/sh",
                            {"-c", ": | \"$0\" --map tests.svd restore file8 /dev/stdin", RYNVELCTL_FOR_TESTS},
                            m_folder.path()),
                 2, "",
                 "/dev/stdin:1: error: the file is not well-formed JSON: syntax error while parsing value - unexpected "
                 "end of input");
}

TEST_F(SavedRegisters, EndTheRestorationIfTheyDoNotKeepTheirValue) {
    run("save file8 s");
    TestPeer peer;
    const std::string line = "--remote " + peer.address() + " restore file8 s";
    // Open, read A, write A, read A, read B, write B, read B.
    peer.script({success(), success({7}), success(), success({1}), success({7}), success(), success({7})});
    expect(line, 1, "file8 A: 0x07 -> 0x01\n",
           "rynvelctl: file8: B holds 0x07 after 0x02 was written (restored: A; written, but not confirmed: B; not "
           "reached: C)\n");
    peer.script({success(), success({7}), success(), refusal()});
    expect(line, 1, "",
           "rynvelctl: file8: reading A failed: the server refused the request (restored: none; written, but not "
           "confirmed: A; not reached: B, C)\n");
    peer.script({success(), success({7}), refusal()});
    expect(line, 1, "",
           "rynvelctl: file8: writing A failed: the server refused the request (restored: none; not restored: A; not "
           "reached: B, C)\n");
    peer.script({success(), success({1}), success({2}), refusal()});
    expect(line, 1, "",
           "rynvelctl: file8: reading C failed: the server refused the request (restored: none; not restored: C; not "
           "reached: none)\n");
}

TEST_F(SavedRegisters, MayHaveBeenRestoredIfTheirWriteIsNotAnswered) {
    run("save file8 s");
    TestPeer peer;
    const std::string line = "--remote " + peer.address() + " restore file8 s";
    // Open, read A, write A, read A, read B, write B.
    const auto script = [&peer](const Reply& lastReply) {
        peer.script({success(), success({7}), success(), success({1}), success({7}), lastReply});
    };
    const std::string restored = "file8 A: 0x07 -> 0x01\n";
    const std::string outcome = " (restored: A; unknown whether written: B; not reached: C)\n";
    script(closing());
    expect(line, 3, restored, "rynvelctl: " + peer.address() + ": the connection was closed" + outcome);
    script(silence());
    expect("--timeout 500ms " + line, 4, restored,
           "rynvelctl: " + peer.address() + ": timed out after 500 ms" + outcome);
    script(answer(responseOf({}, Rynvel::ResponseData::Result(1))));
    expect(line, 1, restored,
           "rynvelctl: " + peer.address() + ": not a register server: the result is neither 0 nor -1" + outcome);
    // Without an answer to the read, the command restores nothing.
    peer.script({success(), closing()});
    expect(line, 3, "",
           "rynvelctl: " + peer.address() +
               ": the connection was closed (restored: none; not restored: A; not reached: B, C)\n");
}

TEST_F(SavedRegisters, DoNotExceedTheTimeoutIfTheMapDoesNotHaveThem) {
    run("save file8 s");
    std::string unknown;
    for (int i = 0; i < 20'000; ++i) {
        unknown += R"({"name":"X)" + std::to_string(i) + R"(","offset":0,"size":8,"value":0},)";
    }
    edit("s", "{\"name\":\"A\"", unknown + "{\"name\":\"A\"");
    const Ending ending = run("--timeout 1ms restore file8 s");
    EXPECT_EQ(ending.status, 4);
    EXPECT_EQ(ending.error.rfind("rynvelctl: file8: timed out after 1 ms (restored: none; not restored: X0; ", 0), 0U)
        << ending.error.substr(0, 200);
}

TEST_F(SavedRegisters, AreRestoredToTheEndWhenStandardOutputFails) {
    run("save file8 s");
    m_folder.store("registers8", "\x09\x09\x09");
    expectEnding(runWithoutAReader("restore file8 s"), 1, "", "standard output: Broken pipe");
    EXPECT_EQ(m_folder.load("registers8"), "\x01\x02\x03");
    expectEnding(runWithoutAReader("restore file8 s"), 0, "");
    m_folder.store("registers8", "\x09\x09\x09");
    expectEnding(runOnAFullDisk("restore file8 s"), 1, "", "standard output: No space left on device");
    EXPECT_EQ(m_folder.load("registers8"), "\x01\x02\x03");
    const std::string problem = "file8: reading C failed (restored: A, B; not restored: C; not reached: none)";
    m_folder.store("registers8", "\x09\x09");
    expectEnding(runWithoutAReader("restore file8 s"), 1, "", problem);
    m_folder.store("registers8", "\x09\x09");
    expectEnding(runOnAFullDisk("restore file8 s"), 1, "", problem);
}

TEST_F(SavedRegisters, AreNamedIfTheyAreNotRestoredAndStandardOutputFails) {
    run("save map32 s");
    const std::string notRestored = "map32: not restored, read-only: STATUS\n"
                                    "rynvelctl: map32: not restored, a write does not store the value: EVENTS\n"
                                    "rynvelctl: standard output: ";
    for (const std::uint32_t limit : {0U, 1U}) {
        poke(0x04, 1);
        poke(0x10, 1);
        poke(0x14, limit);
        expectEnding(runWithoutAReader("restore map32 s"), 1, "", notRestored + "Broken pipe");
        EXPECT_EQ(peek(0x14), 0U);
        poke(0x14, limit);
        expectEnding(runOnAFullDisk("restore map32 s"), 1, "", notRestored + "No space left on device");
        EXPECT_EQ(peek(0x14), 0U);
        expectEnding(runWithoutAReader("restore map32 s --dry-run"), 1, "", notRestored + "Broken pipe");
    }
}

} // namespace
} // namespace RynvelTest
