// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"
#include "DescriptionText.h"
#include "Descriptor.h"
#include "LeasedFile.h"
#include "LocalSocket.h"
#include "MessageBytes.h"
#include "OpenCounter.h"
#include "RecordClient.h"
#include "RynveldProcess.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Launch = RynveldProcess::Launch;
using namespace std::chrono_literals;

/** A running server, with functions that connect clients to it. */
class Server : public RynveldProcess {
public:
    using RynveldProcess::RynveldProcess;

    RecordClient connect() const { return RecordClient(port()); }
    /** Returns a client that has opened the device. */
    RecordClient connect(const std::string& name) const { return {port(), name}; }
    /** Returns a client that has opened the device and armed its connection. */
    RecordClient connectArmed(const std::string& name) const {
        RecordClient client = connect();
        client.arm(name);
        return client;
    }
    bool serves(const std::string& name = "uio.32") const { return connect().succeeds(Request(Type::Open, name)); }
    bool refusesConnections() const { return connect().isEnded(); }
};

class SimulatingServer : public Server {
public:
    explicit SimulatingServer(Arguments arguments = {}, const Launch& launch = {})
        : Server(simulatedWith(std::move(arguments)), launch) {}

private:
    static Arguments simulatedWith(Arguments arguments) {
        arguments.emplace_back("--simulate");
        return arguments;
    }
};

Launch tracing(const std::string& levels) {
    Launch launch;
    launch.traces = levels;
    return launch;
}

/** Returns the local port of a socket. */
std::uint16_t portOf(int socket) {
    sockaddr_in6 address{};
    socklen_t size = sizeof(address);
    EXPECT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    // sockaddr_in and sockaddr_in6 have the port at the same offset.
    return ntohs(address.sin6_port);
}

/** A socket that listens on this machine, on a port that the system chooses. */
class Listener {
public:
    explicit Listener(int family = AF_INET) : m_socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        EXPECT_EQ(::listen(m_socket, 100), 0);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { ::close(m_socket); }

    int descriptor() const { return m_socket; }
    std::uint16_t port() const { return portOf(m_socket); }
    std::string portText() const { return std::to_string(port()); }

private:
    const int m_socket;
};

