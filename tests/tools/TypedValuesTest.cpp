// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

/** The bases of the numbers that a user gives, and of the values that rynvelctl prints. */
class TypedValues : public DescribedProgram {
protected:
    TypedValues() : DescribedProgram(timerMap()) {
        m_folder.store("registers8", std::string("\x05\xff", 2) + std::string(62, '\0'));
        m_folder.store("registers16", std::string(64, '\0'));
        set(0, 0x0141);
    }
};

class GlobalOptions : public TypedValues {};

TEST_F(GlobalOptions, HaveShortNames) {
    TestPeer peer;
    peer.script({success(), success({7})});
    const auto runShort = [this](const std::string& line) {
        return runProgram(RYNVELCTL_FOR_TESTS, words(line), m_folder.path());
    };
    expectEnding(runShort("-q read map32 4 -r " + peer.address() + " -t 9s"), 0, "0x00000007\n");
    peer.script({silence()});
    expectEnding(runShort("-r" + peer.address() + " -t100ms read map32 4"), 4, "",
                 peer.address() + ": no answer within 100 ms");
    expectEnding(runShort("read map32 CTRL.MODE -jm board.svd"), 0,
                 R"({"name":"map32","address":0,"register":"CTRL","field":"MODE","value":4,"meaning":"fast"})"
                 "\n");
    expectEnding(runShort("-q -j list"), 2, "", "--quiet excludes --json");
    expectEnding(runShort("-t=1s list"), 2, "", "--timeout: '=1s' begins with = (write -t 1s)");
    expectEnding(runShort("-r= list"), 2, "", "--remote: '=' begins with = (write -r VALUE)");
    expectEnding(runShort("list --base 2 --base 10"), 2, "", "--base: the option has several values (give one)");
    m_folder.store("script", "read map32 0 -q\n");
    expectEnding(runShort("run script"), 2, "",
                 "script:1: -q: a line cannot contain global options (give the option with run)");
}

TEST_F(TypedValues, ArePrintedInTheGivenBaseForRegisters) {
    expect("read file8 0 1", 0, "file8 0x00000000 = 0x05\nfile8 0x00000001 = 0xff\n");
    expect("--base 16 read file8 0", 0, "file8 0x00000000 = 0x05\n");
    expect("--base 10 read file8 0 1", 0, "file8 0x00000000 = 5\nfile8 0x00000001 = 255\n");
    expect("read file8 0 1 --base 2", 0, "file8 0x00000000 = 0b00000101\nfile8 0x00000001 = 0b11111111\n");
    expect("read file8 0 1 --base=2 --quiet", 0, "0b00000101\n0b11111111\n");
    expect("read file8 1 --base 10 --quiet", 0, "255\n");
    expect("read file8 1 --base 2 --json", 0,
           R"({"name":"file8","address":1,"value":255})"
           "\n");
    expect("write file8 0 7 --base 10", 0, "file8 0x00000000 = 7\n");
    expect("write file8 0 7 --mask 3 --base 2", 0, "file8 0x00000000 = 0b00000011 with mask 0b00000011\n");
    expect("set file8 0 7 --base 10", 0, "file8 0x00000000 = 128 with mask 128\n");
    expect("fill file8 4 2 9 --base 10", 0, "file8 0x00000004 = 9 in 2 registers\n");
    expect("poll file8 1 255 --base 2", 0, "file8 0x00000001 = 0b11111111\n");
    expect("watch file8 1 --count 1 --base 10", 0, "TIME file8 0x00000001 = 255\n");
    expect("watch file8 1 --count 1 --base 10 --quiet", 0, "0x00000001 255\n");
    expect("watch file8 1 --count 1 --base 10 --format %a:%v", 0, "0x00000001:255\n");
    expect("watch file8 1 --count 1 --base 2 --csv", 0,
           "time,device,address,name,value,old\nTIME,file8,0x00000001,0x00000001,0b11111111,\n");
}

TEST_F(TypedValues, ArePrintedInTheGivenBaseForBitsAndFields) {
    expect("read map32 CTRL.MODE", 0, "map32 CTRL.MODE = 4 (fast)\n");
    expect("read map32 CTRL.MODE --base 2", 0, "map32 CTRL.MODE = 0b100 (fast)\n");
    expect("read map32 CTRL.MODE --base 16", 0, "map32 CTRL.MODE = 0x4 (fast)\n");
    expect("read map32 CTRL.GAIN --base 16 -q", 0, "0x01\n");
    expect("read map32 0[8:4]", 0, "map32 0x00000000[8:4] = 0x14\n");
    expect("read map32 0[8:4] --base 2", 0, "map32 0x00000000[8:4] = 0b10100\n");
    expect("read map32 0[8:4] --base 10 -q", 0, "20\n");
    expect("write map32 CTRL RUN=0 MODE=slow --base 2", 0,
           "map32 CTRL.RUN = 0b0 (stopped)\nmap32 CTRL.MODE = 0b010 (slow)\n");
    expect("read map32 CTRL --base 10", 0,
           "map32 CTRL = 288\n  PINB[17]   = 0\n  PINA[16]   = 0\n  GAIN[15:8] = 1\n  MODE[6:4]  = 2 (slow)\n"
           "  RUN[0]     = 0 (stopped)\n");
    expect("show map32 LEVEL0 --base 10", 0, "0x00000018  LEVEL0 = 0\n");
    expect("show map32 LEVEL0 --base 2 -q", 0, "LEVEL0 0b" + std::string(32, '0') + '\n');
}

