// SPDX-License-Identifier: MIT
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <utility>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Program.h"

namespace RynvelTest {
namespace {

/** A fixture for rynvelctl with devices that are files of the test. */
class LocalDevices : public testing::Test {
protected:
    LocalDevices() {
        std::string bytes(32, '\0');
        std::iota(bytes.begin(), bytes.end(), '\0');
        for (const std::string name : {"registers8", "registers16", "registers32"}) {
            m_folder.store(name, bytes);
        }
        m_folder.store("map", bytes.substr(0, 16) + std::string(4080, '\0'));
    }

    Ending run(const std::string& line) const { return start(line).wait(); }

    /** @param output the descriptor for standard output, or Program::toTheTest. */
    Program start(const std::string& line, int output = Program::toTheTest) const {
        return {RYNVELCTL_FOR_TESTS, words(line), m_folder.path(), output};
    }

    void expect(const std::string& line, int status, const std::string& output, const std::string& error = "") const {
        const Ending ending = run(line);
        EXPECT_EQ(ending.status, status) << line;
        EXPECT_EQ(withoutTimes(ending.output), output) << line;
        EXPECT_EQ(ending.error, error) << line;
    }

    /**
     * Returns the error text of the system for an ioctl request to a file. A user-mode emulator causes a different
     * text.
     */
    std::string refusal() const {
        const int file = open((m_folder.path() + "/map").c_str(), O_RDWR | O_CLOEXEC);
        EXPECT_EQ(ioctl(file, 0xEE7F, 0), -1);
        const std::string text = std::strerror(errno);
        close(file);
        return text;
    }

    TestFolder m_folder;
};

/** Counts how often a file is opened. */
class Openings {
public:
    explicit Openings(const std::string& path) : m_events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        // Also watches IN_CLOSE, because the kernel merges equal consecutive events.
        EXPECT_NE(inotify_add_watch(m_events, path.c_str(), IN_OPEN | IN_CLOSE), -1);
    }
    Openings(const Openings&) = delete;
    Openings& operator=(const Openings&) = delete;
    ~Openings() { close(m_events); }