std::size_t linesIn(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

void expectEnding(const Arguments& arguments, int status, const std::string& output, const std::string& error) {
    const auto ended = runRynveld(arguments);
    EXPECT_EQ(ended.status, status);
    EXPECT_EQ(ended.output, output);
    EXPECT_EQ(ended.error, error);
}

TEST(RynveldCommandLine, PrintsItsHelp) {
    const auto ended = runRynveld({"--help"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("Usage: rynveld [OPTIONS]"), std::string::npos) << ended.output;
    EXPECT_EQ(ended.error, "");
}

TEST(RynveldCommandLine, PrintsItsVersion) {
    expectEnding({"--version"}, 0, "rynveld " RYNVEL_PROJECT_VERSION "\n", "");
}

TEST(RynveldCommandLine, IsRefusedWithOneLineAndStatus2) {
    for (const auto& wrong : {Arguments{"--nothing"}, Arguments{"extra"}, Arguments{"--listen", "nowhere"},
                              Arguments{"--device", "nothing"}, Arguments{"--fault", "error"},
                              Arguments{"--simulate", "--map", "/nowhere.svd"}}) {
        const auto ended = runRynveld(wrong);
        EXPECT_EQ(ended.status, 2) << wrong[0];
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.error.compare(0, 9, "rynveld: "), 0) << ended.error;
        EXPECT_EQ(linesIn(ended.error), 1U) << ended.error;
    }
}

TEST(RynveldCommandLine, FailsWhenThePortIsInUse) {
    const Listener listener;
    const std::string address = "127.0.0.1:" + listener.portText();
    expectEnding({"--listen", address}, 1, "", "rynveld: " + address + ": cannot listen: Address already in use\n");
}

TEST(RynveldCommandLine, FailsWhenTheAddressBelongsToAnotherHost) {
    expectEnding({"--listen", "192.0.2.1:0"}, 1, "",
                 "rynveld: 192.0.2.1:0: cannot listen: Cannot assign requested address\n");
}

TEST(Rynveld, PrintsItsAddressAndTheNumberOfItsDevices) {
    Launch board;
    board.devices = RynveldProcess::Devices::Board;
    const auto banner = [](const RynveldProcess& server, const std::string& devices) {
        return "rynveld: listening on 127.0.0.1:" + std::to_string(server.port()) + ", serving " + devices;
    };
    const SimulatingServer simulating({}, board);
    EXPECT_EQ(simulating.banner(), banner(simulating, "30 simulated devices"));
    const RynveldProcess one({"--device", "rtc0"}, board);
    EXPECT_EQ(one.banner(), banner(one, "1 device"));
    const RynveldProcess two({"--device", "rtc0", "--device", "i2c"}, board);
    EXPECT_EQ(two.banner(), banner(two, "2 devices"));
}

TEST(Rynveld, LeavesRemoteDevicesOutOfTheNumberThatItServes) {
    const SimulatingServer server;
    EXPECT_NE(server.banner().find(", serving 8 simulated devices"), std::string::npos) << server.banner();
}

TEST(Rynveld, EndsWithStatus0OnATerminationSignal) {
    for (const int signal : {SIGTERM, SIGINT}) {
        SimulatingServer().end(signal);
    }
}

TEST(Rynveld, EndsWhateverItsClientsDo) {
    SimulatingServer server({"--interrupt-every", "uio.32=1ms"});
    const RecordClient idle = server.connect();
    const RecordClient half = server.connect();
    EXPECT_TRUE(half.send(Request(Type::Open, "uio.32").toBuffer(), 300));
    const RecordClient armed = server.connectArmed("uio.32");
    const RecordClient stalled = server.connect();
    const std::vector<char> requests(std::size_t{660} * 1000);
    ::send(stalled.socket(), requests.data(), requests.size(), MSG_DONTWAIT);
    EXPECT_TRUE(server.serves());
    server.end();
    EXPECT_TRUE(idle.isEnded());
    EXPECT_TRUE(half.isEnded());
}

TEST(Rynveld, EndsWhileClientsConnect) {
    for (unsigned int round = 0; round < 10; ++round) {
        SimulatingServer server({"--interrupt-every", "uio.32=1ms"});
        std::vector<RecordClient> clients;
        for (unsigned int i = 0; i < 50; ++i) {
            clients.emplace_back(server.port());
        }
        server.end();
    }
}

TEST(Rynveld, IgnoresOtherSignals) {
    const SimulatingServer server;
    const RecordClient client = server.connect("uio.32");
    for (const int signal : {SIGPIPE, SIGUSR1, SIGUSR1, SIGHUP, SIGBUS}) {
        EXPECT_EQ(::kill(server.pid(), signal), 0);
        EXPECT_EQ(client.values(readOf("uio.32", 0)), Values{0});
    }
}

TEST(Rynveld, ServesAndEndsWhileItsStandardErrorIsBlocked) {
    Launch unheard = tracing("*=7");
    unheard.isRead = false;
    SimulatingServer server({}, unheard);
    server.fillStandardError();
    const RecordClient client = server.connect();
    EXPECT_TRUE(client.isRefused(Request(Type::Open, "nothing")));
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(server.serves());
    server.end();
}

TEST(Rynveld, ServesOnlyClientsOfItsNetworks) {
    EXPECT_TRUE(SimulatingServer({"--allow", "10.0.0.0/8", "--allow", "127.0.0.2"}).refusesConnections());
    EXPECT_TRUE(SimulatingServer({"--allow", "10.0.0.0/8", "--allow", "127.0.0.0/24"}).serves());
}

TEST(Rynveld, RefusesConnectionsAboveTheLimitUntilAClientDisconnects) {
    const SimulatingServer server({"--max-connections", "2", "--max-connections-per-host", "2"});
    const RecordClient one = server.connect("uio.32");
    {
        const RecordClient other = server.connect("uio.32");
        EXPECT_TRUE(server.refusesConnections());
    }
    // The server needs some time to notice that a client has disconnected.
    EXPECT_TRUE(becomesTrue([&] { return server.serves(); }));
    EXPECT_TRUE(one.succeeds(Request(Type::Close, "uio.32")));
}

// This test sleeps for 13 seconds, so builds whose tests run slowly leave it out.
#ifndef RYNVEL_TESTS_RUN_SLOWLY
TEST(Rynveld, ReportsTheNumberOfSuppressedLinesWhenAFloodHasEnded) {
    SimulatingServer server({"--max-connections", "1"}, tracing("*=1"));
    const RecordClient first = server.connect("uio.32");
    for (unsigned int i = 0; i < 25; ++i) {
        EXPECT_TRUE(server.refusesConnections());
    }
    std::this_thread::sleep_for(13s);
    EXPECT_TRUE(server.refusesConnections());
    const std::string text = server.endWithText();
    const auto count = text.find("Suppressed lines about 127.0.0.0/8: 5 (connections).\n");
    const auto last = text.rfind(" refused: the connection limit (1) is reached.\n");
    ASSERT_NE(count, std::string::npos) << text;
    ASSERT_NE(last, std::string::npos) << text;
    EXPECT_LT(count, last) << text;
}
#endif

TEST(Rynveld, EndsConnectionsWhoseRequestTakesTooLong) {
    const SimulatingServer server({"--idle-timeout", "200ms"});
    const RecordClient client = server.connect();
    const auto bytes = bytesOf(Request(Type::Open, "uio.32"));
    for (std::size_t sent = 0; sent < bytes.size() && client.send(&bytes[sent], 1); ++sent) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(client.isEnded());
}

// The address sanitizer also needs descriptors, so a build with this sanitizer leaves the test out.
#ifndef __SANITIZE_ADDRESS__
TEST(Rynveld, ContinuesWhenItHasRunOutOfDescriptors) {
    Launch launch;
    constexpr std::size_t limit = 40;
    launch.preparation = "ulimit -n " + std::to_string(limit) + "; ";
    const SimulatingServer server({}, launch);
    const RecordClient first = server.connect("uio.32");
    {
        std::vector<RecordClient> clients;
        for (unsigned int i = 0; i < 60; ++i) {
            clients.emplace_back(server.port());
        }
        EXPECT_TRUE(becomesTrue([&] { return server.descriptors() >= limit; }));
        EXPECT_EQ(first.values(readOf("uio.32", 0)), Values{0});
        EXPECT_TRUE(first.isRefused(Request(Type::Open, "uio.16")));
        EXPECT_EQ(first.values(readOf("uio.32", 0)), Values{0});
    }
    EXPECT_TRUE(server.serves());
}
#endif

TEST(Rynveld, EndsIdleConnectionsThatAreNotArmed) {
    const SimulatingServer server({"--idle-timeout", "300ms"});
    const RecordClient armed = server.connectArmed("uio.32");
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_TRUE(server.refusesConnections());
    }
    const RecordClient other = server.connect("uio.32");
    EXPECT_TRUE(other.succeeds(raiseOf("uio.32", {7})));
    EXPECT_EQ(armed.interrupt(), 7U);
}

