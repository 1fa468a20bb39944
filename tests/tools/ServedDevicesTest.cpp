// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

constexpr std::size_t deviceCount = 14;

/** Runs the command that lists the devices of a server. By default, the server serves all devices. */
class ServedDevices : public testing::Test {
protected:
    Ending run(const std::string& line, const std::string& program = RYNVELCTL_FOR_TESTS) const {
        return runProgram(program, words("--remote " + m_peer.address() + ' ' + line), ".");
    }

    void expect(const std::string& line, int status, const std::string& output, const std::string& problem = "") const {
        expectEnding(run(line), status, output, problem, line);
    }

    TestPeer m_peer;
};

TEST_F(ServedDevices, AreTheDevicesThatTheServerOpens) {
    m_peer.script({success(), refusal()});
    const std::string refused = "refused (the server does not open the device)\n";
    expect("list", 0,
           "NAME         TYPE              WIDTH  SERVER\n"
           "file8        Lseek8            8      served\n"
           "file16       Lseek16           16     " +
               refused +
               "file32       Lseek32           32     served\n"
               "map16        Tyvon16           16     served\n"
               "map32        Tyvon32           32     served\n"
               "torn         Tyvon32           32     served\n"
               "sizeless     Tyvon32           32     served\n"
               "seek.irq16   TyvonInterrupt16  16     served\n"
               "spi          FpgaSpi32         32     served\n"
               "uio          Uio32             32     served\n"
               "folder       Lseek8            8      served\n"
               "missing      Lseek8            8      served\n"
               "missing.map  Tyvon32           32     served\n"
               "full         Lseek8            8      served\n");
}

TEST_F(ServedDevices, AreOnlyOpenedOverOneConnection) {
    run("list");
    const auto requests = m_peer.requests(deviceCount);
    ASSERT_EQ(requests.size(), deviceCount);
    for (const auto& request : requests) {
        EXPECT_EQ(request.connection, 0U);
        EXPECT_EQ(asRequest(request.bytes).getType(), Rynvel::RequestData::Type::Open);
    }
    EXPECT_EQ(std::string(requests[1].bytes.begin() + 4, requests[1].bytes.begin() + 11), std::string("file16\0", 7));
}

TEST_F(ServedDevices, ArePrintedAsNamesForScripts) {
    m_peer.script({refusal(), success()});
    m_peer.script(std::vector<Reply>(deviceCount - 2, refusal()));
    expect("--quiet list", 0, "file16\n");
}

TEST_F(ServedDevices, ArePrintedAsObjectsInJson) {
    m_peer.script({success(), refusal()});
    const std::string output = run("list --json").output;
    const std::string start = R"([{"name":"file8","backend":"Lseek8","width":8,"served":true},)"
                              R"({"name":"file16","backend":"Lseek16","width":16,"served":false,"asked":true,)"
                              R"("reason":"the server does not open the device"},)";
    EXPECT_EQ(output.substr(0, start.size()), start);
}

TEST_F(ServedDevices, HaveTheGivenType) {
    m_peer.script({success(), closing()});
    expect("list --type Uio16", 3, "NAME   TYPE   WIDTH  SERVER\nfile8  Uio16  16     served\n",
           m_peer.address() + ": the connection was closed");
}

TEST_F(ServedDevices, MayBeNone) {
    m_peer.script(std::vector<Reply>(2 * deviceCount, refusal()));
    expect("list --quiet", 0, "");
    const Ending ending = run("list");
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.output.find("served"), std::string::npos) << ending.output;
}

TEST_F(ServedDevices, AreNotThoseOfAnotherDeviceTable) {
    const Ending ending = run("list", RYNVELCTL_WITH_REPLACED_LIBRARY);
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.output.find("not asked (file16: librynvel has a different device table"), std::string::npos)
        << ending.output;
    EXPECT_NE(ending.output.find("file8        Lseek8            8      served\n"), std::string::npos) << ending.output;
    const std::string json = run("list --json", RYNVELCTL_WITH_REPLACED_LIBRARY).output;
    EXPECT_NE(json.find(R"({"name":"file16","backend":"Lseek16","width":16,"served":false,"asked":false,)"
                        R"("reason":"file16: librynvel has a different device table)"),
              std::string::npos)
        << json;
    const std::string names = '\n' + run("list --quiet", RYNVELCTL_WITH_REPLACED_LIBRARY).output;
    EXPECT_NE(names.find("\nfile8\n"), std::string::npos) << names;
    EXPECT_EQ(names.find("\nfile16\n"), std::string::npos) << names;
}

TEST_F(ServedDevices, AreListedUpToTheTimeOut) {
    m_peer.script({success(), refusal(), silence()});
    expect("--quiet list --timeout 300ms", 4, "file8\n", m_peer.address() + ": timed out after 300 ms");
    m_peer.script({silence()});
    expect("list -t 0.1s", 4, "", m_peer.address() + ": no answer within 100 ms");
}

