// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <algorithm>
#include <cstring>
#include <type_traits>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "LoopbackListener.h"
#include "NothingTraced.h"
#include "ScriptedOs.h"
#include "TraceRecorder.h"

namespace {

using Rynvel::Connection;
using Rynvel::RemoteDeviceConnection;
using Rynvel::RynvelIpAddress;
using namespace RynvelTest;

// The calls and the traces of connecting to the scripted server.
const std::string makingSocket = "socket(2, 1, 0)";
const std::string connecting = "connect(7, 10.0.0.7:9000, 16)";
const std::string channel = "Rynvel.RemoteDeviceConnection ";
const std::string entry = channel + "6 connectToServer ENTER";
const std::string failedOnce = channel + "2 connectToServer: Connection Failed to 10.0.0.7 at port 9000";
const std::string failedAt = channel + "1 connect: Connection failed to 10.0.0.7 at port 9000 at attempt ";
const std::string succeededAt = channel + "3 connect: Connection succeeded to 10.0.0.7 at port 9000 at attempt ";

/** A scripted operating system whose resolver finds some hosts. */
class NetworkTest : public testing::Test {
protected:
    NetworkTest() {
        m_os.hosts = {{"server", {10, 0, 0, 7}}, {"192.168.1.20", {192, 168, 1, 20}}, {"high", {255, 254, 128, 1}}};
    }

    const TraceRecorder m_silence{0};
    ScriptedOs m_os;
};

using RynvelIpAddressTest = NetworkTest;

TEST_F(RynvelIpAddressTest, IsTheAddressThatTheResolverReturns) {
    EXPECT_EQ(RynvelIpAddress("server", 1).getIpAddress(), "10.0.0.7");
    EXPECT_EQ(RynvelIpAddress("192.168.1.20", 1).getIpAddress(), "192.168.1.20");
    EXPECT_EQ(RynvelIpAddress("high", 1).getIpAddress(), "255.254.128.1");
    EXPECT_EQ(RynvelIpAddress("", 1).getIpAddress(), "0.0.0.0");
    EXPECT_EQ(m_os.log(), (EventLog{"gethostbyname(server)", "gethostbyname(192.168.1.20)", "gethostbyname(high)",
                                    "gethostbyname()"}));
}

TEST_F(RynvelIpAddressTest, ReturnsThePortUnchanged) {
    for (const std::uint16_t port : std::vector<std::uint16_t>{0, 1, 0x1234, 8888, 65535}) {
        EXPECT_EQ(RynvelIpAddress("server", port).getIpPort(), port);
    }
}

TEST_F(RynvelIpAddressTest, IsASocketAddressOfTheSystem) {
    RynvelIpAddress address("server", 0x1234);
    EXPECT_EQ(address.size(), 16U);
    sockaddr_in expected{};
    expected.sin_family = AF_INET;
    expected.sin_port = htons(0x1234);
    expected.sin_addr.s_addr = htonl(0x0A000007);
    sockaddr* const generic = address;
    EXPECT_EQ(std::memcmp(generic, &expected, sizeof(expected)), 0);
    EXPECT_EQ(sizeof(RynvelIpAddress), sizeof(sockaddr_in));
}

TEST_F(RynvelIpAddressTest, StaysZeroSilentlyWhenTheNameCannotBeResolved) {
    const NothingTraced nothingTraced(7);
    const RynvelIpAddress address("nobody", 9000);
    EXPECT_EQ(address.getIpAddress(), "0.0.0.0");
    EXPECT_EQ(address.getIpPort(), 9000);
}

TEST_F(RynvelIpAddressTest, CopiesTheBytesThatTheResolverReturnsButNoMoreThanFit) {
    m_os.hosts = {{"short", {10, 1}}, {"long", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}};
    EXPECT_EQ(RynvelIpAddress("short", 1).getIpAddress(), "10.1.0.0");
    EXPECT_EQ(RynvelIpAddress("long", 1).getIpAddress(), "1.2.3.4");
}

class RemoteDeviceConnectionTest : public NetworkTest {
protected:
    RemoteDeviceConnectionTest() { m_os.log().clear(); }

