// SPDX-License-Identifier: MIT
#include <array>
#include <csignal>
#include <cstdint>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

const std::string readOnly = "<access>read-only</access>";
const std::string writeOnly = "<access>write-only</access>";
const std::string takenByReading = "<readAction>modify</readAction>";

const std::string states = "<enumeratedValues><enumeratedValue><name>stopped</name><value>0</value></enumeratedValue>"
                           "<enumeratedValue><name>running</name><value>1</value></enumeratedValue></enumeratedValues>";

const std::string clearedByAOne = "<modifiedWriteValues>oneToClear</modifiedWriteValues>";

void signalOften(const Program& program, int number) {
    for (int i = 0; i < 20; ++i) {
        program.signal(number);
    }
}

/** Runs rynvelctl with commands on several registers of a device. */
class ManyRegisters : public DescribedProgram {
protected:
    ManyRegisters()
        : DescribedProgram(mapOfPeripherals(peripheralOf(
              "map32", "",
              registerAt("CTRL", "0", fieldsOf(fieldAt("RUN", "0:0", states) + fieldAt("A", "7:4"))) +
                  registerAt("A", "4", "") + registerAt("B", "8", "") + registerAt("STATUS", "0xC", readOnly) +
                  registerAt("KEY", "0x10", writeOnly) + registerAt("FIFO", "0x14", takenByReading) +
                  registerAt("FLAGS", "0x18",
                             fieldsOf(fieldAt("ENABLE", "0:0") + fieldAt("ERROR", "1:1", clearedByAOne))) +
                  registerAt("ALIAS", "0x18",
                             "<alternateRegister>FLAGS</alternateRegister>" +
                                 fieldsOf(fieldAt("DONE", "2:2", clearedByAOne))) +
                  registerAt("MIXED", "0x1C", fieldsOf(fieldAt("PLAIN", "0:0") + fieldAt("SECRET", "7:4", writeOnly))) +
                  registerAt("PINS", "0x20",
                             fieldsOf("<field><name>PIN%s</name><dim>2</dim><dimIncrement>1</dimIncrement>"
                                      "<lsb>0</lsb><msb>0</msb></field>"))))) {
        m_folder.store("registers8", std::string(64, '\0'));
    }
};

TEST_F(ManyRegisters, AreReadInTheOrderGiven) {
    set(0, 0x31);
    set(4, 0xA);
    set(8, 0xB);
    expect("read map32 8 A CTRL.RUN 0 8", 0,
           "map32 0x00000008 = 0x0000000b\nmap32 A = 0x0000000a\nmap32 CTRL.RUN = 1 (running)\n"
           "map32 0x00000000 = 0x00000031\nmap32 0x00000008 = 0x0000000b\n");
    expect("--quiet read map32 8 A CTRL.RUN", 0, "0x0000000b\n0x0000000a\n1\n");
    expect("--json read map32 8 A CTRL.A", 0,
           "{\"name\":\"map32\",\"address\":8,\"value\":11}\n"
           "{\"name\":\"map32\",\"address\":4,\"register\":\"A\",\"value\":10,\"fields\":[]}\n"
           "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"field\":\"A\",\"value\":3}\n");
    expect("read map32 --index 2 1", 0, "map32 2 = 0x0000000b\nmap32 1 = 0x0000000a\n");
}

TEST_F(ManyRegisters, IncludeBothEndsOfARange) {
    set(4, 0xA);
    set(8, 0xB);
    const std::string range = "map32 0x00000004 = 0x0000000a\nmap32 0x00000008 = 0x0000000b\n";
    expect("read map32 4..8", 0, range);
    expect("read map32 0x4..0b1000 8..8", 0, range + "map32 0x00000008 = 0x0000000b\n");
    expect("read map32 --index 1..2", 0, "map32 1 = 0x0000000a\nmap32 2 = 0x0000000b\n");
    expect("--quiet read map32 0xff8..0xffc", 0, "0x00000000\n0x00000000\n");
    expectRefused("read map32 8..4", "map32: the range 8..4 ends before it begins (give the lower address first)");
    expectRefused("read map32 4..9", "map32: address 9 is not a multiple of 4 (32-bit registers)");
    expectRefused("read map32 A..B", "map32: 'A..B' is not a range of addresses (give numbers, such as 0x10..0x1c)");
    expectRefused("read map32 0xff8..0x1000", "map32: 3 registers from 0x00000ff8 extend beyond the map of 4096 bytes");
    expectRefused("read file8 0..0x100000", "file8: the range 0..0x100000 has more than 1048576 registers");
}

