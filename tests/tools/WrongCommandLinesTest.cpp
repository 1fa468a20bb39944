// SPDX-License-Identifier: MIT
#include <algorithm>

#include <gtest/gtest.h>

#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

enum Status { failed = 1, wrongUsage = 2, unreachable = 3, timedOut = 4 };

struct Group {
    Status status;
    std::vector<std::string> lines;
};

/** Returns the command lines in a text, in which "; " separates them. */
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 2) {
        end = text.find("; ", begin);
        lines.push_back(text.substr(begin, end - begin));
    }
    return lines;
}

const std::vector<std::string> wrongNumbers =
    words("x 0x 0b 0b2 0xg 1.5 1e3 +1 0x-1 12a 1,2 0x1_0 4294967296 0x100000000 ten 010 00 08 00000000000017");

std::vector<std::string> withEach(const std::string& before, const std::vector<std::string>& middles,
                                  const std::string& after = "") {
    std::vector<std::string> lines;
    for (const std::string& middle : middles) {
        lines.push_back(before + middle + after);
    }
    return lines;
}

std::vector<std::string> linesWithWrongNumbers() {
    std::vector<std::string> lines;
    const std::vector<std::pair<std::string, std::string>> positions = {{"read map32 ", ""},
                                                                        {"write map32 ", " 1"},
                                                                        {"write map32 0 ", ""},
                                                                        {"write map32 0 1 --mask ", ""},
                                                                        {"dump file8 ", " 1"},
                                                                        {"dump file8 0 ", ""},
                                                                        {"fill file8 ", " 1 1"},
                                                                        {"fill file8 0 ", " 1"},
                                                                        {"fill file8 0 1 ", ""},
                                                                        {"watch file8 ", ""},
                                                                        {"ioctl file8 ", " 1"},
                                                                        {"ioctl file8 1 ", ""},
                                                                        {"watch file8 0 --count ", ""},
                                                                        {"poll map32 ", " 1"},
                                                                        {"poll map32 0 ", ""},
                                                                        {"poll map32 0 1 --mask ", ""},
                                                                        {"set map32 ", " 1"}};
    for (const auto& [before, after] : positions) {
        const auto some = withEach(before, wrongNumbers, after);
        lines.insert(lines.end(), some.begin(), some.end());
    }
    return lines;
}