TEST(Rynveld, ServesTheChosenDevicesOnly) {
    const SimulatingServer server({"--device", "uio.16", "--device", "seek.8"});
    EXPECT_TRUE(server.serves("uio.16"));
    EXPECT_TRUE(server.serves("seek.8"));
    EXPECT_FALSE(server.serves("uio.32"));
}

TEST(Rynveld, SimulatesRegistersAsAMapDescribesThem) {
    const TemporaryWorkingFolder folder;
    std::ofstream("uio.svd") << mapWith("uio_32",
                                        registerAt("0x8", "<resetValue>0x1234</resetValue>") +
                                            registerAt("0xC", "<modifiedWriteValues>oneToSet</modifiedWriteValues>"));
    const SimulatingServer server({"--map", "uio.svd"});
    const RecordClient client = server.connect("uio.32");
    EXPECT_EQ(client.values(readOf("uio.32", 2)), Values{0x1234});
    EXPECT_TRUE(client.succeeds(writeOf("uio.32", 3, {0xF0})));
    EXPECT_TRUE(client.succeeds(masked(writeOf("uio.32", 3, {0xF}), 0xF3)));
    EXPECT_EQ(client.values(readOf("uio.32", 3)), Values{0xF3});
}

TEST(Rynveld, ServesNoDevicesOfOtherServers) { EXPECT_FALSE(SimulatingServer().serves("far")); }

