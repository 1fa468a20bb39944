// SPDX-License-Identifier: MIT
#include <chrono>
#include <csignal>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

const std::string pollRegisters =
    registerAt("CTRL", "0",
               "<fields><field><name>RUN</name><bitRange>[0:0]</bitRange><enumeratedValues>"
               "<enumeratedValue><name>stopped</name><value>0</value></enumeratedValue>"
               "<enumeratedValue><name>running</name><value>1</value></enumeratedValue></enumeratedValues></field>"
               "<field><name>MODE</name><bitRange>[6:4]</bitRange><enumeratedValues><usage>read</usage>"
               "<enumeratedValue><name>slow</name><value>#01x</value></enumeratedValue>"
               "<enumeratedValue><name>4</name><value>5</value></enumeratedValue>"
               "<enumeratedValue><name>7</name><value>7</value></enumeratedValue>"
               "<enumeratedValue><name>other</name><isDefault>true</isDefault></enumeratedValue></enumeratedValues>"
               "<enumeratedValues><usage>write</usage><enumeratedValue><name>go</name><value>1</value>"
               "</enumeratedValue></enumeratedValues></field>"
               "<field><name>CODE</name><bitRange>[31:24]</bitRange><access>write-only</access></field></fields>") +
    registerAt("KEY", "8", "<access>write-only</access>") +
    registerAt("FIFO", "0xC", "<readAction>modify</readAction>") + registerAt("NARROW", "0x10", "<size>16</size>") +
    registerAt("BYTE0", "0x40", "<size>8</size>") + registerAt("BYTE1", "0x41", "<size>8</size>");

class Poll : public DescribedProgram {
protected:
    Poll()
        : DescribedProgram(
              mapOfPeripherals(peripheralOf("map32", "", pollRegisters) + peripheralOf("remote", "", pollRegisters))) {}

    void expectHolds(const std::string& condition, const std::string& output) const {
        expect("poll " + condition + " --timeout 1m", 0, output);
    }

    /** @param object the part of the message that says which value is wrong. */
    void expectTimeOut(const std::string& condition, const std::string& output, const std::string& object) const {
        expect("poll " + condition + " --interval 1ms --timeout 300ms", 4, output,
               "map32: timed out after 300 ms (" + object + ')');
    }
};

TEST_F(Poll, EndsWhenARegisterHasTheValue) {
    set(0, 0x25);
    expectHolds("map32 0 0x25", "map32 0x00000000 = 0x00000025\n");
    expectHolds("map32 --index 0 37 --json", "{\"name\":\"map32\",\"index\":0,\"value\":37}\n");
    expectHolds("map32 CTRL 0x25 --quiet", "0x00000025\n");
    expectHolds("map32 0 5 --mask 0xf", "map32 0x00000000 = 0x00000025\n");
    expectHolds("map32 0 0b0101 --mask 0b1111 --quiet", "0x00000025\n");
}

TEST_F(Poll, EndsWhenAFieldHasTheValue) {
    set(0, 0x31);
    expectHolds("map32 CTRL.RUN running", "map32 CTRL.RUN = 1 (running)\n");
    expectHolds("map32 CTRL.RUN 1 --quiet", "1\n");
    expectHolds("map32 CTRL.MODE slow", "map32 CTRL.MODE = 3 (slow)\n");
    expectHolds("map32 CTRL.MODE 3 --json",
                "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"field\":\"MODE\","
                "\"value\":3,\"meaning\":\"slow\"}\n");
    set(0, 0x71);
    expectHolds("map32 CTRL.MODE 7", "map32 CTRL.MODE = 7 (7)\n");
    set(0, 0x11);
    expectHolds("map32 CTRL.MODE other", "map32 CTRL.MODE = 1 (other)\n");
}

TEST_F(Poll, EndsWhenBitsHaveTheValue) {
    set(0, 0x25);
    expectHolds("map32 CTRL[7:4] 2", "map32 CTRL[7:4] = 0x2\n");
    expectHolds("map32 0[0:0] 0 --not", "map32 0x00000000[0:0] = 0x1\n");
}

TEST_F(Poll, EndsWhenTheValueIsDifferent) {
    set(0, 0x25);
    expectHolds("map32 0 0 --not", "map32 0x00000000 = 0x00000025\n");
    expectHolds("map32 0 0 --not --mask 1", "map32 0x00000000 = 0x00000025\n");
    expectHolds("map32 CTRL.RUN stopped --not", "map32 CTRL.RUN = 1 (running)\n");
}