const std::vector<Group>& localGroups() {
    static const std::vector<Group> groups = {
        {wrongUsage, linesWithWrongNumbers()},
        // No command, an unknown command, too few arguments, too many arguments.
        {wrongUsage, {"", "frobnicate", "Read map32 0"}},
        {wrongUsage, linesOf("read; read map32; write map32 0; write; dump map32; dump map32 0; fill map32 0 1; watch; "
                             "watch map32; ioctl map32; ioctl map32 1; irq; irq map32; wait; info; save; save map32; "
                             "diff; diff a; restore; restore map32; "
                             "run; sleep; expect; expect map32; expect map32 0; save map32 s t; diff a b c; restore "
                             "map32 s t; restore map32 s --with-side-effects")},
        {wrongUsage,
         linesOf("load; load map32; load map32 0 a b; load map32 4 map; load map32 1 map; load map32 4096 map; "
                 "load map32 0 nowhere; load map32 0 map --order little; load map32 CTRL map; "
                 "load nothing 0 map; load file8 0 /; dump map32 0 1 --raw --json")},
        {wrongUsage, linesOf("write map32 0 1 1; dump map32 0 1 1; list map32; info map32 map16; "
                             "irq map32 type 1; irq map32 raise 1 2; wait map32 1; read read read read; run a b; sleep "
                             "1s 2s; expect map32 0 1 2")},
        // Malformed ranges, ranges that include addresses without a register, and malformed or incomplete assignments.
        {wrongUsage, withEach("read map32 ", {"4..0", "0..2", "0..", "..4", "..", "0..4..8", "CTRL..DATA", "0..0x1000",
                                              "0 2", "0 0x1000", "0..0xfffffffc", "--index 4..x"})},
        {wrongUsage, {"read file8 0..0x100000"}},
        {wrongUsage, withEach("write map32 ", {"0", "0=1 4", "0=1 4=", "0=", "=1", "0=1 =1", "0=x", "0=1=1", "0=1 2=1",
                                               "0=1 0x1000=1", "0=1 --mask 1", "0=1 CTRL=1"})},
        // Files of commands that cannot be read, wrong values for `expect`, and wrong times for `sleep`.
        {wrongUsage, withEach("run ", {"nowhere", "/", "nowhere/script"})},
        {wrongUsage, withEach("expect map32 ", {"0", "0 x", "0 0x100000000", "2 1", "CTRL 1", "0x1000 1"})},
        {wrongUsage, withEach("sleep ", {"1", "-1s", "1.5", "soon"})},
        // Names of registers without a register map, or with an unusable register map.
        {wrongUsage, linesOf("read map32 CTRL; read map32 CTRL.MODE; write map32 CTRL 1; write map32 CTRL.MODE 1; "
                             "write map32 CTRL MODE=1; write map32 0 MODE=1; dump map32 CTRL 1; fill map32 CTRL 1 1; "
                             "watch map32 CTRL; watch map32 0 CTRL; show; show nothing; show map32; show map32 CTRL")},
        {wrongUsage, withEach("read map32 CTRL --map ", {"nowhere", "/", "map", "/dev/null", "nowhere/map"})},
        // Options that are unknown, misplaced, without a value, or given twice.
        {wrongUsage,
         linesOf("--frob; read map32 0 --frob; read map32 0 --mask 1; list --index; write map32 0 1 --mask; "
                 "--quiet --json list; list --json --quiet; -q -j list; write map32 0 1 --mask 1 --mask 2; -x; "
                 "read -x map32 0; wait map32 --interval 1s; dump map32 0 1 --order; --trace; --remote; -r; "
                 "--type Uio32 read map32 0; --type Uio32 list; --local --remote h list; --timeout; -t; --base; "
                 "--base 8 list; --base hex list; --base 016 list; -")},
        // Wrong bit numbers, and conditions that no value meets.
        {wrongUsage,
         linesOf("set; set map32; set map32 0; set map32 0 1 2; clear map32 0 x; toggle map32 0 RUN; "
                 "set map32 0 32; set file8 0 8; set map32 0 4:7; set map32 0 7:; set map32 0 :; set map32 0 ,; "
                 "set map32 0 1,,2; set map32 0 1,1; set map32 0 -1; set map32 0[7:4] 1; clear map32 CTRL RUN; "
                 "toggle map32 1 1; set map32 4096 1; set nothing 0 1; set map32 0 1 --mask 1")},
        {wrongUsage,
         linesOf("poll; poll map32; poll map32 0; poll map32 0 1 2; poll map32 CTRL 1; poll map32 0[3:0] 16; "
                 "poll map32 0 1 --mask 0; poll file8 0 256; poll map32 0 1 --interval 0s; "
                 "poll map32 0 1 --interval 1; poll map32 4096 1; poll nothing 0 1")},
        {wrongUsage, withEach("read map32 ", {"0[3]", "0[:]", "0[7:4", "0[4:7]", "0[32:0]", "0[]", "CTRL[7:4]"})},
        // Wrong formats of events, and combinations of several formats.
        {wrongUsage,
         withEach("watch map32 0 --format ", {"%", "%x", "%v%", "%v --json", "%v --quiet", "%v --csv", "%v --plot"})},
        {wrongUsage, withEach("wait map32 --format ", {"%", "%a", "%n", "%o", "%v --json", "%v --quiet"})},
        {wrongUsage, withEach("irq map32 type --format ", {"%", "%a", "%n", "%o", "%v --json"})},
        {wrongUsage, {"watch map32 0 --csv --json", "watch map32 0 --plot --quiet", "watch map32 0 --csv --plot"}},
        {wrongUsage, withEach("list --color ", {"", "red", "Auto", "on"})},
        // Unknown devices, devices without interrupts, and wrong interrupt operations.
        {wrongUsage,
         withEach("read ", {"nothing", "map", "MAP32", "map32.", "map32x", "seek", "0", "file8,file16", "/dev/null"},
                  " 0")},
        {wrongUsage, withEach("info ", {"nothing", "Map32", "file"})},
        {wrongUsage, withEach("wait ", {"nothing", "file8", "file16", "file32", "spi"})},
        {wrongUsage, withEach("irq ", {"nothing type", "file8 type", "file8 enable", "spi disable", "map32 frob",
                                       "map32 Type", "map32 enable 1", "map32 raise", "map32 raise x"})},
        // Addresses without a register, and wrong counts of registers.
        {wrongUsage, withEach("read map32 ", {"1", "2", "3", "0xffe", "4096", "0x1000", "0xfffffffc", "0b1"})},
        {wrongUsage, withEach("read map16 ", {"1", "0xfff", "4096", "0xfffffffe"})},
        {wrongUsage, withEach("read file16 ", {"1", "3"})},
        {wrongUsage, withEach("read file32 ", {"1", "2", "3"})},
        {wrongUsage, withEach("read map32 --index ", {"1024", "0x3fffffff", "0xffffffff"})},
        {wrongUsage, withEach("read file32 --index ", {"0x40000000"})},
        {wrongUsage, withEach("read spi --index ", {"0x40000000", "0xffffffff"})},
        {wrongUsage, {"watch map32 [0,4]", "watch map32 [0,,1]", "--trace [a=1] list"}},
        {wrongUsage, withEach("write map32 ", {"1 1", "4096 1", "0xfffffffc 1"})},
        {wrongUsage,
         withEach("dump map32 ", {"0 1025", "4096 1", "4092 2", "0 0", "1 1", "0 1048577", "0 0xffffffff"})},
        {wrongUsage, withEach("fill map32 ", {"0 1025 1", "4096 1 1", "0 0 1", "0 1048577 1"})},
        {wrongUsage, withEach("dump file8 0xffffffff ", {"2", "1048576"})},
        {wrongUsage, {"watch map32 0 4096", "watch map32 0 2"}},
        // Values that are too wide, and masks that select no bits.
        {wrongUsage,
         withEach("write file8 0 ", {"256", "0x100", "0b100000000", "0xffffffff", "1 --mask 256", "1 --mask 0"})},
        {wrongUsage, withEach("write file16 0 ", {"65536", "0x10000", "1 --mask 0x10000", "1 --mask 0"})},
        {wrongUsage, {"fill file8 0 1 256", "fill map16 0 1 0x10000", "write map32 0 0x100000000"}},
        // Wrong times, counts, byte orders, burst widths, trace levels, servers and device types.
        {wrongUsage,
         withEach("watch file8 0 --interval ", {"1", "0s", "0", "25h", "s", "1.0005s", "2d", "1.5", ".5s"})},
        {wrongUsage, withEach("wait map32 --timeout ", {"1", "25h", "ms", "-1s", "100", "99999999999s"})},
        {wrongUsage, withEach("wait map32 --each ", {"1", "25h", "ms", "-1s", "100", "99999999999s"})},
        {wrongUsage, withEach("read map32 0 --timeout ", {"1", "0", "0ms", "fast"})},
        {wrongUsage, {"wait map32 --count 0", "wait map32 --count x", "watch map32 0 --count 0"}},
        {wrongUsage, withEach("dump map32 0 1 --order ", {"big", "Host", "little", "0"})},
        {wrongUsage, {"dump file16 0 1 --burst", "dump file32 0 1 --burst"}},
        {wrongUsage, withEach("read map32 0 --trace ",
                              {"x", "x=", "x=8", "x=-1", "=3", "x=10", "x=y", "x=3", "Rynvel.Lsek=3", "rynvel.*=3"})},
        {wrongUsage, withEach("--type Uio32 read r 0 --remote ", {"::", "::1", "h::", "h::0", "h::65536", "h::x",
                                                                  "h::1::2", ":", ":1", "h:", "h:0", "h:x", "a:b:c"})},
        {wrongUsage,
         withEach("--remote h read r 0 --type ", {"8", "Uio", "uio32", "Uio8", "Remote32", "Lseek64", "-8"})},
        {wrongUsage, {"--remote h read nothing 0", "--remote h maps list", "ping", "ping map32"}},
        {wrongUsage, {"--remote h ping --count 0", "--remote h ping --count 1000001", "--remote h ping a b"}},
        {wrongUsage, {"--remote h --type Uio32 dump r 0 129 --burst", "--remote h --type Lseek8 write r 0 256"}},
        {wrongUsage,
         {"--remote h --type Uio32 read r 2", "--remote h --type Lseek8 read " + std::string(128, 'n') + " 0"}},
        // Devices whose file is missing or unsuitable, and operations that fail.
        {unreachable,
         {"read missing 0",
          "write missing 0 1",
          "set missing 0 1",
          "toggle missing 0 1",
          "poll missing 0 1",
          "dump missing 0 1",
          "dump missing 0 1 --burst",
          "fill missing 0 1 1",
          "load missing 0 map",
          "watch missing 0",
          "ioctl missing 1 1",
          "info missing",
          "read missing.map 0",
          "write missing.map 0 1",
          "irq missing.map type",
          "irq missing.map enable",
          "irq missing.map disable",
          "wait missing.map",
          "read folder 0",
          "read sizeless 0",
          "read uio 0",
          "wait uio"}},
        {failed,
         {"read file8 4096",
          "read file16 4096",
          "read file32 4096",
          "dump file8 4090 20 --burst",
          "read torn 4096",
          "write torn 4096 1",
          "dump torn 4092 2 --burst",
          "ioctl file8 1 2",
          "ioctl map32 0x80000000 0",
          "irq map32 type",
          "irq map32 enable",
          "wait map32 --timeout 1s",
          "read spi 0",
          "write spi 0 1",
          "dump spi 0 2 --burst",
          "poll spi 0 1",
          "set spi 0 1",
          "toggle file8 4096 1",
          "write full 0 1",
          "fill full 0 2 1",
          "load full 0 map",
          "info map32"}},
    };
    return groups;
}