TEST(Rynveld, ChangesNothingWhenItIsReadOnly) {
    const SimulatingServer server({"--read-only"});
    const RecordClient client = server.connect("uio.32");
    EXPECT_TRUE(client.isRefused(writeOf("uio.32", 0, {7})));
    EXPECT_EQ(client.values(readOf("uio.32", 0)), Values{0});
}

TEST(Rynveld, ForwardsOnlyAllowedIoctlCommands) {
    const SimulatingServer server({"--allow-ioctl", "0xEE00"});
    const RecordClient client = server.connect("uio.32");
    Request request(Type::Ioctl, "uio.32");
    request.setCommand(0xEE00);
    EXPECT_EQ(client.values(request), Values{0});
    request.setCommand(0xEE01);
    EXPECT_TRUE(client.isRefused(request));
}

TEST(Rynveld, RaisesInterruptsPeriodically) {
    const SimulatingServer server({"--interrupt-every", "uio.32=1ms", "--interrupt-every", "uio.16=2ms"});
    for (const char* name : {"uio.16", "uio.32"}) {
        const RecordClient client = server.connectArmed(name);
        std::uint32_t last = client.interrupt();
        for (unsigned int i = 0; i < 10; ++i) {
            const std::uint32_t word = client.interrupt();
            EXPECT_GT(word, last);
            EXPECT_NE(word, UINT32_MAX);
            last = word;
        }
    }
}

#ifdef RYNVEL_TESTS_RUN_SLOWLY
constexpr std::uint32_t arming = 100;
#else
constexpr std::uint32_t arming = 1000;
#endif

/** Sends a request from a new client that has opened the device, and expects success. */
void tell(const Server& server, const Request& request) {
    EXPECT_TRUE(server.connect(request.getDeviceName()).succeeds(request));
}

TEST(Rynveld, ArmsAConnectionBeforeItAnswers) {
    const SimulatingServer server({"--fault", "split=20ms:3"});
    for (unsigned int round = 0; round < 20; ++round) {
        const RecordClient armed = server.connect("uio.32");
        armed.open("uio.32");
        EXPECT_TRUE(armed.send(Request(Type::WaitForInterrupt, "uio.32")));
        const auto receiveHalf = [&] {
            std::array<char, 260> half{};
            return ::recv(armed.socket(), half.data(), half.size(), MSG_WAITALL) == static_cast<ssize_t>(half.size());
        };
        ASSERT_TRUE(receiveHalf());
        tell(server, Request(Type::DisableInterrupt, "uio.32"));
        tell(server, raiseOf("uio.32", {7}));
        ASSERT_TRUE(receiveHalf());
        // The interrupt is still disabled, because arming does not enable it. The word 8 replaces the pending word 7.
        tell(server, raiseOf("uio.32", {8}));
        tell(server, Request(Type::EnableInterrupt, "uio.32"));
        ASSERT_EQ(armed.interrupt(), 8U);
    }
}