TEST_F(TypedValues, FormColumnsInADump) {
    expect("dump file8 0 3", 0, "0x00000000: 05 ff 00\n");
    expect("dump file8 0 3 --base 10", 0, "0x00000000:   5 255   0\n");
    expect("dump file8 0 5 --base 2", 0, "0x00000000: 00000101 11111111 00000000 00000000\n0x00000004: 00000000\n");
    expect("dump file16 0 2 --base 10", 0, "0x00000000:     0     0\n");
    expect("dump map32 0 1 --base 10", 0, "0x00000000:        321\n");
    expect("dump file8 0 2 --base 10 -q", 0, "5\n255\n");
    expect("dump file8 0 2 --base 2 --json", 0,
           R"({"name":"file8","address":0,"width":8,"order":"host","values":[5,255]})"
           "\n");
}

TEST_F(TypedValues, ArePrintedInTheGivenBaseForSnapshots) {
    EXPECT_EQ(run("save map32 before.json").status, 0);
    set(0x18, 5);
    set(0, 0x0131);
    EXPECT_EQ(run("diff map32 before.json --base 10").output,
              "CTRL: 305 -> 321\nCTRL.MODE: 3 (slow) -> 4 (fast)\nLEVEL0: 5 -> 0\n");
    EXPECT_NE(run("diff map32 before.json --base 2").output.find("\nCTRL.MODE: 0b011 (slow) -> 0b100 (fast)\n"),
              std::string::npos);
    const std::string restored = "map32 CTRL: 305 -> 321 (not written)\nmap32 LEVEL0: 5 -> 0 (not written)\n";
    EXPECT_EQ(run("restore map32 before.json --base 10 --dry-run").output.substr(0, restored.size()), restored);
}

TEST_F(TypedValues, AreShownInTheGivenBaseIfAnExpectationFails) {
    expect("expect file8 1 0 --base 10", 1, "", "file8: register 0x00000001 is not 0 (the value is 255)");
    expect("expect map32 CTRL.MODE 1 --base 2", 1, "", "map32: field CTRL.MODE is not 1 (the value is 0b100 (fast))");
}

TEST_F(TypedValues, HaveNoLeadingZeroThatMayMeanAnOctalNumber) {
    const std::string ambiguous = "'010' is ambiguous (write 10 or 0x8)";
    expectRefused("read map32 010", "address " + ambiguous);
    expectRefused("read map32 --index 010", "index " + ambiguous);
    expectRefused("read map32 010..0x20", "address " + ambiguous);
    expectRefused("-r h:010 read map32 0", "port '010' has a leading zero (give 10)");
    expectRefused("-r h:00 read map32 0", "port '00' is not a decimal number from 1 to 65535");
    expectRefused("fill map32 0 1 099999999999999999999", "value 099999999999999999999 does not fit in 32 bits");
    expectRefused("read map32 0..010", "address " + ambiguous);
    expectRefused("read map32 0[010:0]", "bit " + ambiguous);
    expectRefused("write map32 0 010", "value " + ambiguous);
    expectRefused("write map32 0=1 4=010", "value " + ambiguous);
    expectRefused("write map32 0 1 --mask 010", "mask " + ambiguous);
    expectRefused("write map32 CTRL GAIN=010", "map32: field CTRL.GAIN: " + ambiguous);
    expectRefused("poll map32 CTRL.GAIN 010 --timeout 1s", "map32: field CTRL.GAIN: " + ambiguous);
    expectRefused("set map32 0 010", "bit " + ambiguous);
    expectRefused("set map32 0 3,010:0", "bit " + ambiguous);
    expectRefused("dump map32 0 010", "count " + ambiguous);
    expectRefused("watch map32 0 --count 010", "count " + ambiguous);
    expectRefused("ioctl map32 010 0", "request " + ambiguous);
    expectRefused("ioctl map32 0 010", "argument " + ambiguous);
    expectRefused("--remote h --type Uio32 irq r raise 010", "word " + ambiguous);
    expectRefused("--remote h ping --count 010", "count " + ambiguous);
    m_folder.store("script", "write map32 0 010\n");
    expectRefused("run script", "script:1: value " + ambiguous);
    expect("write map32 0x010 0b010", 0, "map32 0x00000010 = 0x00000002\n");
    expect("write map32 0 0", 0, "map32 0x00000000 = 0x00000000\n");
}

class Times : public TypedValues {};

TEST_F(Times, MayHaveFractions) {
    expect("poll map32 0 1 -t 0.5s", 4, "map32 0x00000000 = 0x00000141\n",
           "map32: timed out after 500 ms (register 0x00000000 is not 1)");
    // The command takes all samples before the time-out only if the interval is short.
    expect("watch map32 0 --count 20 --interval 0.001s -t 9s", 0, "TIME map32 0x00000000 = 0x00000141\n");
    expect("sleep 2h -t 0.05s", 4, "", "sleep: timed out after 50 ms");
    expect("read map32 0 -t 2h", 0, "map32 0x00000000 = 0x00000141\n");
    expectRefused("read map32 0 -t 010s", "--timeout: '010s' is not a time (give 10s)");
    expectRefused("sleep 007ms", "sleep: '007ms' is not a time (give 7ms)");
    expectRefused("read map32 0 -t .5s", "--timeout: '.5s' is not a time (give 0.5s)");
    expectRefused("read map32 0 -t 0", "--timeout: the time must be greater than 0");
    expectRefused("read map32 0 -t 5", "--timeout: '5' has no unit (ms, s, m or h, for example 1.5s)");
    expectRefused("read map32 0 -t 0.0001s",
                  "--timeout: '0.0001s' is not a time (a number with the unit ms, s, m or h, in whole milliseconds, at "
                  "most one day)");
}

} // namespace
} // namespace RynvelTest