/** Returns the groups with only the first of every `step` lines. */
std::vector<Group> everyNth(std::size_t step, std::vector<Group> groups) {
    for (Group& group : groups) {
        std::vector<std::string> lines;
        for (std::size_t i = 0; i < group.lines.size(); i += step) {
            lines.push_back(group.lines[i]);
        }
        group.lines = lines;
    }
    return groups;
}

const std::vector<std::string> remoteLines =
    linesOf("read map32 0; write map32 0 1; write map32 0 1 --mask 1; dump map32 0 4; dump map32 0 4 --burst; "
            "fill map32 0 2 1; load map32 0 map; watch map32 0; poll map32 0 1; set map32 0 1; toggle map32 0 1; ioctl "
            "map32 1 2; info "
            "map32; irq map32 type; irq map32 enable; "
            "irq map32 raise; irq map32 disable; wait map32; ping; ping map32; read file8 0; --type Uio16 read r 0; "
            "--type Uio32 read r 0");

class WrongCommandLines : public testing::Test {
protected:
    WrongCommandLines() {
        for (const std::string name : {"registers8", "registers16", "registers32", "map"}) {
            m_folder.store(name, std::string(4096, '\0'));
        }
    }

    void expectOneLine(const Arguments& arguments, Status status) {
        ++m_count;
        const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, arguments, m_folder.path());
        const std::string line = testing::PrintToString(arguments);
        EXPECT_EQ(ending.status, status) << line << '\n' << ending.error;
        EXPECT_EQ(ending.output, "") << line;
        EXPECT_EQ(std::count(ending.error.begin(), ending.error.end(), '\n'), 1) << line << '\n' << ending.error;
        EXPECT_EQ(ending.error.rfind("rynvelctl: ", 0), 0U) << line << '\n' << ending.error;
        EXPECT_GT(ending.error.size(), sizeof("rynvelctl: ")) << line;
    }

    void expectAll(const std::vector<Group>& groups, const Arguments& first = {}) {
        for (const Group& group : groups) {
            for (const std::string& line : group.lines) {
                Arguments arguments = first;
                const Arguments rest = words(line);
                arguments.insert(arguments.end(), rest.begin(), rest.end());
                expectOneLine(arguments, group.status);
            }
        }
    }

    /** Expects the status for each line except `successful`, with a server that always sends the reply. */
    void expectAllOfAServer(const Reply& reply, Status status, const Arguments& options = {},
                            const std::string& successful = "") {
        TestPeer peer;
        Arguments first{"--remote", peer.address()};
        first.insert(first.end(), options.begin(), options.end());
        for (const std::string& line : remoteLines) {
            if (line != successful) {
                peer.script({reply});
                expectAll({{status, {line}}}, first);
            }
        }
    }

    TestFolder m_folder;
    std::size_t m_count = 0;
};