TEST(Rynveld, ReportsNoInterruptThatWasDisabledAfterTheAnswerToTheWait) {
    const SimulatingServer server;
    const RecordClient armed = server.connect("uio.32");
    const RecordClient other = server.connect("uio.32");
    for (std::uint32_t round = 1; round <= arming; ++round) {
        ASSERT_TRUE(armed.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_TRUE(other.succeeds(Request(Type::DisableInterrupt, "uio.32")));
        ASSERT_TRUE(other.succeeds(raiseOf("uio.32", {round})));
        ASSERT_TRUE(armed.succeeds(Request(Type::Open, "uio.32"))) << "an interrupt came in round " << round;
        // Receives the pending interrupt. The next round then begins in the same state.
        ASSERT_TRUE(other.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_EQ(other.interrupt(), round);
        ASSERT_TRUE(other.succeeds(Request(Type::Open, "uio.32")));
    }
}

TEST(Rynveld, ReportsEveryInterruptThatIsRaisedAfterTheAnswerToTheWait) {
    const SimulatingServer server;
    const RecordClient second = server.connect("uio.32");
    const RecordClient other = server.connect("uio.32");
    const RecordClient first = server.connectArmed("uio.32");
    for (std::uint32_t round = 1; round <= arming; ++round) {
        ASSERT_TRUE(second.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_TRUE(other.succeeds(raiseOf("uio.32", {round})));
        ASSERT_EQ(second.interrupt(), round);
        ASSERT_EQ(first.interrupt(), round);
        ASSERT_TRUE(other.succeeds(Request(Type::EnableInterrupt, "uio.32")));
        ASSERT_TRUE(second.succeeds(Request(Type::Open, "uio.32")));
    }
}

TEST(Rynveld, FreesTheConnectionOfAnArmedClientThatDisconnects) {
    const SimulatingServer server({"--max-connections", "1"});
    for (unsigned int i = 0; i < 10; ++i) {
        std::unique_ptr<RecordClient> client;
        ASSERT_TRUE(becomesTrue([&] {
            client = std::make_unique<RecordClient>(server.port());
            return client->succeeds(Request(Type::Open, "uio.32"));
        }));
        EXPECT_TRUE(client->succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    }
}

/** A fixture for a server whose devices are files in the working folder. */
class RynveldOnFiles : public testing::Test {
protected:
    RynveldOnFiles() {
        TemporaryWorkingFolder::makeFile("registers.map", 4096);
        TemporaryWorkingFolder::makeFile("registers.seek", 16);
    }

    const TemporaryWorkingFolder m_folder;
    Server m_server{Arguments{}};
};

TEST_F(RynveldOnFiles, ServesTheDevicesOfThisMachine) {
    std::filesystem::remove("registers.map");
    EXPECT_FALSE(m_server.serves("missing"));
    EXPECT_FALSE(m_server.serves("uio.32"));
    EXPECT_FALSE(m_server.serves("map.32"));
    TemporaryWorkingFolder::makeFile("registers.map", 4096);
    const RecordClient client = m_server.connect("map.32");
    EXPECT_TRUE(client.succeeds(writeOf("map.32", 1, {0x11223344})));
    EXPECT_TRUE(client.isRefused(readOf("map.32", 1024)));
    std::ifstream file("registers.map", std::ios::binary);
    std::array<std::uint32_t, 2> registers{};
    file.read(reinterpret_cast<char*>(registers.data()), sizeof(registers));
    EXPECT_EQ(registers[1], 0x11223344U);
}

TEST_F(RynveldOnFiles, OpensADeviceFileOnceForAClient) {
    for (const auto& [name, path] : {std::pair{"map.32", "registers.map"}, std::pair{"seek.8", "registers.seek"}}) {
        const OpenCounter counter(path);
        const RecordClient client = m_server.connect(name);
        EXPECT_EQ(counter.next(), 1U) << name;
    }
}

/** A client that is opening map.32. A lease on the device file keeps the client waiting until release(). */
class OpeningClient {
public:
    explicit OpeningClient(const Server& server) : m_client(server.connect()) {
        EXPECT_TRUE(m_client.send(Request(Type::Open, "map.32")));
        EXPECT_TRUE(becomesTrue([this] { return m_file.isAwaited(); }));
    }

    bool isWaiting() const { return m_client.hasNothing(); }
    std::string port() const { return std::to_string(portOf(m_client.socket())); }
    void release() const { m_file.release(); }
    bool opensWhenReleased() const {
        release();
        Response response;
        return m_client.receive(response) && response.isSuccessful();
    }

private:
    const LeasedFile m_file{"registers.map"};
    const RecordClient m_client;
};

TEST_F(RynveldOnFiles, OpensADeviceWhileTheOpeningOfAnotherTakesLong) {
    const OpeningClient slow(m_server);
    EXPECT_TRUE(m_server.serves("seek.8"));
    EXPECT_TRUE(slow.isWaiting());
    EXPECT_TRUE(slow.opensWhenReleased());
}

TEST_F(RynveldOnFiles, EndsWhileADeviceBlocks) {
    const OpeningClient slow(m_server);
    const auto begin = std::chrono::steady_clock::now();
    m_server.end();
    // The system would break the lease after 45 s.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_F(RynveldOnFiles, SurvivesBusErrorsOfManyClients) {
    TemporaryWorkingFolder::makeFile("registers.map", 0);
    // The server must also survive a SIGBUS that is not a bus error.
    EXPECT_EQ(::kill(m_server.pid(), SIGBUS), 0);
    for (unsigned int i = 0; i < 20; ++i) {
        EXPECT_TRUE(m_server.connect("map.32").isRefused(readOf("map.32", i)));
    }
    TemporaryWorkingFolder::makeFile("registers.map", 4096);
    EXPECT_EQ(m_server.connect("map.32").values(readOf("map.32", 0)), Values{0});
}

TEST_F(RynveldOnFiles, NamesTheClientOfAnOperationThatItCannotInterrupt) {
    Launch launch = tracing("*=1");
    // Blocks the signal with which the server interrupts operations.
    launch.preparation = R"(set -- env --block-signal=USR1 "$@"; )";
    Server server({}, launch);
    const OpeningClient slow(server);
    auto ending = std::async(std::launch::async, [&] { return server.endWithText(); });
    EXPECT_EQ(ending.wait_for(2s), std::future_status::timeout);
    slow.release();
    const std::string text = ending.get();
    EXPECT_NE(text.find("Shutdown waits for client 127.0.0.1:" + slow.port() +
                        " on device \"map.32\": its operation cannot be interrupted."),
              std::string::npos)
        << text;
    EXPECT_EQ(linesIn(text), 1U) << text;
}

Launch activatedOn(const std::vector<int>& sockets) {
    Launch launch;
    launch.preparation = "export LISTEN_FDS=" + std::to_string(sockets.size()) + " LISTEN_PID=$$; ";
    launch.passed = sockets;
    launch.listen.clear();
    return launch;
}

/** A local socket that listens under a name in the abstract name space. */
class LocalListener : public LocalSocket {
public:
    LocalListener() : LocalSocket(SOCK_STREAM) { EXPECT_EQ(::listen(descriptor(), 100), 0); }

    RecordClient connect() const { return RecordClient::on(LocalSocket::connect(SOCK_STREAM)); }
};

TEST(RynveldService, UsesTheSocketThatItReceives) {
    const Listener listener;
    const SimulatingServer server({}, activatedOn({listener.descriptor()}));
    EXPECT_EQ(server.port(), listener.port());
    EXPECT_TRUE(server.serves());
}

TEST(RynveldService, UsesAllSocketsThatItReceives) {
    const Listener one;
    const Listener other;
    const LocalListener local;
    const SimulatingServer server({"--allow", "127.0.0.0/8"},
                                  activatedOn({one.descriptor(), other.descriptor(), local.descriptor()}));
    EXPECT_NE(server.banner().find(" 0.0.0.0:" + one.portText() + ", 0.0.0.0:" + other.portText() + ", " +
                                   local.name() + ","),
              std::string::npos)
        << server.banner();
    for (const auto& client : {RecordClient(one.port()), RecordClient(other.port()), local.connect()}) {
        client.open("uio.32");
    }
}

TEST(RynveldService, ServesALocalSocketThatItReceives) {
    const LocalListener local;
    const SimulatingServer server({"--interrupt-every", "uio.32=1ms"}, activatedOn({local.descriptor()}));
    const RecordClient client = local.connect();
    client.open("uio.32");
    EXPECT_TRUE(client.succeeds(writeOf("uio.32", 5, {7})));
    EXPECT_EQ(client.values(readOf("uio.32", 5)), Values{7});
    EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    EXPECT_NE(client.interrupt(), UINT32_MAX);
}

/** Returns a client that is connected from the address `own` to the address `server`. */
template <typename Address>
RecordClient connect(const Address& own, const Address& server) {
    const auto* const addresses = reinterpret_cast<const sockaddr*>(&own);
    const int socket = ::socket(addresses->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(socket, addresses, sizeof(own)), 0);
    EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&server), sizeof(server)), 0);
    return RecordClient::on(socket);
}

/** Returns an address in 127.0.0.0/24 whose last number is `number`. */
sockaddr_in loopback(std::uint32_t number, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + number);
    return address;
}