    RemoteDeviceConnection m_connection{"server", 9000};
};

TEST_F(RemoteDeviceConnectionTest, ResolvesTheServerButHasNoSocketWhenItIsConstructed) {
    ScriptedOs os;
    os.hosts = m_os.hosts;
    const TraceRecorder recorder(7);
    const RemoteDeviceConnection connection("192.168.1.20", 8888);
    EXPECT_EQ(connection.getSocketDescriptor(), -1);
    EXPECT_EQ(connection.getIpAddress().getIpAddress(), "192.168.1.20");
    EXPECT_EQ(connection.getIpAddress().getIpPort(), 8888);
    EXPECT_EQ(&connection.getIpAddress(), &connection.getIpAddress());
    EXPECT_EQ(os.log(), EventLog{"gethostbyname(192.168.1.20)"});
    ASSERT_EQ(recorder.lines(), EventLog{channel + "6 RemoteDeviceConnection ENTER"});
    EXPECT_FALSE(recorder.traces()[0].hasText);
    EXPECT_EQ(recorder.traces()[0].option, 256);
    EXPECT_EQ(recorder.traces()[0].file, "cppsrc/RemoteDeviceConnection");
}

TEST_F(RemoteDeviceConnectionTest, IsAConnectionThatIsClosedByItsOwnOperation) {
    EXPECT_TRUE((std::is_base_of_v<Connection, RemoteDeviceConnection>));
    m_connection.connectToServer();
    m_os.log().clear();
    const TraceRecorder recorder(7, "*", &m_os.log());
    static_cast<Rynvel::IConnection&>(m_connection).close();
    EXPECT_EQ(m_os.log(), (EventLog{channel + "6 close ENTER", "close(7)"}));
    EXPECT_EQ(m_connection.getSocketDescriptor(), -1);
}

TEST_F(RemoteDeviceConnectionTest, ConnectsAFreshSocketOfAnyDescriptorWithoutSettingAnyOptions) {
    for (const int descriptor : {7, 0}) {
        m_os.script(Call::Socket, {answering(descriptor)});
        EXPECT_EQ(m_connection.connectToServer(), 0);
        EXPECT_EQ(m_os.takeLog(),
                  (EventLog{makingSocket, "connect(" + std::to_string(descriptor) + ", 10.0.0.7:9000, 16)"}));
        EXPECT_EQ(m_connection.getSocketDescriptor(), descriptor);
    }
}

TEST_F(RemoteDeviceConnectionTest, HasNoSocketAfterAnyFailureToConnect) {
    for (const int error : {ECONNREFUSED, EINTR, EINPROGRESS, EISCONN}) {
        m_os.script(Call::Connect, {failing(error)});
        EXPECT_EQ(m_connection.connectToServer(), -1);
        EXPECT_EQ(m_connection.getSocketDescriptor(), -1);
        EXPECT_EQ(m_os.takeLog(), (EventLog{makingSocket, connecting, "close(7)"}));
    }
}

TEST_F(RemoteDeviceConnectionTest, TracesAFailedAttemptBeforeItClosesTheSocket) {
    const TraceRecorder recorder(6, "*", &m_os.log());
    m_os.script(Call::Connect, {failing(ECONNREFUSED)});
    EXPECT_EQ(m_connection.connectToServer(), -1);
    EXPECT_EQ(m_os.log(),
              (EventLog{entry, makingSocket, connecting, failedOnce, channel + "6 close ENTER", "close(7)"}));
}

TEST_F(RemoteDeviceConnectionTest, KeepsTheNegativeResultOfAFailedSocketCall) {
    for (const int result : {-1, -5}) {
        const TraceRecorder recorder(2);
        m_os.script(Call::Socket, {answering(result)});
        EXPECT_EQ(m_connection.connectToServer(), -1);
        EXPECT_EQ(m_connection.getSocketDescriptor(), result);
        EXPECT_EQ(m_os.takeLog(), EventLog{makingSocket});
        EXPECT_EQ(recorder.lines(), EventLog{channel + "2 connectToServer: Socket creation error "});
        m_connection.close();
        EXPECT_EQ(m_connection.getSocketDescriptor(), result);
        EXPECT_EQ(m_os.log(), EventLog{});
    }
}

TEST_F(RemoteDeviceConnectionTest, TracesNoFailedAttemptBelowLevelTwo) {
    const NothingTraced nothingTraced(1);
    m_os.script(Call::Socket, {failing(EMFILE), asUsual});
    m_os.script(Call::Connect, {failing(ECONNREFUSED)});
    EXPECT_EQ(m_connection.connectToServer(), -1);
    EXPECT_EQ(m_connection.connectToServer(), -1);
}

TEST_F(RemoteDeviceConnectionTest, SleepsOnceForThreeSecondsAlsoWhenASignalEndsTheSleepEarly) {
    const NothingTraced nothingTraced(7);
    for (const long left : {0, 2}) {
        m_os.script(Call::Sleep, {answering(left)});
        m_connection.connectInterval3sec();
        EXPECT_EQ(m_os.takeLog(), EventLog{"sleep(3)"});
    }
}

TEST_F(RemoteDeviceConnectionTest, ConnectsWithoutSleepingToAServerThatListens) {
    const TraceRecorder recorder(6, "*", &m_os.log());
    m_connection.connect();
    EXPECT_EQ(m_os.log(), (EventLog{channel + "6 connect ENTER", entry, makingSocket, connecting, succeededAt + "1"}));
}

TEST_F(RemoteDeviceConnectionTest, TracesNothingBetweenTwoAttemptsButTheirFailure) {
    const TraceRecorder recorder(7);
    m_os.script(Call::Connect, {failing(ECONNREFUSED)});
    m_connection.connect();
    EXPECT_EQ(recorder.lines(), (EventLog{channel + "6 connect ENTER", entry, failedOnce, channel + "6 close ENTER",
                                          entry, succeededAt + "2"}));
}

TEST_F(RemoteDeviceConnectionTest, ForgetsASocketThatItHasWhenItConnectsAgain) {
    m_connection.connect();
    m_os.log().clear();
    m_os.script(Call::Socket, {answering(8)});
    m_connection.connect();
    EXPECT_EQ(m_os.log(), (EventLog{makingSocket, "connect(8, 10.0.0.7:9000, 16)"}));
    EXPECT_EQ(m_connection.getSocketDescriptor(), 8);
}

TEST_F(RemoteDeviceConnectionTest, TriesANewSocketEveryThreeSecondsUntilTheServerListens) {
    m_os.script(Call::Socket, {answering(7), answering(8), answering(9)});
    m_os.script(Call::Connect, {failing(ECONNREFUSED), failing(ETIMEDOUT), asUsual});
    m_connection.connect();
    EXPECT_EQ(m_os.log(),
              (EventLog{makingSocket, connecting, "close(7)", "sleep(3)", makingSocket, "connect(8, 10.0.0.7:9000, 16)",
                        "close(8)", "sleep(3)", makingSocket, "connect(9, 10.0.0.7:9000, 16)"}));
    EXPECT_EQ(m_connection.getSocketDescriptor(), 9);
}

TEST_F(RemoteDeviceConnectionTest, ReachesAServerThatComesUpTenSecondsLaterAtTheFifthAttempt) {
    const TraceRecorder recorder(3, "*", &m_os.log());
    const auto refused = failing(ECONNREFUSED);
    m_os.script(Call::Connect, {refused, refused, refused, refused, asUsual});
    m_connection.connect();
    EventLog expected;
    for (int attempt = 1; attempt <= 4; ++attempt) {
        expected.insert(expected.end(), {makingSocket, connecting, failedOnce, "close(7)"});
        if (attempt == 3) {
            expected.push_back(failedAt + "3");
        }
        expected.emplace_back("sleep(3)");
    }
    expected.insert(expected.end(), {makingSocket, connecting, succeededAt + "5"});
    EXPECT_EQ(m_os.log(), expected);
}

TEST_F(RemoteDeviceConnectionTest, ReportsEveryThirdFailureAtLevelOne) {
    const TraceRecorder recorder(1);
    m_os.script(Call::Connect, std::vector(10, failing(ECONNREFUSED)));
    m_connection.connect();
    EXPECT_EQ(recorder.lines(), (EventLog{failedAt + "3", failedAt + "6", failedAt + "9"}));
}

TEST_F(RemoteDeviceConnectionTest, NeverGivesUp) {
    const TraceRecorder recorder(3);
    m_os.script(Call::Connect, std::vector(10000, failing(ECONNREFUSED)));
    m_connection.connect();
    EXPECT_EQ(m_connection.getSocketDescriptor(), 7);
    EXPECT_EQ(std::count(m_os.log().begin(), m_os.log().end(), "sleep(3)"), 10000);
    const EventLog lines = recorder.lines();
    EXPECT_EQ(lines.size(), 10000U + 3333U + 1U);
    EXPECT_EQ(lines.end()[-3], failedAt + "9999");
    EXPECT_EQ(lines.back(), succeededAt + "10001");
}

TEST_F(RemoteDeviceConnectionTest, TracesNothingWhenAllLevelsAreOff) {
    const NothingTraced nothingTraced(0);
    m_os.script(Call::Connect, std::vector(3, failing(ECONNREFUSED)));
    m_connection.connect();
}

TEST_F(RemoteDeviceConnectionTest, RetriesWhenThereAreNoSocketsForATime) {
    const TraceRecorder recorder(3);
    m_os.script(Call::Socket, {failing(EMFILE), asUsual});
    m_connection.connect();
    EXPECT_EQ(m_os.log(), (EventLog{makingSocket, "sleep(3)", makingSocket, connecting}));
    EXPECT_EQ(recorder.lines(), (EventLog{channel + "2 connectToServer: Socket creation error ", succeededAt + "2"}));
}

TEST_F(RemoteDeviceConnectionTest, TriesAllZerosWhenTheNameCannotBeResolved) {
    RemoteDeviceConnection connection("nobody", 9000);
    m_os.log().clear();
    m_os.script(Call::Connect, {failing(ECONNREFUSED)});
    const TraceRecorder recorder(2);
    EXPECT_EQ(connection.connectToServer(), -1);
    EXPECT_EQ(m_os.log()[1], "connect(7, 0.0.0.0:9000, 16)");
    EXPECT_EQ(recorder.lines(), EventLog{channel + "2 connectToServer: Connection Failed to 0.0.0.0 at port 9000"});
}

TEST_F(RemoteDeviceConnectionTest, MakesNoCallWhenItIsClosedWithoutASocket) {
    const TraceRecorder recorder(6);
    m_connection.close();
    EXPECT_EQ(m_os.log(), EventLog{});
    EXPECT_EQ(recorder.lines(), EventLog{channel + "6 close ENTER"});
}

TEST_F(RemoteDeviceConnectionTest, ClosesADescriptorOfZeroAndHasNoSocketAfterAFailingClose) {
    m_os.script(Call::Socket, {answering(0)});
    m_connection.connect();
    m_os.log().clear();
    m_os.script(Call::Close, {failing(EIO)});
    m_connection.close();
    EXPECT_EQ(m_os.log(), EventLog{"close(0)"});
    EXPECT_EQ(m_connection.getSocketDescriptor(), -1);
}

TEST_F(RemoteDeviceConnectionTest, CanBeConnectedAgainAfterItWasClosed) {
    m_connection.connect();
    m_connection.close();
    m_connection.close();
    m_connection.connect();
    EXPECT_EQ(m_os.log(), (EventLog{makingSocket, connecting, "close(7)", makingSocket, connecting}));
}

TEST_F(RemoteDeviceConnectionTest, LeavesItsSocketOpenSilentlyWhenItIsDestroyed) {
    auto connection = std::make_unique<RemoteDeviceConnection>("server", 1);
    connection->connect();
    m_os.log().clear();
    const NothingTraced nothingTraced(7);
    connection.reset();
    EXPECT_EQ(m_os.log(), EventLog{});
}

TEST_F(RemoteDeviceConnectionTest, TracesItsTransfersOnTheChannelOfAConnection) {
    m_connection.connect();
    const TraceRecorder recorder(6);
    Rynvel::Response response;
    m_connection.receive(response);
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Connection 6 receive ENTER"});
}

TEST(RemoteDeviceConnection, ReachesARealServer) {
    const TraceRecorder silence(0);
    const LoopbackListener listener;
    listener.listen();
    RemoteDeviceConnection connection("127.0.0.1", listener.port());
    connection.connect();
    Connection server(listener.accept());
    Rynvel::Request received;
    EXPECT_EQ(connection.send(Rynvel::Request(Rynvel::RequestData::Type::Open, "traf.top")), 0);
    EXPECT_EQ(server.receive(received), 0);
    EXPECT_EQ(received.getDeviceName(), "traf.top");
    server.close();
    connection.close();
}

TEST(RemoteDeviceConnection, ReachesThisMachineAtTheAddressOfAnUnresolvedName) {
    const TraceRecorder silence(0);
    const LoopbackListener listener;
    listener.listen();
    RemoteDeviceConnection connection("0.0.0.0", listener.port());
    EXPECT_EQ(connection.connectToServer(), 0);
    connection.close();
}

TEST(RemoteDeviceConnection, IsRefusedByARealMachineWithoutAServerAndThenReachesOne) {
    const LoopbackListener listener;
    RemoteDeviceConnection connection("127.0.0.1", listener.port());
    const TraceRecorder recorder(2);
    EXPECT_EQ(connection.connectToServer(), -1);
    EXPECT_EQ(recorder.lines(), EventLog{channel + "2 connectToServer: Connection Failed to 127.0.0.1 at port " +
                                         std::to_string(listener.port())});
    listener.listen();
    EXPECT_EQ(connection.connectToServer(), 0);
    connection.close();
}

} // namespace