TEST_F(WrongCommandLines, PrintOneLineAndEndWithTheirStatus) {
    // The messages do not depend on the build, so slow builds run only every fourth line.
    const std::size_t step = testsRunSlowly ? 4 : 1;
    expectAll(everyNth(step, localGroups()));
    EXPECT_GE(m_count, 200U / step);
}

TEST_F(WrongCommandLines, ExplainWhatSelectsTheWidth) {
    for (const std::string line : {"read map32 0 --width 16", "--width=32 read map32 0", "read missing 0 --width 8",
                                   "--remote h read map32 0 --width=16"}) {
        const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, words(line), m_folder.path());
        EXPECT_EQ(ending.status, wrongUsage) << line;
        EXPECT_NE(ending.error.find("' (the device type selects the register width; --type gives the type of a remote "
                                    "device)\n"),
                  std::string::npos)
            << line << '\n'
            << ending.error;
    }
    m_folder.store("commands", "read map32 0 --width 16\n");
    expectEnding(runProgram(RYNVELCTL_FOR_TESTS, words("run commands"), m_folder.path()), wrongUsage, "",
                 "commands:1: unknown option '--width' (the device type selects the register width; --type gives the "
                 "type of a remote device)");
}

TEST_F(WrongCommandLines, PrintOneLineForUnusualWords) {
    for (const std::string word : {"", "a b", "a\nb", "\x1b[31m", "\xff\xfe", "read map32"}) {
        expectOneLine({word}, wrongUsage);
        expectOneLine({"read", word, "0"}, wrongUsage);
        expectOneLine({"read", "map32", word}, wrongUsage);
        expectOneLine({"--timeout", word, "list"}, wrongUsage);
    }
}

