// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "CommandLine.h"
#include "Failure.h"
#include "PeerNetwork.h"
#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

using Rynvelctl::ExitStatus;

/** The status and the outputs of a command line. */
struct Outcome {
    ExitStatus status;
    std::string output;
    std::string error;
};

Outcome run(const std::string& line) {
    const Arguments arguments = words("rynvelctl " + line);
    std::vector<const char*> pointers;
    for (const std::string& word : arguments) {
        pointers.push_back(word.c_str());
    }
    Outcome outcome{ExitStatus::Done, "", ""};
    testing::internal::CaptureStdout();
    try {
        Rynvelctl::CommandLine().run(static_cast<int>(pointers.size()), pointers.data());
    } catch (const Rynvelctl::Failure& failure) {
        outcome = {failure.status(), "", failure.what()};
    }
    outcome.output = testing::internal::GetCapturedStdout();
    return outcome;
}

void expect(const std::string& line, ExitStatus status, const std::string& output, const std::string& error = "") {
    const Outcome outcome = run(line);
    EXPECT_EQ(outcome.status, status) << line;
    EXPECT_EQ(withoutTimes(outcome.output), output) << line;
    EXPECT_EQ(outcome.error, error) << line;
}

/** A fixture for remote devices in the device table of this machine. The test controls their server. */
class RemoteRows : public testing::Test {
protected:
    explicit RemoteRows(TestPeer::Start start = TestPeer::Start::AtOnce) : m_peer(start) {
        m_network.place("10.0.0.7:9000", m_peer.port());
    }

    TestPeer m_peer;
    PeerNetwork m_network;
};

TEST_F(RemoteRows, AreReadAndWrittenByTheirTypeAtTheServer) {
    m_peer.script({success(), success({7}), success(), success({8}), success()});
    expect("--type Uio32 read traf.remote.32 0x10", ExitStatus::Done, "traf.remote.32 0x00000010 = 0x00000007\n");
    expect("--type Lseek16 read traf.remote.16 0x10", ExitStatus::Done, "traf.remote.16 0x00000010 = 0x0008\n");
    expect("write traf.remote.8 0x11 9", ExitStatus::Done, "traf.remote.8 0x00000011 = 0x09\n");
    const auto requests = m_peer.requests(6);
    EXPECT_EQ(requests[1].bytes[135], 4);
    EXPECT_EQ(requests[3].bytes[135], 0x10);
    EXPECT_EQ(requests[5].bytes[135], 0x11);
}

TEST_F(RemoteRows, HaveOnlyAddress0WithoutTheirType) {
    m_peer.script({success(), success({7})});
    expect("read traf.remote.32 0", ExitStatus::Done, "traf.remote.32 0x00000000 = 0x00000007\n");
    expect("read traf.remote.32 4", ExitStatus::UsageError, "",
           "traf.remote.32: you can use only address 0, because the type on the server is unknown (give the type with "
           "--type)");
    expect("--type Uio16 read traf.remote.32 0", ExitStatus::UsageError, "",
           "traf.remote.32: type Uio16 has 16-bit registers (this Remote32 device needs 32 bits)");
}

TEST_F(RemoteRows, ReportWhatTheirServerRefuses) {
    m_peer.script({refusal(), success(), refusal(), success(), refusal(), success(), success(), refusal()});
    expect("read traf.remote.32 0", ExitStatus::Unreachable, "",
           "10.0.0.7::9000: the server refuses to open 'traf.remote.32'");
    expect("read traf.remote.32 0", ExitStatus::Failed, "",
           "traf.remote.32: reading 0x00000000 failed: the server refused the request");
    expect("--quiet info traf.remote.32", ExitStatus::Done,
           "traf.remote.32\n10.0.0.7::9000\nRemote32\n32\nnone\nnone\nnone\n");
    expect("wait traf.remote.32", ExitStatus::Failed, "",
           "traf.remote.32: the server does not report interrupts of this device");
}

TEST_F(RemoteRows, TimeOutWhenTheirServerStaysSilent) {
    for (const std::string line : {"read traf.remote.32 0", "info traf.remote.32", "wait traf.remote.32"}) {
        m_peer.script({silence()});
        expect(line + " --timeout 50ms", ExitStatus::TimedOut, "", "10.0.0.7::9000: no answer within 50 ms");
    }
}

TEST_F(RemoteRows, AreListedWithoutAFile) {
    expect("list", ExitStatus::Done,
           "NAME            HANDLE  PATH            TYPE      WIDTH  FILE\n"
           "traf.remote.8   0       10.0.0.7::9000  Remote8   8      remote\n"
           "traf.remote.16  1       10.0.0.7::9000  Remote16  16     remote\n"
           "traf.remote.32  2       10.0.0.7::9000  Remote32  32     remote\n"
           "usual.port      3       10.0.0.7        Remote8   8      remote\n"
           "far.remote      4       10.0.0.8::9000  Remote32  32     remote\n"
           "local           5       /dev/zero       Lseek8    8      present\n"
           "wrong.address   6       10.0.0.7:9000   Remote8   8      remote\n"
           "wrong.port      7       10.0.0.7::0     Remote8   8      remote\n");
    const std::string json = run("list --json").output;
    EXPECT_NE(json.find(R"("backend":"Remote8","width":8,"present":null})"), std::string::npos) << json;
}

TEST_F(RemoteRows, CannotBeUsedWithoutAValidAddress) {
    expect("read wrong.address 0", ExitStatus::UsageError, "",
           "wrong.address: server address '10.0.0.7:9000' is not HOST or HOST::PORT");
    expect("read wrong.port 0", ExitStatus::UsageError, "",
           "wrong.port: port '0' is not a decimal number from 1 to 65535");
}

class RemoteRowsOfADeadServer : public RemoteRows {
protected:
    RemoteRowsOfADeadServer() : RemoteRows(TestPeer::Start::Later) {}
};

TEST_F(RemoteRowsOfADeadServer, AreUnreachable) {
    for (const std::string line :
         {"read traf.remote.32 0", "info traf.remote.32", "wait traf.remote.32 --timeout 1s", "irq traf.remote.32 type",
          "write traf.remote.8 0 1", "dump traf.remote.8 0 4", "ioctl traf.remote.8 1 2"}) {
        expect(line, ExitStatus::Unreachable, "", "10.0.0.7::9000: Connection refused");
    }
}

} // namespace
} // namespace RynvelTest
