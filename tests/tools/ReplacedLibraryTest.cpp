// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Program.h"

namespace RynvelTest {
namespace {

/** Returns the message about a device whose rows differ between the program and the library. */
std::string mismatch(const std::string& device, const std::string& difference) {
    return device + ": librynvel has a different device table: " + difference +
           " (install the librynvel that was built with this program)";
}

/** A fixture for programs with the table of devices.def, and a library with the table of replaced_devices.def. */
class ReplacedLibrary : public testing::Test {
protected:
    ReplacedLibrary() {
        for (const char* const name : {"registers8", "registers16", "registers32", "map", "elsewhere"}) {
            m_folder.store(name, m_content);
        }
    }

    Ending run(const std::string& line) const {
        return runProgram(RYNVELCTL_WITH_REPLACED_LIBRARY, words(line), m_folder.path());
    }

    /** Expects one error line with the difference between the tables, and no access to a device. */
    void expectRefusal(const std::string& line, const std::string& difference) const {
        const Ending ending = run(line);
        EXPECT_EQ(ending.status, 1) << line;
        EXPECT_EQ(ending.output, "") << line;
        EXPECT_EQ(ending.error, "rynvelctl: " + difference + '\n') << line;
        EXPECT_EQ(m_folder.load("registers32"), m_content);
        EXPECT_EQ(m_folder.load("map"), m_content);
    }

    const std::string m_content = std::string(16, '\x5A');
    const TestFolder m_folder;
};

TEST_F(ReplacedLibrary, ServesTheDevicesOnWhichItAgrees) {
    const Ending ending = run("read file8 0");
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output, "file8 0x00000000 = 0x5a\n");
    EXPECT_EQ(ending.error, "");
    EXPECT_EQ(run("info missing").error, "rynvelctl: missing: nowhere/registers: No such file or directory\n");
}

TEST_F(ReplacedLibrary, IsRefusedForADeviceWhoseRowsDiffer) {
    expectRefusal("write map32 0 1", mismatch("map32", "type Tyvon16 instead of Tyvon32"));
    expectRefusal("write file32 0 1", mismatch("file32", "path 'registers16' instead of 'registers32'"));
    expectRefusal("info map16", mismatch("map16", "size 8192 instead of 4096"));
    expectRefusal("dump spi 0 1", mismatch("spi", "offset 4 instead of 0"));
}

TEST_F(ReplacedLibrary, IsRefusedWithEveryDifferenceInOneLine) {
    expectRefusal("read sizeless 0",
                  mismatch("sizeless",
                           "type Tyvon16 instead of Tyvon32, path 'elsewhere' instead of 'map', size 16 instead of 0"));
}

TEST_F(ReplacedLibrary, IsRefusedForADeviceThatItDoesNotHave) {
    expectRefusal("read file16 0", mismatch("file16", "the device is missing"));
}

TEST_F(ReplacedLibrary, IsRefusedForTheTypeOfADeviceAtAServer) {
    expectRefusal("--remote 127.0.0.1:1 read map32 0", mismatch("map32", "type Tyvon16 instead of Tyvon32"));
}

TEST_F(ReplacedLibrary, OmitsTheRowsThatDifferFromTheList) {
    const Ending ending = run("list");
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.output, "NAME        HANDLE  PATH         TYPE              WIDTH  FILE\n"
                             "file8       0       registers8   Lseek8            8      present\n"
                             "torn        5       map          Tyvon32           32     present\n"
                             "seek.irq16  7       registers16  TyvonInterrupt16  16     present\n"
                             "uio         9       uio_link     Uio32             32     missing\n"
                             "folder      10      /            Lseek8            8      present\n"
                             "full        13      /dev/full    Lseek8            8      present\n");
    const auto line = [](const std::string& device, const std::string& difference) {
        return "rynvelctl: " + mismatch(device, difference) + '\n';
    };
    EXPECT_EQ(ending.error,
              line("file16", "the device is missing") + line("file32", "path 'registers16' instead of 'registers32'") +
                  line("map16", "size 8192 instead of 4096") + line("map32", "type Tyvon16 instead of Tyvon32") +
                  line("sizeless", "type Tyvon16 instead of Tyvon32, path 'elsewhere' instead of 'map', size 16 "
                                   "instead of 0") +
                  line("spi", "offset 4 instead of 0") + line("missing", "handle 12 instead of 11") +
                  line("missing.map", "handle 11 instead of 12") + "rynvelctl: 8 devices are not listed\n");
}

/** A fixture for a register server whose library has been replaced. */
class ReplacedLibraryOfServer : public ReplacedLibrary {
protected:
    /** Returns the port in the first line of a server. */
    static std::string portIn(const std::string& banner) {
        const std::string start = "rynveld: listening on 127.0.0.1:";
        EXPECT_EQ(banner.substr(0, start.size()), start);
        return banner.substr(start.size(), banner.find(',') - start.size());
    }
};

TEST_F(ReplacedLibraryOfServer, ServesTheDevicesOnWhichItAgrees) {
    Program server(RYNVELD_WITH_REPLACED_LIBRARY, {"--listen", "127.0.0.1:0"}, m_folder.path());
    const std::string remote = "--remote 127.0.0.1:" + portIn(server.errorLine());
    EXPECT_EQ(run(remote + " read file8 0").output, "file8 0x00000000 = 0x5a\n");
    const Ending refused = run(remote + " --type Tyvon32 read map32 0");
    ASSERT_EQ(refused.status, 3);
    const std::string trace = server.errorLine();
    EXPECT_NE(trace.find("Device \"map32\" cannot be opened for 127.0.0.1:"), std::string::npos) << trace;
    EXPECT_NE(trace.find(": " + mismatch("map32", "type Tyvon16 instead of Tyvon32") + '.'), std::string::npos)
        << trace;
}

TEST_F(ReplacedLibraryOfServer, PreventsTheStartForADeviceOnWhichItDisagrees) {
    Program server(RYNVELD_WITH_REPLACED_LIBRARY, {"--listen", "127.0.0.1:0", "--device", "file8", "--device", "map32"},
                   m_folder.path());
    ASSERT_EQ(server.errorLine(), "rynveld: " + mismatch("map32", "type Tyvon16 instead of Tyvon32"));
    EXPECT_EQ(server.wait().status, 1);
}

} // namespace
} // namespace RynvelTest