    int count() const {
        int openings = 0;
        inotify_event event{};
        while (read(m_events, &event, sizeof(event)) == static_cast<ssize_t>(sizeof(event))) {
            openings += (event.mask & IN_OPEN) != 0 ? 1 : 0;
        }
        return openings;
    }

private:
    const int m_events;
};

// If the program opened a file twice, the second attempt could fail, and an assertion would then end the program.
TEST_F(LocalDevices, AreOpenedOnce) {
    for (const auto& [name, file] : {std::pair("file8", "/registers8"), std::pair("map32", "/map")}) {
        const Openings openings(m_folder.path() + file);
        EXPECT_EQ(run(std::string("read ") + name + " 0").status, 0);
        EXPECT_EQ(openings.count(), 1) << name;
    }
}

TEST_F(LocalDevices, AreListed) {
    expect("list", 0,
           "NAME         HANDLE  PATH               TYPE              WIDTH  FILE\n"
           "file8        0       registers8         Lseek8            8      present\n"
           "file16       1       registers16        Lseek16           16     present\n"
           "file32       2       registers32        Lseek32           32     present\n"
           "map16        3       map                Tyvon16           16     present\n"
           "map32        4       map                Tyvon32           32     present\n"
           "torn         5       map                Tyvon32           32     present\n"
           "sizeless     6       map                Tyvon32           32     present\n"
           "seek.irq16   7       registers16        TyvonInterrupt16  16     present\n"
           "spi          8       registers32        FpgaSpi32         32     present\n"
           "uio          9       uio_link           Uio32             32     missing\n"
           "folder       10      /                  Lseek8            8      present\n"
           "missing      11      nowhere/registers  Lseek8            8      missing\n"
           "missing.map  12      nowhere/map        Tyvon32           32     missing\n"
           "full         13      /dev/full          Lseek8            8      present\n");
    expect("list --quiet", 0,
           "file8\nfile16\nfile32\nmap16\nmap32\ntorn\nsizeless\nseek.irq16\nspi\nuio\nfolder\nmissing\nmissing.map\n"
           "full\n");
    const std::string json = run("--json list").output;
    EXPECT_EQ(json.substr(0, json.find("},") + 2),
              R"([{"name":"file8","handle":0,"path":"registers8","backend":"Lseek8","width":8,"present":true},)");
    EXPECT_EQ(json.substr(json.size() - 3), "}]\n");
}

TEST_F(LocalDevices, ShowPropertiesThatOnlyAnOpenDeviceHas) {
    expect("info file8", 0,
           "name:            file8\npath:            registers8\ntype:            Lseek8\nwidth:           8\n"
           "map size:        none\ninterrupt type:  none\ndescriptor:      3\n");
    expect("info file8 --quiet", 0, "file8\nregisters8\nLseek8\n8\nnone\nnone\n3\n");
    expect("info file8 --json", 0,
           R"({"name":"file8","path":"registers8","backend":"Lseek8","width":8,"mapSize":null,)"
           R"("interruptType":null,"descriptor":3})"
           "\n");
    expect("info map32", 1, "", "rynvelctl: map32: reading the interrupt type failed: " + refusal() + "\n");
}

TEST_F(LocalDevices, AreReadAtByteAddressesByEveryBackend) {
    expect("read file8 0x11", 0, "file8 0x00000011 = 0x11\n");
    expect("read file16 0x12", 0, "file16 0x00000012 = 0x1312\n");
    expect("read file32 0x14", 0, "file32 0x00000014 = 0x17161514\n");
    expect("read map16 0x6", 0, "map16 0x00000006 = 0x0706\n");
    expect("read map32 0b1000", 0, "map32 0x00000008 = 0x0b0a0908\n");
    expect("read seek.irq16 2", 0, "seek.irq16 0x00000002 = 0x0302\n");
}

TEST_F(LocalDevices, AreReadAtIndexesOnRequest) {
    expect("read file16 9 --index", 0, "file16 9 = 0x1312\n");
    expect("read map32 2 --index", 0, "map32 2 = 0x0b0a0908\n");
    expect("--json read map32 2 --index", 0, "{\"name\":\"map32\",\"index\":2,\"value\":185207048}\n");
}

TEST_F(LocalDevices, AreReadInAllFormats) {
    expect("read map32 8", 0, "map32 0x00000008 = 0x0b0a0908\n");
    expect("read map32 8 --quiet", 0, "0x0b0a0908\n");
    expect("read map32 8 --json", 0, "{\"name\":\"map32\",\"address\":8,\"value\":185207048}\n");
}

TEST_F(LocalDevices, AreWritten) {
    expect("write map32 8 0x12345678", 0, "map32 0x00000008 = 0x12345678\n");
    EXPECT_EQ(m_folder.load("map").substr(8, 4), "\x78\x56\x34\x12");
    expect("write file16 4 0xabcd --quiet", 0, "");
    EXPECT_EQ(m_folder.load("registers16").substr(4, 2), "\xcd\xab");
    expect("write file8 31 255 --json", 0, "{\"name\":\"file8\",\"address\":31,\"value\":255}\n");
    EXPECT_EQ(m_folder.load("registers8").substr(31), "\xff");
    expect("write file8 0 1 --verify", 0, "file8 0x00000000 = 0x01\n");
}

TEST_F(LocalDevices, AreWrittenUnderAMask) {
    expect("write map32 8 0xffffffff --mask 0x0000ff00 --verify", 0,
           "map32 0x00000008 = 0x0000ff00 with mask 0x0000ff00\n");
    EXPECT_EQ(m_folder.load("map").substr(8, 4), "\x08\xff\x0a\x0b");
    expect("write file8 1 0xf0 --mask 0b11110000 --json", 0,
           "{\"name\":\"file8\",\"address\":1,\"value\":240,\"mask\":240}\n");
    EXPECT_EQ(m_folder.load("registers8").substr(1, 1), "\xf1");
}

TEST_F(LocalDevices, AreReportedWithTheWrittenBitsOnly) {
    expect("write file8 0 0xff --mask 0x0f --json", 0, "{\"name\":\"file8\",\"address\":0,\"value\":15,\"mask\":15}\n");
    EXPECT_EQ(m_folder.load("registers8").substr(0, 1), "\x0f");
    expect("write file8 0 0xff --mask 0x0f --quiet", 0, "");
}

TEST_F(LocalDevices, AreReadBackWhenAWriteIsVerified) {
    expect("write full 0 5 --verify", 1, "", "rynvelctl: full: writing 0x00000000 failed: No space left on device\n");
    m_folder.store("registers8", "");
    unlink((m_folder.path() + "/registers8").c_str());
    ASSERT_EQ(symlink("/dev/zero", (m_folder.path() + "/registers8").c_str()), 0);
    expect("write file8 3 5", 0, "file8 0x00000003 = 0x05\n");
    expect("write file8 3 5 --verify", 1, "", "rynvelctl: file8: 0x00000003 holds 0x00 after 0x05 was written\n");
    expect("write file8 3 5 --mask 0xf0 --verify", 0, "file8 0x00000003 = 0x00 with mask 0xf0\n");
    expect("write file8 3 0x15 --mask 0x0f --verify", 1, "",
           "rynvelctl: file8: 0x00000003 holds 0x00 after 0x05 was written with mask 0x0f\n");
}

TEST_F(LocalDevices, AreDumped) {
    expect("dump file8 4 18", 0, "0x00000004: 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12 13\n0x00000014: 14 15\n");
    expect("dump map32 0 5", 0, "0x00000000: 03020100 07060504 0b0a0908 0f0e0d0c\n0x00000010: 00000000\n");
    expect("dump map32 1 2 --index", 0, "1: 07060504 0b0a0908\n");
    expect("dump map16 0 2 --quiet", 0, "0x0100\n0x0302\n");
    expect("dump map16 0 2 --json", 0,
           R"({"name":"map16","address":0,"width":16,"order":"host","values":[256,770]})"
           "\n");
}

TEST_F(LocalDevices, AreDumpedInEitherByteOrderOneByOneAndInABurst) {
    for (const std::string how : {"", " --burst"}) {
        expect("dump map32 0 2 --order network" + how, 0, "0x00000000: 00010203 04050607\n");
        expect("dump map32 0 2 --order host" + how, 0, "0x00000000: 03020100 07060504\n");
        expect("dump map16 0 2 --order network" + how, 0, "0x00000000: 0001 0203\n");
        expect("dump file8 0 2 --order network" + how, 0, "0x00000000: 00 01\n");
    }
}

TEST_F(LocalDevices, AreDumpedUpToTheirEnd) {
    expect("dump file8 26 10", 1, "0x0000001a: 1a 1b 1c 1d 1e 1f\n", "rynvelctl: file8: reading 0x00000020 failed\n");
    expect("dump file8 26 10 --quiet", 1, "0x1a\n0x1b\n0x1c\n0x1d\n0x1e\n0x1f\n",
           "rynvelctl: file8: reading 0x00000020 failed\n");
    expect("dump file8 30 10 --json", 1,
           R"({"name":"file8","address":30,"width":8,"order":"host","values":[30,31]})"
           "\n",
           "rynvelctl: file8: reading 0x00000020 failed\n");
    expect("dump file8 32 10", 1, "", "rynvelctl: file8: reading 0x00000020 failed\n");
    expect("dump file8 26 10 --burst", 1, "", "rynvelctl: file8: reading a burst from 0x0000001a failed\n");
}

TEST_F(LocalDevices, AreNotDumpedInABurstThatTheLibraryCannotReport) {
    expect("dump file16 0 2 --burst", 2, "",
           "rynvelctl: file16: the library reports every burst from a device of type Lseek16 as failed (leave out "
           "--burst)\n");
}

TEST_F(LocalDevices, AreFilled) {
    expect("fill map16 2 3 0xabcd", 0, "map16 0x00000002 = 0xabcd in 3 registers\n");
    EXPECT_EQ(m_folder.load("map").substr(0, 10), std::string("\0\1\xcd\xab\xcd\xab\xcd\xab\x08\x09", 10));
    expect("fill file8 0 2 1 --quiet", 0, "");
    expect("fill file8 0 2 1 --json", 0, "{\"name\":\"file8\",\"address\":0,\"count\":2,\"value\":1}\n");
}

TEST_F(LocalDevices, AreFilledInsideTheMapOnly) {
    expect("fill map32 0xff8 3 1", 2, "",
           "rynvelctl: map32: 3 registers from 0x00000ff8 extend beyond the map of 4096 bytes\n");
    EXPECT_EQ(m_folder.load("map").substr(0xff8), std::string(8, '\0'));
}

TEST_F(LocalDevices, AreWatchedForTheGivenCount) {
    expect("watch map32 0 4 --interval 1ms --count 3", 0,
           "TIME map32 0x00000000 = 0x03020100\nTIME map32 0x00000004 = 0x07060504\n");
    expect("watch map32 0 --interval 1ms --count 2 --quiet", 0, "0x00000000 0x03020100\n");
    expect("watch map32 0 --count 1 --json", 0,
           "{\"name\":\"map32\",\"address\":0,\"value\":50462976,\"time\":\"TIME\"}\n");
}

TEST_F(LocalDevices, AreWatchedUntilTheTimeOut) {
    // A loaded emulator takes a tenth of a second to start the program.
    for (const std::string line : {"watch map32 0 --interval 1m --timeout 500ms", "--timeout 500ms watch map32 0"}) {
        expect(line, 4, "TIME map32 0x00000000 = 0x03020100\n", "rynvelctl: map32: timed out after 500 ms\n");
    }
}

TEST_F(LocalDevices, AreWatchedForChanges) {
    Program program = start("watch map32 0 4 --interval 1ms");
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME map32 0x00000000 = 0x03020100");
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME map32 0x00000004 = 0x07060504");
    expect("write map32 4 1", 0, "map32 0x00000004 = 0x00000001\n");
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME map32 0x00000004 = 0x00000001");
    program.signal(SIGINT);
    expectEnding(program.wait(), -SIGINT, "");
}

TEST_F(LocalDevices, TimeOutWhenStandardOutputBlocks) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
    Program program = start("--timeout 200ms dump map32 0 1024", ends[1]);
    const Ending ending = program.wait();
    EXPECT_EQ(ending.status, 4);
    EXPECT_EQ(ending.error, "rynvelctl: standard output: timed out after 200 ms\n");
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(LocalDevices, EndAWatchWhenTheOutputHasNoReader) {
    Program program = start("watch map32 0 --interval 1m");
    EXPECT_NE(program.outputLine(), "");
    program.closeOutput();
    expectEnding(program.wait(), 0, "");
}

TEST_F(LocalDevices, EndAWatchWhenThePeerOfASocketIsGone) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    Program program = start("watch map32 0 --interval 1m", ends[1]);
    close(ends[1]);
    char first = 0;
    ASSERT_EQ(::read(ends[0], &first, 1), 1);
    close(ends[0]);
    EXPECT_EQ(program.wait().status, 0);
}