TEST_F(Poll, ComparesOnlyTheBitsOfTheRegister) {
    set(0x10, 0xFFFF0005);
    expectHolds("map32 NARROW 5", "map32 NARROW = 0x0005\n");
}

TEST_F(Poll, ShowsTheLastValueWhenTheTimeOutHasExpired) {
    set(0, 0x25);
    expectTimeOut("map32 0 0x24", "map32 0x00000000 = 0x00000025\n", "register 0x00000000 is not 0x24");
    expectTimeOut("map32 CTRL 4 --mask 0xf",
                  "map32 CTRL = 0x00000025\n  MODE[6:4] = 2 (slow)\n  RUN[0]    = 1 (running)\n",
                  "register CTRL with mask 0xf is not 4");
    expectTimeOut("map32 CTRL.RUN stopped", "map32 CTRL.RUN = 1 (running)\n", "field CTRL.RUN is not stopped");
    expectTimeOut("map32 CTRL.MODE 3 --quiet", "2\n", "field CTRL.MODE is not 3");
    expectTimeOut("map32 CTRL.MODE other --quiet", "2\n", "field CTRL.MODE is not other");
    expectTimeOut("map32 CTRL[7:4] 3", "map32 CTRL[7:4] = 0x2\n", "CTRL[7:4] is not 3");
    expectTimeOut("map32 0 0x25 --not", "map32 0x00000000 = 0x00000025\n", "register 0x00000000 is still 0x25");
    expectTimeOut("map32 CTRL.RUN running --not --json",
                  "{\"name\":\"map32\",\"address\":0,\"register\":\"CTRL\",\"field\":\"RUN\",\"value\":1,"
                  "\"meaning\":\"running\"}\n",
                  "field CTRL.RUN is still running");
}

TEST_F(Poll, DoesNotOutlastTheTimeOutForALongInterval) {
    expect("poll map32 0 1 --interval 1m --timeout 300ms --quiet", 4, "0x00000000\n",
           "map32: timed out after 300 ms (register 0x00000000 is not 1)");
}

/** Waits until the program has read a register, which unlocks the device. The traces of locks must be on. */
void awaitRead(Program& program) {
    for (std::string line = program.errorLine(); line.find("unlock") == std::string::npos; line = program.errorLine()) {
        ASSERT_NE(line, "");
    }
}

TEST_F(Poll, EndsWhenAnotherProgramChangesTheValue) {
    Program program(RYNVELCTL_FOR_TESTS,
                    arguments("--trace Rynvel.PthreadMutex=7 poll map32 CTRL.RUN running --interval 1ms"),
                    m_folder.path());
    awaitRead(program);
    expect("write map32 0 0x20 --quiet", 0, "");
    awaitRead(program);
    expect("write map32 0 0x21 --quiet", 0, "");
    const Ending ending = program.wait();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "map32 CTRL.RUN = 1 (running)\n");
}

TEST_F(Poll, ReadsOnceMoreWhenTheTimeOutHasExpired) {
    Program program(RYNVELCTL_FOR_TESTS,
                    arguments("--trace Rynvel.PthreadMutex=7 poll map32 0 1 --interval 1m --timeout 2s"),
                    m_folder.path());
    awaitRead(program);
    expect("write map32 0 1 --quiet", 0, "");
    const Ending ending = program.wait();
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "map32 0x00000000 = 0x00000001\n");
}

TEST_F(Poll, EndsAtASignal) {
    Program program(RYNVELCTL_FOR_TESTS,
                    arguments("--trace Rynvel.PthreadMutex=7 poll map32 0 1 --interval 1m --timeout 30s"),
                    m_folder.path());
    awaitRead(program);
    program.signal(SIGINT);
    expectEnding(program.wait(), -SIGINT, "");
}

TEST_F(Poll, DoesNotSayThatTheConditionHoldsIfItsOutputHasNoReader) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const std::string line = "poll map32 0 1 --timeout 300ms";
    expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path(), ends[1]).wait(), 4, "",
                 "map32: timed out after 300 ms (register 0x00000000 is not 1)");
    expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments("poll map32 0 0"), m_folder.path(), ends[1]).wait(), 0, "");
    close(ends[1]);
}