TEST_F(ManyRegisters, AreNotReadIfOneOfThemCannotBeRead) {
    expectRefused("read map32 A KEY", "map32: register KEY is write-only");
    expectRefused("read map32 A 0x1000", "map32: register 0x00001000 is outside the map of 4096 bytes");
    expectRefused("read map32 A C",
                  "map32: 'C' is not a name in board.svd ('rynvelctl describe map32' shows the names)");
}

TEST_F(ManyRegisters, AreReadUpToTheFirstFailure) {
    expect("read file8 1 64 2", 1, "file8 0x00000001 = 0x00\n", "file8: reading 0x00000040 failed");
    expect("read file8 62..70", 1, "file8 0x0000003e = 0x00\nfile8 0x0000003f = 0x00\n",
           "file8: reading 0x00000040 failed");
}

TEST_F(ManyRegisters, AreWrittenInTheOrderGiven) {
    set(0, 0x30);
    expect("write map32 B=2 CTRL.RUN=running 4=0x10 B=3", 0,
           "map32 B = 0x00000002\nmap32 CTRL.RUN = 1 (running)\nmap32 0x00000004 = 0x00000010\nmap32 B = 0x00000003\n");
    EXPECT_EQ(get(0), 0x31U);
    EXPECT_EQ(get(4), 0x10U);
    EXPECT_EQ(get(8), 3U);
    expect("--quiet write map32 A=1 B=1", 0, "");
    expect("--json write map32 --index 1=5 2=6", 0,
           "{\"name\":\"map32\",\"index\":1,\"value\":5}\n{\"name\":\"map32\",\"index\":2,\"value\":6}\n");
    EXPECT_EQ(get(8), 6U);
    expect("write map32 A=7", 0, "map32 A = 0x00000007\n");
    expect("write map32 A=7 CTRL.RUN=0 --verify", 0, "map32 A = 0x00000007\nmap32 CTRL.RUN = 0 (stopped)\n");
}

TEST_F(ManyRegisters, LeaveFieldsThatAOneClearsAlone) {
    set(0x18, 0x86);
    expect("write map32 FLAGS.ENABLE=1 A=2 FLAGS.ENABLE=0 ALIAS.DONE=0", 0,
           "map32 FLAGS.ENABLE = 1\nmap32 A = 0x00000002\nmap32 FLAGS.ENABLE = 0\nmap32 ALIAS.DONE = 0\n");
    // The file stores the written zeros. A device would leave these fields unchanged, because only a written one clears
    // them.
    EXPECT_EQ(get(0x18), 0x80U);
}

TEST_F(ManyRegisters, ShareAConnectionToAServerAndKeepTheirOrder) {
    TestPeer peer;
    peer.script({success(), success(), success(), success()});
    expect("--remote " + peer.address() + " write map32 A=1 A=0 B=2", 0,
           "map32 A = 0x00000001\nmap32 A = 0x00000000\nmap32 B = 0x00000002\n");
    const auto requests = peer.requests(4);
    ASSERT_EQ(requests.size(), 4U);
    const std::array<std::array<std::uint32_t, 2>, 3> writes{{{4, 1}, {4, 0}, {8, 2}}};
    for (std::size_t i = 0; i < writes.size(); ++i) {
        EXPECT_EQ(requests[i + 1].connection, 0U);
        const Rynvel::Request request = asRequest(requests[i + 1].bytes);
        EXPECT_EQ(request.getAddress() * 4, writes[i][0]) << i;
        EXPECT_EQ(request.getValue(), writes[i][1]) << i;
    }
}