sockaddr_in6 loopbackV6(std::uint16_t port) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    address.sin6_addr = in6addr_loopback;
    return address;
}

TEST(RynveldService, ReservesConnectionsForOtherHostsAndNamesTheClientsThatItRefuses) {
    const Listener listener(AF_INET6);
    const LocalListener local;
    Launch launch = activatedOn({listener.descriptor(), local.descriptor()});
    launch.traces = "*=1";
    SimulatingServer server({"--max-connections", "8"}, launch);
    const std::uint16_t port = listener.port();
    std::vector<RecordClient> clients;
    const auto fill = [&clients](const auto& connect) {
        for (unsigned int i = 0; i < 2; ++i) {
            clients.push_back(connect());
            clients.back().open("uio.32");
        }
        for (unsigned int i = 0; i < 100; ++i) {
            EXPECT_TRUE(connect().isEnded());
        }
    };
    // The server counts 127.0.0.0/8, a /64 network and a user of a local socket as one host each, because one client
    // can use every address of these networks and every process of this user.
    unsigned int last = 1;
    fill([&] { return connect(loopback(++last, 0), loopback(1, port)); });
    fill([port] { return connect(loopbackV6(0), loopbackV6(port)); });
    fill([&local] { return local.connect(); });
    const std::string text = server.endWithText();
    EXPECT_NE(text.find(" refused: its host has reached the connection limit (2)."), std::string::npos) << text;
    const std::string user = "user " + std::to_string(::geteuid());
    for (const std::string& host : {std::string("127.0.0.0/8"), std::string("::/64"), user}) {
        const std::string line = "Suppressed lines about " + host + ": 80 (connections of host).";
        EXPECT_NE(text.find(line), std::string::npos) << line << '\n' << text;
    }
    EXPECT_EQ(linesIn(text), 3 * (20 + 1)) << text;
}