TEST_F(LocalDevices, AreNotOpenedAsAStandardStreamThatIsClosed) {
    if (!std::string(RYNVEL_EMULATOR).empty()) {
        GTEST_SKIP() << "an emulator opens its own files in place of closed standard streams";
    }
    expect("write file8 0 0x11", 0, "file8 0x00000000 = 0x11\n");
    expect("write file8 1 0x22", 0, "file8 0x00000001 = 0x22\n");
    for (const std::string closed : {">&-", "2>&-", "<&- >&- 2>&-"}) {
        const std::string line = "exec \"$0\" --trace Rynvel.Lseek=7 read file8 0 " + closed;
        runProgram("/bin/sh", {"-c", line, RYNVELCTL_FOR_TESTS}, m_folder.path());
        expect("dump file8 0 2 --quiet", 0, "0x11\n0x22\n");
    }
}

TEST_F(LocalDevices, LeaveTheTerminalAsItIsWhenAWatchIsInterrupted) {
    const int controller = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(grantpt(controller) + unlockpt(controller), 0);
    const int terminal = open(ptsname(controller), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_NE(terminal, -1);
    termios before{};
    ASSERT_EQ(tcgetattr(terminal, &before), 0);
    Program program = start("watch map32 0 --interval 1m", terminal);
    char first = 0;
    ASSERT_EQ(::read(controller, &first, 1), 1);
    program.signal(SIGINT);
    EXPECT_EQ(program.wait().status, -SIGINT);
    termios after{};
    ASSERT_EQ(tcgetattr(terminal, &after), 0);
    EXPECT_EQ(before.c_lflag, after.c_lflag);
    EXPECT_EQ(before.c_iflag, after.c_iflag);
    EXPECT_EQ(before.c_oflag, after.c_oflag);
    close(terminal);
    close(controller);
}

TEST_F(LocalDevices, EndSilentlyWhenStandardOutputHasNoReader) {
    for (const std::string line : {"list", "read map32 0", "dump map32 0 1024", "--help", "watch map32 0"}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        const Ending ending = start(line, ends[1]).wait();
        expectEnding(ending, 0, "", "", line);
        close(ends[1]);
    }
}

TEST_F(LocalDevices, ReportAFailureOfStandardOutput) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    for (const std::string line : {"list", "--help", "--version"}) {
        const Ending ending = start(line, full).wait();
        EXPECT_EQ(ending.status, 1) << line;
        EXPECT_EQ(ending.error, "rynvelctl: standard output: No space left on device\n") << line;
    }
    close(full);
}