TEST_F(ManyRegisters, AreNotWrittenIfOneOfTheWritesIsWrong) {
    const std::string notAnAssignment = "does not assign a value to a register or a field (give ADDRESS=VALUE)";
    for (const std::string word : {"B", "B=", "=1", "B=1=1"}) {
        expectRefused("write map32 A=1 " + word, "map32: '" + word + "' " + notAnAssignment);
    }
    expectRefused("write map32 CTRL=RUN=1", "map32: 'CTRL=RUN=1' " + notAnAssignment);
    expectRefused("write map32 A=1 STATUS=1", "map32: register STATUS is read-only");
    expectRefused("write map32 A=1 B=0x100000000", "value 0x100000000 does not fit in 32 bits");
    expectRefused("write map32 A=1 CTRL.RUN=2", "map32: field CTRL.RUN: '2' does not fit in 1 bit");
    expectRefused("write map32 A=1 0x1000=1", "map32: register 0x00001000 is outside the map of 4096 bytes");
    expectRefused("write map32 A=1 --mask 1", "--mask: does not apply to ADDRESS=VALUE (give ADDRESS VALUE)");
    expectRefused("write map32 A=1 FIFO=1 --verify",
                  "map32: reading register FIFO has a side effect (leave out --verify)");
    expectRefused("write map32 A=1 MIXED.PLAIN=1",
                  "map32: field MIXED.SECRET is write-only, so it cannot keep its value "
                  "(use write REGISTER FIELD=VALUE ..., and also assign SECRET)");
    expectRefused("write map32 A", "map32: the value for A is missing (give ADDRESS VALUE or ADDRESS=VALUE)");
}

TEST_F(ManyRegisters, HaveAHintIfTheyAreGivenInAnotherForm) {
    const std::string hint = " (to write several registers, give ADDRESS=VALUE for each)";
    expectRefused("write map32 4 8=2", "map32: '8=2' assigns a register and not a field of 0x00000004" + hint);
    expectRefused("write map32 --index 1 2=2", "map32: '2=2' assigns a register and not a field of 1" + hint);
    expectRefused("write map32 B A=2", "map32: 'A=2' assigns a register and not a field of B" + hint);
    expectRefused("write map32 CTRL RUN=1 B=2", "map32: 'B=2' assigns a register and not a field of CTRL" + hint);
    expectRefused("write map32 CTRL RUN=1 8=2", "map32: '8=2' assigns a register and not a field of CTRL" + hint);
    expectRefused("write map32 A 1 B=2", "map32: 'B=2' is a second value (give one value, FIELD=VALUE for each field, "
                                         "or ADDRESS=VALUE for each register)");
    expectRefused("write map32 4..8 1",
                  "map32: '4..8' is a range of addresses (to write one value to several registers, use fill)");
    const std::string refusal = "map32: '4..8' is a range of addresses (only read accepts a range)";
    m_folder.store("bytes", "1234");
    for (const char* const line :
         {"watch map32 4..8", "watch map32 0 4..8", "load map32 4..8 bytes", "fill map32 4..8 1 0", "dump map32 4..8 1",
          "poll map32 4..8 0", "set map32 4..8 1", "expect map32 4..8 0"}) {
        expectRefused(line, refusal);
    }
    m_folder.store("board.svd", "broken");
    expectRefused("write map32 4 8=2", "map32: '8=2' assigns a register and not a field of 0x00000004" + hint);
}

TEST_F(ManyRegisters, RefuseANameThatIsBothARegisterAndAField) {
    const std::string problem = "map32: 'A' is a register and a field of register CTRL (give CTRL.A for the field, or "
                                "write the register with a separate command)";
    expectRefused("write map32 CTRL=1 A=2", problem);
    expectRefused("write map32 CTRL=1 B=1 A=2", problem);
    // If no whole register precedes the name, the name has only one meaning.
    expect("write map32 A=2 CTRL=1", 0, "map32 A = 0x00000002\nmap32 CTRL = 0x00000001\n");
    expect("write map32 CTRL A=2 RUN=1", 0, "map32 CTRL.A = 2\nmap32 CTRL.RUN = 1 (running)\n");
    EXPECT_EQ(get(0), 0x21U);
    EXPECT_EQ(get(4), 2U);
}