TEST_F(WrongCommandLines, PrintOneLineForEmptyValues) {
    for (const std::string option : {"--remote", "--timeout", "--trace"}) {
        expectOneLine({option, "", "read", "map32", "0"}, wrongUsage);
        expectOneLine({option + "=", "read", "map32", "0"}, wrongUsage);
    }
    expectOneLine({"--remote", "127.0.0.1", "--type", "", "read", "map32", "0"}, wrongUsage);
    expectOneLine({"write", "map32", "0", "1", "--mask", ""}, wrongUsage);
    expectOneLine({"watch", "map32", "0", "--count", ""}, wrongUsage);
    expectOneLine({"wait", "map32", "--timeout", ""}, wrongUsage);
    expectOneLine({"irq", "map32", "type", ""}, wrongUsage);
}

TEST_F(WrongCommandLines, PrintOneLineForATooLongNameToPing) {
    expectOneLine({"--remote", "127.0.0.1", "ping", std::string(200, 'n')}, wrongUsage);
}

TEST_F(WrongCommandLines, PrintOneLineForADeadServer) {
    const TestPeer nobody(TestPeer::Start::Later);
    expectAll({{unreachable, remoteLines}}, {"--remote", nobody.address()});
    expectAll({{unreachable, {"read map32 0", "ping"}}}, {"--remote", "no-such-host.invalid"});
}

TEST_F(WrongCommandLines, PrintOneLineForASilentServer) {
    expectAllOfAServer(silence(), timedOut, {"--timeout", "20ms"});
}

TEST_F(WrongCommandLines, PrintOneLineForAServerThatRefuses) { expectAllOfAServer(refusal(), unreachable, {}, "ping"); }

TEST_F(WrongCommandLines, PrintOneLineForAServerThatClosesTheConnection) { expectAllOfAServer(closing(), unreachable); }

} // namespace
} // namespace RynvelTest