TEST_F(LocalDevices, ReportABusErrorWithTheAddress) {
    expect("read torn 0x1000", 1, "", "rynvelctl: torn: reading 0x00001000 caused a bus error\n");
    expect("write torn 0x1004 1", 1, "", "rynvelctl: torn: writing 0x00001004 caused a bus error\n");
    expect("write torn 0x1004 1 --mask 1", 1, "", "rynvelctl: torn: writing 0x00001004 caused a bus error\n");
    expect("dump torn 0xff8 4", 1, "0x00000ff8: 00000000 00000000\n",
           "rynvelctl: torn: reading 0x00001000 caused a bus error\n");
    expect("dump torn 0xff8 4 --burst", 1, "", "rynvelctl: torn: reading a burst from 0x00000ff8 caused a bus error\n");
    expect("fill torn 0x1000 1 1", 1, "", "rynvelctl: torn: writing 0x00001000 caused a bus error\n");
    expect("watch torn 0x1000", 1, "", "rynvelctl: torn: reading 0x00001000 caused a bus error\n");
}

TEST_F(LocalDevices, SayWhyTheirDriverFails) {
    expect("ioctl file8 0xee7f 2", 1, "", "rynvelctl: file8: the ioctl request failed: " + refusal() + "\n");
    expect("read file8 32", 1, "", "rynvelctl: file8: reading 0x00000020 failed\n");
    expect("irq map32 enable", 1, "", "rynvelctl: map32: enabling the interrupt failed: " + refusal() + "\n");
    expect("irq map32 disable", 1, "", "rynvelctl: map32: disabling the interrupt failed: " + refusal() + "\n");
    expect("irq map32 raise", 2, "",
           "rynvelctl: map32: raise works only with a server that runs with --simulate (use --remote with such a "
           "server)\n");
    expect("wait seek.irq16 --timeout 1s", 1, "",
           "rynvelctl: seek.irq16: enabling the interrupt failed: " + refusal() + "\n");
    expect("read spi 0", 1, "", "rynvelctl: spi: reading 0x00000000 failed: " + refusal() + "\n");
}