TEST(RynveldService, RecognizesTheNetworkOfAClientOnASocketOfBothFamilies) {
    const Listener listener(AF_INET6);
    const auto activated = activatedOn({listener.descriptor()});
    {
        const SimulatingServer server({"--allow", "127.0.0.0/8"}, activated);
        RecordClient(listener.port()).open("uio.32");
    }
    const SimulatingServer server({"--allow", "10.0.0.0/8"}, activated);
    EXPECT_NE(server.banner().find(" [::]:" + listener.portText() + ','), std::string::npos) << server.banner();
    EXPECT_TRUE(RecordClient(listener.port()).isEnded());
    EXPECT_TRUE(RecordClient(listener.port()).isEnded());
}

/** The file of a local socket on which a server listens. */
class SocketFile : public testing::Test {
protected:
    /** Starts a server on the file. */
    std::unique_ptr<SimulatingServer> listen(const Arguments& options = {}) const {
        Launch launch;
        launch.listen = {"--listen", "unix:" + m_path};
        launch.traces = "Rynveld=4";
        return std::make_unique<SimulatingServer>(options, launch);
    }

    RecordClient connect() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        return RecordClient::on(socket);
    }

    void expectServed() const { connect().open("uio.32"); }
    bool exists() const { return std::filesystem::exists(m_path); }
    unsigned int mode() const { return static_cast<unsigned int>(std::filesystem::status(m_path).permissions()); }

    const TemporaryWorkingFolder m_folder;
    const std::string m_path = std::filesystem::current_path() / "s";
};

TEST_F(SocketFile, ServesClientsAndIsRemovedWhenTheServerEnds) {
    const auto server = listen();
    EXPECT_EQ(server->banner().find("rynveld: listening on " + m_path + ", serving "), 0U) << server->banner();
    EXPECT_EQ(mode(), 0600U);
    expectServed();
    server->end();
    EXPECT_FALSE(exists());
}