TEST_F(Poll, ReportsAFailureOfStandardOutput) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments("poll map32 0 0"), m_folder.path(), full).wait(), 1, "",
                 "standard output: No space left on device (the condition holds)");
    close(full);
}

TEST_F(Poll, SaysThatTheConditionDoesNotHoldEvenIfStandardOutputFails) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const std::string line = "poll map32 0 1 --timeout 300ms";
    expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path(), full).wait(), 4, "",
                 "map32: timed out after 300 ms (register 0x00000000 is not 1)");
    close(full);
}

TEST_F(Poll, SaysWhetherTheConditionHoldsIfStandardOutputBlocks) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    while (write(ends[1], "x", 1) == 1) {
    }
    ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
    const auto run = [&](const std::string& line) {
        return Program(RYNVELCTL_FOR_TESTS, arguments("--timeout 500ms " + line), m_folder.path(), ends[1]).wait();
    };
    expectEnding(run("poll map32 0 0"), 1, "", "standard output: timed out after 500 ms (the condition holds)");
    expectEnding(run("poll map32 0 1"), 4, "", "map32: timed out after 500 ms (register 0x00000000 is not 1)");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Poll, RefusesAValueThatCannotOccur) {
    expectRefused("poll map32 NARROW 0x10000", "value 0x10000 does not fit in 16 bits");
    expectRefused("poll map32 CTRL[7:4] 16", "value 16 does not fit in 4 bits");
    expectRefused("poll map32 CTRL[0:0] 2", "value 2 does not fit in 1 bit");
    expectRefused("poll map32 CTRL.MODE 8", "map32: field CTRL.MODE: '8' does not fit in 3 bits");
    expectRefused("poll map32 CTRL.RUN going",
                  "map32: field CTRL.RUN: 'going' is not a value of the field (give a number, stopped or running)");
    expectRefused("poll map32 CTRL.MODE go",
                  "map32: field CTRL.MODE: 'go' is not a value of the field (give a number, slow, 7 or other)");
    expectRefused("poll map32 CTRL.MODE 4", "map32: field CTRL.MODE: '4' is a number and also the name of other values "
                                            "(give the value with 0x or 0b)");
    expectRefused("poll map32 CTRL running",
                  "value 'running' is not a number (decimal, hexadecimal with 0x, or binary with 0b)");
    expectRefused("poll map32 0 1 --mask 0", "mask 0 selects no bits (set at least one bit)");
    expectRefused("poll map32 NARROW 1 --mask 0x10000", "mask 0x10000 does not fit in 16 bits");
    expectRefused("poll map32 0 1 --mask 0x80",
                  "value 1 has bits outside the mask 0x80 (give 0x00000080 to compare the bits of the mask with 1)");
    expectRefused("poll map32 NARROW 5 --mask 0xf0 --not",
                  "value 5 has bits outside the mask 0xf0 (give 0x0050 to compare the bits of the mask with 5)");
    expectRefused("expect map32 0 0xf5 --mask 0b1111", "value 0xf5 has bits outside the mask 0b1111 (leave out these "
                                                       "bits, or select them with the mask)");
    expectRefused("poll map32 CTRL.RUN 1 --mask 1",
                  "--mask: the field already selects the bits to compare (leave out --mask)");
    expectRefused("poll map32 CTRL[7:4] 1 --mask 1",
                  "--mask: the range already selects the bits to compare (leave out --mask)");
    expectRefused("poll map32 0 1 --interval 0s", "--interval: the time must be greater than 0");
}

TEST_F(Poll, RefusesARegisterThatCannotBeReadWithoutASideEffect) {
    expectRefused("poll map32 KEY 1", "map32: register KEY is write-only");
    expectRefused("poll map32 CTRL.CODE 1", "map32: field CTRL.CODE is write-only");
    expectRefused("poll map32 BYTE0 1",
                  "map32: register BYTE0 has 8 bits and shares a register of the device with register BYTE1 (the "
                  "device has 32-bit registers)");
    expectRefused("poll map32 FIFO 0", "map32: reading register FIFO has a side effect (--with-side-effects reads it)");
    expectHolds("map32 FIFO 0 --with-side-effects --quiet", "0x00000000\n");
    // The command `expect` reads the register once, as the user requests, so it needs no option.
    expect("expect map32 FIFO 0", 0, "");
}