TEST_F(ManyRegisters, AreWrittenInTheOrderGivenWithArraysOfFields) {
    expect("write map32 PINS=1 B=2 PINS=3 A=4", 0,
           "map32 PINS = 0x00000001\nmap32 B = 0x00000002\nmap32 PINS = 0x00000003\nmap32 A = 0x00000004\n");
    EXPECT_EQ(get(0x20), 3U);
}

TEST_F(ManyRegisters, AreWrittenUpToTheFirstFailure) {
    TestPeer peer;
    const std::string line = "--remote " + peer.address() + " write map32 A=1 B=2 CTRL=3 4=5";
    peer.script({success(), success(), refusal()});
    expect(
        line, 1, "map32 A = 0x00000001\n",
        "map32: writing B failed: the server refused the request (written: A; not written: B; not reached: CTRL, 4)");
    EXPECT_EQ(peer.requests(3).size(), 3U);
    peer.script({success(), success(), closing()});
    expect("--quiet " + line, 3, "",
           peer.address() +
               ": the connection was closed (written: A; unknown whether written: B; not reached: CTRL, 4)");
    peer.script({success(), success(), silence()});
    expect(line + " --timeout 300ms", 4, "map32 A = 0x00000001\n",
           peer.address() + ": timed out after 300 ms (written: A; unknown whether written: B; not reached: CTRL, 4)");
    peer.script({success(), success(), success({1}), success(), success({7})});
    expect(line + " --verify", 1, "map32 A = 0x00000001\n",
           "map32: B holds 0x00000007 after 0x00000002 was written (written: A; written, but not confirmed: B; not "
           "reached: CTRL, 4)");
}

TEST_F(ManyRegisters, AreAllWrittenWithoutAReaderOfTheOutput) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    close(ends[0]);
    expectEnding(Program(RYNVELCTL_FOR_TESTS, words("write map32 4=1 8=2"), m_folder.path(), ends[1]).wait(), 0, "");
    close(ends[1]);
    EXPECT_EQ(get(4), 1U);
    EXPECT_EQ(get(8), 2U);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    expectEnding(Program(RYNVELCTL_FOR_TESTS, words("write map32 4=3 8=4"), m_folder.path(), full).wait(), 1, "",
                 "standard output: No space left on device (written: 4, 8)");
    expectEnding(Program(RYNVELCTL_FOR_TESTS, words("write map32 8 5"), m_folder.path(), full).wait(), 1, "",
                 "standard output: No space left on device (written: 8)");
    close(full);
    EXPECT_EQ(get(8), 5U);
}

TEST_F(ManyRegisters, AreReportedAsWrittenIfStandardOutputBlocks) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    while (::write(ends[1], "x", 1) == 1) {
    }
    ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
    expectEnding(
        Program(RYNVELCTL_FOR_TESTS, words("write map32 4=1 8=2 --timeout 300ms"), m_folder.path(), ends[1]).wait(), 4,
        "", "standard output: timed out after 300 ms (written: 4, 8)");
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(get(8), 2U);
}

TEST_F(ManyRegisters, FailWithoutAReaderOfTheOutputIfAWriteFails) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    close(ends[0]);
    expectEnding(Program(RYNVELCTL_FOR_TESTS, words("write torn 0=1 0x1000=2 4=3"), m_folder.path(), ends[1]).wait(), 1,
                 "", "torn: writing 0x00001000 caused a bus error (written: 0; not written: 0x1000; not reached: 4)");
    close(ends[1]);
    EXPECT_EQ(get(0), 1U);
}