TEST_F(LocalDevices, SayWhyTheyCannotBeOpened) {
    expect("read missing 0", 3, "", "rynvelctl: missing: nowhere/registers: No such file or directory\n");
    expect("read missing.map 0", 3, "", "rynvelctl: missing.map: nowhere/map: No such file or directory\n");
    expect("read folder 0", 3, "", "rynvelctl: folder: /: Is a directory\n");
    expect("read sizeless 0", 3, "",
           "rynvelctl: sizeless: map: the size of the map is 0 (give the size in bytes in the device table)\n");
    expect("read uio 0", 3, "", "rynvelctl: uio: uio_link: No such file or directory\n");
    m_folder.store("uio_link", "");
    expect("read uio 0", 3, "",
           "rynvelctl: uio: uio_link: sysfs describes no memory map (the path must be a symbolic link to a bare name "
           "such as uio0)\n");
}

TEST_F(LocalDevices, TraceTheRequestedChannels) {
    const Ending ending = run("--trace Rynvel.Lseek=6 read file8 1");
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "file8 0x00000001 = 0x01\n");
    EXPECT_NE(ending.error.find("Rynvel.Lseek 6 ENTER"), std::string::npos);
    EXPECT_NE(ending.error.find("read: Hex(address)=0x00000001"), std::string::npos);
    EXPECT_EQ(ending.error.find("Rynvel.PthreadMutex"), std::string::npos);
}