TEST_F(SocketFile, HasTheModeAndTheGroupOfTheOptions) {
    constexpr gid_t anotherGroup = 1;
    const group* const chosen = ::getgrgid(::getuid() == 0 ? anotherGroup : ::getgid());
    ASSERT_NE(chosen, nullptr);
    const auto server = listen({"--socket-mode", "666", "--socket-group", chosen->gr_name});
    EXPECT_EQ(mode(), 0666U);
    struct stat status {};
    EXPECT_EQ(::stat(m_path.c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, chosen->gr_gid);
    expectServed();
}

TEST_F(SocketFile, ReplacesTheFileOfAServerThatWasKilled) {
    { const LocalSocket abandoned(SOCK_STREAM, m_path); }
    ASSERT_TRUE(exists());
    const auto server = listen();
    expectServed();
}

TEST_F(SocketFile, ReplacesNeitherTheSocketOfAServerNorAnotherFile) {
    const auto server = listen();
    const auto second = runRynveld({"--simulate", "--listen", "unix:" + m_path});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.error, "rynveld: " + m_path + ": cannot listen: Address already in use\n");
    expectServed();
    const std::string file = m_path + ".txt";
    std::ofstream(file) << "text";
    EXPECT_EQ(runRynveld({"--simulate", "--listen", "unix:" + file}).error,
              "rynveld: " + file + ": cannot listen: Address already in use\n");
    EXPECT_EQ(std::filesystem::file_size(file), 4U);
}

TEST_F(SocketFile, IsNotRemovedAfterAnotherFileHasReplacedIt) {
    const auto server = listen();
    std::filesystem::remove(m_path);
    std::ofstream(m_path) << "text";
    server->end();
    EXPECT_TRUE(exists());
}

/** Returns whether a process waits for a lock of the file. */
bool isAwaited(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        if (line.find("-> FLOCK") != std::string::npos &&
            line.find(':' + std::to_string(status.st_ino) + ' ') != std::string::npos) {
            return true;
        }
    }
    return false;
}

TEST_F(SocketFile, IsNotReplacedWhileAnotherServerStarts) {
    { const LocalSocket abandoned(SOCK_STREAM, m_path); }
    const Common::Descriptor folder(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(::flock(folder.number(), LOCK_EX), 0);
    auto ending = std::async(std::launch::async, [this] {
        return runRynveld({"--simulate", "--listen", "unix:" + m_path});
    });
    ASSERT_TRUE(becomesTrue([] { return isAwaited("."); }));
    std::filesystem::remove(m_path);
    const LocalSocket other(SOCK_STREAM, m_path);
    ASSERT_EQ(::listen(other.descriptor(), 1), 0);
    ASSERT_EQ(::flock(folder.number(), LOCK_UN), 0);
    EXPECT_EQ(ending.get().error, "rynveld: " + m_path + ": cannot listen: Address already in use\n");
}

TEST_F(SocketFile, CannotBeSelectedIfTheServiceManagerPassesTheSockets) {
    const LocalListener listener;
    Launch launch = activatedOn({listener.descriptor()});
    const Ending ending = runRynveld({"--simulate", "--listen", "unix:" + m_path}, launch.preparation, launch.passed);
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error, "rynveld: " + m_path + ": the service manager passes the sockets (remove --listen)\n");
    EXPECT_FALSE(exists());
}

TEST_F(SocketFile, CannotBeInAFolderThatDoesNotExist) {
    EXPECT_EQ(runRynveld({"--simulate", "--listen", "unix:" + m_path + "/s"}).error,
              "rynveld: " + m_path + "/s: cannot listen: No such file or directory\n");
}

TEST_F(SocketFile, LetsTracesNameTheProcessAndTheUserOfAClient) {
    const auto server = listen();
    const RecordClient client = connect();
    EXPECT_FALSE(client.succeeds(readOf("uio.32", 5)));
    const std::string text = server->endWithText();
    EXPECT_NE(
        text.find("Client process " + std::to_string(::getpid()) + " of user " + std::to_string(::getuid()) + ' '),
        std::string::npos)
        << text;
}

TEST(RynveldService, NotifiesWhenItIsReadyAndWhenItStops) {
    const LocalSocket manager(SOCK_DGRAM);
    Launch launch;
    launch.preparation = "export NOTIFY_SOCKET='" + manager.name() + "'; ";
    SimulatingServer server({}, launch);
    EXPECT_EQ(manager.received(0), "READY=1");
    EXPECT_TRUE(server.serves());
    EXPECT_EQ(manager.received(), "nothing");
    server.end();
    EXPECT_EQ(manager.received(), "STOPPING=1");
    EXPECT_EQ(manager.received(), "nothing");
}

} // namespace
} // namespace RynvelTest