TEST_F(ManyRegisters, AreReportedAfterASignal) {
    TestPeer peer;
    const auto expectAfterASignal = [&](const std::string& line, const std::vector<Reply>& replies,
                                        const std::string& progress) {
        peer.clearRequests();
        peer.script(replies);
        Program program(RYNVELCTL_FOR_TESTS, arguments("--remote " + peer.address() + " write map32 " + line),
                        m_folder.path());
        peer.requests(replies.size());
        program.signal(SIGINT);
        expectEnding(program.wait(), -SIGINT, "", progress.empty() ? "" : "map32: interrupted (" + progress + ')');
    };
    expectAfterASignal("A=1 B=2 CTRL=3 4=5", {success(), success(), success(), silence()},
                       "written: A, B; unknown whether written: CTRL; not reached: 4");
    expectAfterASignal("A=1 B=2", {success(), silence()}, "written: none; unknown whether written: A; not reached: B");
    expectAfterASignal("A=1 B=2 --verify", {success(), success(), silence()},
                       "written: none; written, but not confirmed: A; not reached: B");
    expectAfterASignal("A 1", {success(), silence()}, "unknown whether written: A");
    expectAfterASignal("A 1", {silence()}, "");
}

TEST_F(ManyRegisters, AreReportedOnceAfterManySignals) {
    for (int i = 0; i < 20; ++i) {
        TestPeer peer;
        peer.script({success(), success(), silence()});
        Program program(RYNVELCTL_FOR_TESTS, arguments("--remote " + peer.address() + " write map32 A=1 B=2"),
                        m_folder.path());
        peer.requests(3);
        std::thread other([&program] { signalOften(program, SIGINT); });
        signalOften(program, SIGINT);
        other.join();
        expectEnding(program.wait(), -SIGINT, "",
                     "map32: interrupted (written: A; unknown whether written: B; not reached: none)");
    }
}

TEST_F(ManyRegisters, EndAtASignalEvenIfStandardErrorIsFull) {
    TestPeer peer;
    peer.script({success(), success(), silence()});
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string block(4096, 'x');
    while (::write(ends[1], block.data(), block.size()) > 0) {
    }
    ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
    const Arguments line = arguments("--remote " + peer.address() + " write map32 A=1 B=2");
    Process program(commandOf(RYNVELCTL_FOR_TESTS, line), {enter(m_folder.path()) + "exec 2>&3 && ", {ends[1]}});
    peer.requests(3);
    program.signal(SIGINT);
    EXPECT_EQ(program.wait().status, -SIGINT);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ManyRegisters, LeaveAnIgnoredSignalAlone) {
    TestPeer peer;
    peer.script({success(), delayed(responseOf({}))});
    Process program(commandOf(RYNVELCTL_FOR_TESTS, arguments("--remote " + peer.address() + " write map32 A=1")),
                    {"trap '' INT; cd '" + m_folder.path() + "' && ", {}});
    peer.requests(2);
    program.signal(SIGINT);
    peer.releaseNextPiece();
    expectEnding(program.wait(), 0, "map32 A = 0x00000001\n");
}

TEST_F(ManyRegisters, SayWhetherASingleOneMayHaveBeenWritten) {
    TestPeer peer;
    const std::string line = "--remote " + peer.address() + " write map32 A 1 --timeout 300ms";
    const std::string late = peer.address() + ": timed out after 300 ms";
    peer.script({success(), silence()});
    expect(line, 4, "", late + " (unknown whether written: A)");
    peer.script({success(), success(), silence()});
    expect(line + " --verify", 4, "", late + " (written, but not confirmed: A)");
    peer.script({success(), refusal()});
    expect(line, 1, "", "map32: writing A failed: the server refused the request");
}

/** Returns `count` assignments to two registers, alternately by name and by address. */
std::string longList(std::size_t count) {
    std::string list;
    for (std::size_t i = 0; i < count; ++i) {
        list += i % 2 == 0 ? " A=" : " 8=";
        list += std::to_string(i);
    }
    return list;
}

TEST_F(ManyRegisters, TakeATimeInProportionToTheLengthOfTheList) {
    constexpr std::size_t count = 30000;
    // If the time grew with the square of the length, the command would need more than 30 seconds of processor time.
    const Ending ending = Process(commandOf(RYNVELCTL_FOR_TESTS, arguments("--quiet write map32" + longList(count))),
                                  {"ulimit -t 30; cd '" + m_folder.path() + "' && ", {}})
                              .wait();
    expectEnding(ending, 0, "");
    EXPECT_EQ(get(4), count - 2);
    EXPECT_EQ(get(8), count - 1);
}

} // namespace
} // namespace RynvelTest