/** Runs poll on a remote device of a scripted server. */
class RemotePoll : public Poll {
protected:
    Ending run(const std::string& line) {
        return Poll::run("--remote " + m_peer.address() + " --type Uio32 poll remote " + line);
    }

    TestPeer m_peer;
};

TEST_F(RemotePoll, ReadsUntilTheConditionHolds) {
    m_peer.script({success(), success({0x20}), success({0x20}), success({0x31})});
    expectEnding(run("CTRL.RUN running --interval 1ms"), 0, "remote CTRL.RUN = 1 (running)\n");
    EXPECT_EQ(m_peer.requests(4).size(), 4U);
}

TEST_F(RemotePoll, ReadsOnceMoreWhenTheTimeOutHasExpired) {
    m_peer.script({success(), success({0x20}), success({1})});
    expectEnding(run("0 1 --interval 1m --timeout 500ms"), 0, "remote 0x00000000 = 0x00000001\n");
    EXPECT_EQ(m_peer.requests(3).size(), 3U);
}

TEST_F(RemotePoll, EndsInTimeEvenIfTheServerDoesNotAnswerTheLastRead) {
    const std::string late = "remote: timed out after 500 ms (register 0x00000000 is not 1)";
    for (const Reply& last : {silence(), refusal(), closing()}) {
        m_peer.clearRequests();
        m_peer.script({success(), success({0x20}), last});
        expectEnding(run("0 1 --interval 1m --timeout 500ms"), 4, "remote 0x00000000 = 0x00000020\n", late);
        EXPECT_EQ(m_peer.requests(3).size(), 3U);
    }
}

/** Runs poll on a server whose registers are 0. The server counts the reads. */
class CountedReads : public Poll {
protected:
    Ending run(const std::string& line) {
        return Poll::run("--remote " + m_peer.address() + " --type Uio32 poll remote " + line);
    }

    std::size_t reads() { return m_peer.requests(0).size() - 1; }

    TestPeer m_peer{[](std::size_t, const Rynvel::Request&) { return success({0}); }};
};

TEST_F(CountedReads, AreAsFarApartAsTheInterval) {
    EXPECT_EQ(run("0 1 --interval 1m --timeout 500ms").status, 4);
    // The program reads the register at the beginning, and again when the time-out has expired.
    EXPECT_EQ(reads(), 2U);
}

TEST_F(Poll, ReadsEveryTenMillisecondsByDefault) {
    using Clock = std::chrono::steady_clock;
    std::vector<Clock::time_point> times;
    {
        const TestPeer peer([&times](std::size_t /*connection*/, const Rynvel::Request& /*request*/) {
            times.push_back(Clock::now());
            return success({times.size() == 50 ? 1U : 0U});
        });
        const std::string line = "--remote " + peer.address() + " --type Uio32 --timeout 30s poll remote 0 1";
        expect(line, 0, "remote 0x00000000 = 0x00000001\n");
    }
    ASSERT_EQ(times.size(), 50U);
    // The first request opens the device.
    for (std::size_t i = 2; i < times.size(); ++i) {
        EXPECT_GE(times[i] - times[i - 1], std::chrono::milliseconds(10)) << i;
    }
}

TEST_F(RemotePoll, ShowsTheLastValueWhenTheServerFallsSilent) {
    m_peer.script({success(), success({0x20}), silence()});
    expectEnding(run("0 1 --interval 1ms --timeout 500ms"), 4, "remote 0x00000000 = 0x00000020\n",
                 m_peer.address() + ": timed out after 500 ms (register 0x00000000 is not 1)");
}

TEST_F(RemotePoll, ShowsNoValueWhenTheServerNeverAnswers) {
    m_peer.script({success(), silence()});
    expectEnding(run("0 1 --timeout 500ms"), 4, "", m_peer.address() + ": timed out after 500 ms");
}

TEST_F(RemotePoll, EndsWhenTheServerRefusesARead) {
    m_peer.script({success(), success({0x20}), refusal()});
    expectEnding(run("0 1 --interval 1ms"), 1, "", "remote: reading 0x00000000 failed: the server refused the request");
}

} // namespace
} // namespace RynvelTest