TEST_F(ServedDevices, AreUnknownWithoutARegisterServer) {
    m_peer.script({success({1}), {{{1, 2, 3}}, true}});
    expect("list --quiet", 3, "file8\n", m_peer.address() + ": the connection was closed");
    const LoopbackListener nobody;
    const std::string address = "127.0.0.1::" + std::to_string(nobody.port());
    expectEnding(runProgram(RYNVELCTL_FOR_TESTS, words("list --remote " + address), "."), 3, "",
                 address + ": Connection refused");
}

/** The server that the environment names. */
class DefaultServer : public ServedDevices {
protected:
    Ending runWith(const std::string& server, const std::string& line) const {
        return runWithVariable("RYNVELCTL_REMOTE=" + server, RYNVELCTL_FOR_TESTS, words(line), m_folder.path());
    }

    void expectWith(const std::string& server, const std::string& line, int status, const std::string& output,
                    const std::string& problem = "") const {
        expectEnding(runWith(server, line), status, output, problem, server + ": " + line);
    }

    TestFolder m_folder;
};

TEST_F(DefaultServer, ComesFromTheEnvironment) {
    m_peer.script({success(), success({7})});
    expectWith(m_peer.address(), "read map32 4", 0, "map32 0x00000004 = 0x00000007\n");
    m_peer.script({refusal(), success()});
    m_peer.script(std::vector<Reply>(deviceCount - 2, refusal()));
    expectWith(m_peer.address(), "list --quiet", 0, "file16\n");
    m_peer.script({success(), success({7})});
    expectWith(m_peer.address(), "read other 4 --type Uio32", 0, "other 0x00000004 = 0x00000007\n");
}

TEST_F(DefaultServer, ComesFromTheCommandLineBeforeTheEnvironment) {
    m_peer.script({success(), success({7})});
    expectWith("127.0.0.1::1", "read map32 4 --remote " + m_peer.address(), 0, "map32 0x00000004 = 0x00000007\n");
    m_peer.script({success(), success({8})});
    expectWith("not:a:server", "read map32 4 -r " + m_peer.address(), 0, "map32 0x00000004 = 0x00000008\n");
}

TEST_F(DefaultServer, IsNotUsedWithLocal) {
    m_folder.store("map", std::string(4096, '\0'));
    for (const std::string& server : {m_peer.address(), std::string("not:a:server")}) {
        expectWith(server, "read map32 4 --local", 0, "map32 0x00000004 = 0x00000000\n");
        EXPECT_EQ(runWith(server, "--local list").output.substr(0, 19), "NAME         HANDLE");
        expectWith(server, "--local list --type Uio32", 2, "",
                   "list: --type applies only to the devices of a server (give --remote)");
        expectWith(server, "--local ping", 2, "",
                   "ping: the server is missing (give it with --remote, or in RYNVELCTL_REMOTE)");
    }
    expectWith("", "read map32 4", 0, "map32 0x00000004 = 0x00000000\n");
    expectWith("", "ping", 2, "", "ping: the server is missing (give it with --remote, or in RYNVELCTL_REMOTE)");
    expectWith("", "list --local --remote h", 2, "", "--remote excludes --local");
}

TEST_F(DefaultServer, IsNamedWithItsVariableIfItIsWrong) {
    expectWith("a:b:c", "read map32 0", 2, "",
               "RYNVELCTL_REMOTE: server address 'a:b:c' is not HOST, HOST:PORT, HOST::PORT or unix:/PATH");
    expectWith("h:0", "list", 2, "", "RYNVELCTL_REMOTE: port '0' is not a decimal number from 1 to 65535");
    expectWith(" ", "list", 2, "",
               "RYNVELCTL_REMOTE: server address ' ' is not HOST, HOST:PORT, HOST::PORT or unix:/PATH");
    expectWith("h:010", "ping", 2, "", "RYNVELCTL_REMOTE: port '010' has a leading zero (give 10)");
}

TEST_F(DefaultServer, DoesNotMatterToCommandsThatUseNoServer) {
    m_folder.store("a.svd", timerMap());
    m_folder.store("script", "# nothing\n");
    for (const std::string& server : {m_peer.address(), std::string("not:a:server")}) {
        EXPECT_EQ(runWith(server, "maps check a.svd").output,
                  runProgram(RYNVELCTL_FOR_TESTS, {"maps", "check", "a.svd"}, m_folder.path()).output);
        EXPECT_EQ(runWith(server, "maps list --map .").status, 0) << server;
        expectWith(server, "sleep 1ms", 0, "");
        expectWith(server, "run script", 0, "");
        EXPECT_EQ(runWith(server, "diff ./a.json ./b.json").error, "rynvelctl: ./b.json: No such file or directory\n");
    }
    expectWith(m_peer.address(), "maps list --type Uio32", 2, "",
               "maps list: --type is not supported (the command works only on this machine)");
}

} // namespace
} // namespace RynvelTest