TEST_F(LocalDevices, TraceTheChannelsOfSeveralOptions) {
    const Ending ending = run("read --trace Rynvel.Lseek=6 --trace Rynvel.PthreadMutex=6 file8 1");
    EXPECT_EQ(ending.output, "file8 0x00000001 = 0x01\n");
    EXPECT_NE(ending.error.find("Rynvel.Lseek 6 ENTER"), std::string::npos);
    EXPECT_NE(ending.error.find("Rynvel.PthreadMutex"), std::string::npos);
    expect("irq --trace Rynvel.*=0 nothing type", 2, "",
           "rynvelctl: nothing: not a device of this machine ('rynvelctl list' shows the names)\n");
}

TEST_F(LocalDevices, ListTheChannelsWhenATraceMatchesNone) {
    const Ending ending = run("--trace Rynvel.Lsek=6 read file8 1");
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.output, "");
    EXPECT_EQ(
        ending.error.find("rynvelctl: --trace: 'Rynvel.Lsek=6' matches no channel (the channels are Rynvel.Client, "),
        0U)
        << ending.error;
    EXPECT_NE(ending.error.find(", Rynvel.Lseek, "), std::string::npos) << ending.error;
}

TEST_F(LocalDevices, SuggestTheMostSimilarCommand) {
    expect("rea map32 0", 2, "", "rynvelctl: unknown command 'rea' (did you mean 'read'?)\n");
    expect("wiat map32", 2, "", "rynvelctl: unknown command 'wiat' (did you mean 'wait'?)\n");
    expect("--tiemout 1s read map32 0", 2, "", "rynvelctl: unknown option '--tiemout' (--help lists the options)\n");
    expect("frobnicate map32 0", 2, "", "rynvelctl: unknown command 'frobnicate' (--help lists the commands)\n");
}

TEST_F(LocalDevices, PrintHelpAndVersionToStandardOutput) {
    EXPECT_EQ(run("--version").output, "rynvelctl " RYNVEL_PROJECT_VERSION "\n");
    for (const std::string line : {"--help", "read --help", "-h", "wait -h"}) {
        const Ending ending = run(line);
        EXPECT_EQ(ending.status, 0) << line;
        EXPECT_NE(ending.output.find("Usage: rynvelctl"), std::string::npos) << line;
        EXPECT_EQ(ending.error, "") << line;
    }
}

TEST_F(LocalDevices, AcceptAnArgumentWithTheNameOfACommand) {
    expect("read list 0", 2, "", "rynvelctl: list: not a device of this machine ('rynvelctl list' shows the names)\n");
}

} // namespace
} // namespace RynvelTest
