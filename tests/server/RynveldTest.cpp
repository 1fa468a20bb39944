#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "ComesAbout.h"
#include "LeasedFile.h"
#include "OpenCounter.h"
#include "OwnFolder.h"
#include "RecordClient.h"
#include "RynveldProcess.h"

namespace RynvelTest {
namespace {

using Rynvel::Request;
using Rynvel::RequestData;
using Type = RequestData::Type;
using Launch = RynveldProcess::Launch;
using Values = std::vector<std::uint32_t>;

const Arguments simulated = {"--simulate"};

Arguments simulatedWith(Arguments arguments) {
    arguments.emplace_back("--simulate");
    return arguments;
}

/** Whether the server answers a new client. */
bool serves(const RynveldProcess& server, const std::string& name = "uio.32") {
    return RecordClient(server.port()).succeeds(Request(Type::Open, name));
}

/** The port of this end of a socket. */
std::string portOf(int socket) {
    sockaddr_in6 address{};
    socklen_t size = sizeof(address);
    EXPECT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    // The port is at the same place in the addresses of both families.
    return std::to_string(ntohs(address.sin6_port));
}

/** A socket that listens on this machine, on a port of the system's choice. */
class Listener {
public:
    explicit Listener(int family = AF_INET) : m_socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        EXPECT_EQ(::listen(m_socket, 100), 0);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { ::close(m_socket); }

    int descriptor() const { return m_socket; }

    std::string port() const { return portOf(m_socket); }

private:
    const int m_socket;
};

std::size_t linesIn(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST(RynveldCommandLine, PrintsItsHelp) {
    const auto ended = runRynveld({"--help"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("Usage: rynveld [OPTIONS]"), std::string::npos) << ended.output;
    EXPECT_EQ(ended.error, "");
}

TEST(RynveldCommandLine, PrintsItsVersion) {
    const auto ended = runRynveld({"--version"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "rynveld " RYNVEL_VERSION "\n");
    EXPECT_EQ(ended.error, "");
}

TEST(RynveldCommandLine, IsRefusedWithOneLineAndStatus2) {
    for (const auto& wrong : {Arguments{"--nothing"}, Arguments{"extra"}, Arguments{"--listen", "nowhere"},
                              Arguments{"--device", "nothing"}, Arguments{"--fault", "error"}}) {
        const auto ended = runRynveld(wrong);
        EXPECT_EQ(ended.status, 2) << wrong[0];
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.error.compare(0, 9, "rynveld: "), 0) << ended.error;
        EXPECT_EQ(linesIn(ended.error), 1U) << ended.error;
    }
}

TEST(RynveldCommandLine, IsOfNoUseWhenThePortIsTaken) {
    const Listener listener;
    const auto ended = runRynveld({"--listen", "127.0.0.1:" + listener.port()});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.error, "rynveld: 127.0.0.1:" + listener.port() + ": cannot listen: Address already in use\n");
}

TEST(RynveldCommandLine, IsOfNoUseWhenTheAddressIsAnothers) {
    const auto ended = runRynveld({"--listen", "192.0.2.1:0"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.error, "rynveld: 192.0.2.1:0: cannot listen: Cannot assign requested address\n");
}

TEST(Rynveld, SaysWhereItListensAndWhatItServes) {
    Launch board;
    board.devices = RynveldProcess::Devices::Board;
    const RynveldProcess simulating(simulated, board);
    EXPECT_EQ(simulating.banner(), "rynveld: listening on 127.0.0.1:" + std::to_string(simulating.port()) +
                                       ", serving 30 simulated devices");
    const RynveldProcess serving({"--device", "rtc0", "--device", "i2c"}, board);
    EXPECT_EQ(serving.banner(),
              "rynveld: listening on 127.0.0.1:" + std::to_string(serving.port()) + ", serving 2 devices");
}

TEST(Rynveld, EndsWithStatus0WhenItIsToldTo) {
    for (const int signal : {SIGTERM, SIGINT}) {
        RynveldProcess server(simulated);
        server.end(signal);
    }
}

TEST(Rynveld, EndsWhateverItsClientsAreAbout) {
    RynveldProcess server(simulatedWith({"--interrupt-every", "uio.32=1ms"}));
    const RecordClient idle(server.port());
    const RecordClient half(server.port());
    EXPECT_TRUE(half.send(Request(Type::Open, "uio.32").toBuffer(), 300));
    const RecordClient armed(server.port());
    EXPECT_TRUE(armed.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(armed.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    const RecordClient stalled(server.port());
    const std::vector<char> requests(std::size_t{660} * 1000);
    ::send(stalled.socket(), requests.data(), requests.size(), MSG_DONTWAIT);
    EXPECT_TRUE(serves(server));
    server.end();
    EXPECT_TRUE(idle.isEnded());
    EXPECT_TRUE(half.isEnded());
}

TEST(Rynveld, EndsWhileClientsCome) {
    for (unsigned int round = 0; round < 10; ++round) {
        RynveldProcess server(simulatedWith({"--interrupt-every", "uio.32=1ms"}));
        std::vector<RecordClient> clients;
        for (unsigned int i = 0; i < 50; ++i) {
            clients.emplace_back(server.port());
        }
        server.end();
    }
}

TEST(Rynveld, IgnoresOtherSignals) {
    const RynveldProcess server(simulated);
    const RecordClient client(server.port());
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    for (const int signal : {SIGPIPE, SIGUSR1, SIGUSR1, SIGHUP, SIGBUS}) {
        EXPECT_EQ(::kill(server.pid(), signal), 0);
        EXPECT_EQ(valuesOf(client.exchange(readOf(Type::Read32, "uio.32", 0))), Values{0});
    }
}

/** A server whose standard error takes no more, and that has much to say. */
Launch unheard() {
    Launch launch;
    launch.traces = "*=7";
    launch.isRead = false;
    return launch;
}

TEST(Rynveld, ServesAndEndsWhileItsStandardErrorIsBlocked) {
    RynveldProcess server(simulated, unheard());
    server.fillStandardError();
    const RecordClient client(server.port());
    EXPECT_TRUE(client.isRefused(Request(Type::Open, "nothing")));
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(serves(server));
    server.end();
}

TEST(Rynveld, TurnsClientsOfOtherNetworksAway) {
    const RynveldProcess server(simulatedWith({"--allow", "10.0.0.0/8", "--allow", "127.0.0.2"}));
    EXPECT_TRUE(RecordClient(server.port()).isEnded());
}

TEST(Rynveld, ServesClientsOfItsNetworks) {
    const RynveldProcess server(simulatedWith({"--allow", "10.0.0.0/8", "--allow", "127.0.0.0/24"}));
    EXPECT_TRUE(serves(server));
}

TEST(Rynveld, TurnsClientsAboveTheLimitAwayUntilOneGoes) {
    const RynveldProcess server(simulatedWith({"--max-connections", "2", "--max-connections-per-host", "2"}));
    const RecordClient one(server.port());
    EXPECT_TRUE(one.succeeds(Request(Type::Open, "uio.32")));
    {
        const RecordClient other(server.port());
        EXPECT_TRUE(other.succeeds(Request(Type::Open, "uio.32")));
        EXPECT_TRUE(RecordClient(server.port()).isEnded());
    }
    // The server learns in its own time that a client has gone.
    EXPECT_TRUE(comesAbout([&] { return serves(server); }));
    EXPECT_TRUE(one.succeeds(Request(Type::Close, "uio.32")));
}

/** A client of this machine with another address of it. */
RecordClient connectFrom(const char* address, std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    EXPECT_EQ(::inet_pton(AF_INET, address, &own.sin_addr), 1);
    EXPECT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&server), sizeof(server)), 0);
    return RecordClient::on(socket);
}

// It waits for a whole period.
#ifndef RYNVEL_TESTS_RUN_SLOWLY
TEST(Rynveld, TellsWhatItHasLeftOutAfterAFloodHasEnded) {
    Launch launch;
    launch.traces = "*=1";
    RynveldProcess server(simulatedWith({"--max-connections", "1"}), launch);
    const RecordClient first(server.port());
    EXPECT_TRUE(first.succeeds(Request(Type::Open, "uio.32")));
    for (unsigned int i = 0; i < 25; ++i) {
        EXPECT_TRUE(RecordClient(server.port()).isEnded());
    }
    std::this_thread::sleep_for(std::chrono::seconds(13));
    EXPECT_TRUE(RecordClient(server.port()).isEnded());
    const std::string text = server.endWithText();
    const auto count = text.find("Suppressed lines about 127.0.0.0/8: 5 (connections).\n");
    const auto last = text.rfind(" turned away: the connection limit (1) is reached.\n");
    ASSERT_NE(count, std::string::npos) << text;
    ASSERT_NE(last, std::string::npos) << text;
    EXPECT_LT(count, last) << text;
}
#endif

TEST(Rynveld, EndsConnectionsWhoseRequestTakesTooLong) {
    const RynveldProcess server(simulatedWith({"--idle-timeout", "200ms"}));
    const RecordClient client(server.port());
    const Request request(Type::Open, "uio.32");
    const auto* const bytes = static_cast<const char*>(request.toBuffer());
    std::size_t sent = 0;
    while (sent < request.getSize() && client.send(bytes + sent, 1)) {
        ++sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(client.isEnded());
}

// The checks for undefined behaviour need descriptors themselves.
#ifndef __SANITIZE_ADDRESS__
TEST(Rynveld, ServesOnWhenItHasRunOutOfDescriptors) {
    Launch launch;
    constexpr std::size_t limit = 40;
    launch.preparation = "ulimit -n " + std::to_string(limit) + "; ";
    const RynveldProcess server(simulated, launch);
    const RecordClient first(server.port());
    EXPECT_TRUE(first.succeeds(Request(Type::Open, "uio.32")));
    {
        std::vector<RecordClient> clients;
        for (unsigned int i = 0; i < 60; ++i) {
            clients.emplace_back(server.port());
        }
        EXPECT_TRUE(comesAbout([&] { return server.descriptors() >= limit; }));
        EXPECT_EQ(valuesOf(first.exchange(readOf(Type::Read32, "uio.32", 0))), Values{0});
        EXPECT_TRUE(first.isRefused(Request(Type::Open, "uio.16")));
        EXPECT_EQ(valuesOf(first.exchange(readOf(Type::Read32, "uio.32", 0))), Values{0});
    }
    EXPECT_TRUE(serves(server));
}
#endif

TEST(Rynveld, EndsConnectionsThatAreIdleButNotArmedOnes) {
    const RynveldProcess server(simulatedWith({"--idle-timeout", "300ms"}));
    const RecordClient armed(server.port());
    EXPECT_TRUE(armed.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(armed.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_TRUE(RecordClient(server.port()).isEnded());
    }
    const RecordClient other(server.port());
    EXPECT_TRUE(other.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(other.succeeds(requestOf(Type::Debug, "uio.32", 0, {7})));
    EXPECT_EQ(armed.interrupt(), 7U);
}

TEST(Rynveld, ServesTheChosenDevicesOnly) {
    const RynveldProcess server(simulatedWith({"--device", "uio.16", "--device", "seek.8"}));
    EXPECT_TRUE(serves(server, "uio.16"));
    EXPECT_TRUE(serves(server, "seek.8"));
    EXPECT_FALSE(serves(server, "uio.32"));
}

TEST(Rynveld, ServesNoDevicesOfOtherServers) {
    const RynveldProcess server(simulated);
    EXPECT_FALSE(serves(server, "far"));
}

TEST(Rynveld, ChangesNothingWhenItIsReadOnly) {
    const RynveldProcess server(simulatedWith({"--read-only"}));
    const RecordClient client(server.port());
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(client.isRefused(requestOf(Type::Write32, "uio.32", 0, {7})));
    EXPECT_EQ(valuesOf(client.exchange(readOf(Type::Read32, "uio.32", 0))), Values{0});
}

TEST(Rynveld, PassesOnlyAllowedIoctlCommandsOn) {
    const RynveldProcess server(simulatedWith({"--allow-ioctl", "0xEE00"}));
    const RecordClient client(server.port());
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    Request request(Type::Ioctl, "uio.32");
    request.setCommand(0xEE00);
    EXPECT_EQ(valuesOf(client.exchange(request)), Values{0});
    request.setCommand(0xEE01);
    EXPECT_TRUE(client.isRefused(request));
}

TEST(Rynveld, RaisesInterruptsAgainAndAgain) {
    const RynveldProcess server(simulatedWith({"--interrupt-every", "uio.32=1ms", "--interrupt-every", "uio.16=2ms"}));
    for (const char* name : {"uio.16", "uio.32"}) {
        const RecordClient client(server.port());
        EXPECT_TRUE(client.succeeds(Request(Type::Open, name)));
        EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, name)));
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

/** Lets a client of its own make a request for the device. */
void tell(const RynveldProcess& server, const Request& request) {
    const RecordClient client(server.port());
    EXPECT_TRUE(client.succeeds(Request(Type::Open, request.getDeviceName())));
    EXPECT_TRUE(client.succeeds(request));
}

TEST(Rynveld, HasArmedAConnectionWhenItsAnswerBegins) {
    const RynveldProcess server(simulatedWith({"--fault", "split=20ms:3"}));
    constexpr std::size_t half = 260;
    std::array<char, half> piece{};
    for (unsigned int round = 0; round < 20; ++round) {
        const RecordClient armed(server.port());
        EXPECT_TRUE(armed.succeeds(Request(Type::Open, "uio.32")));
        EXPECT_TRUE(armed.succeeds(Request(Type::Open, "uio.32")));
        EXPECT_TRUE(armed.send(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_EQ(::recv(armed.socket(), piece.data(), half, MSG_WAITALL), static_cast<ssize_t>(half));
        tell(server, Request(Type::DisableInterrupt, "uio.32"));
        tell(server, requestOf(Type::Debug, "uio.32", 0, {7}));
        ASSERT_EQ(::recv(armed.socket(), piece.data(), half, MSG_WAITALL), static_cast<ssize_t>(half));
        // The arming has not enabled what was disabled: the second takes the place of the first.
        tell(server, requestOf(Type::Debug, "uio.32", 0, {8}));
        tell(server, Request(Type::EnableInterrupt, "uio.32"));
        ASSERT_EQ(armed.interrupt(), 8U);
    }
}

TEST(Rynveld, ReportsNoInterruptThatWasDisabledAfterTheAnswerToTheWait) {
    const RynveldProcess server(simulated);
    const RecordClient armed(server.port());
    const RecordClient other(server.port());
    EXPECT_TRUE(armed.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(other.succeeds(Request(Type::Open, "uio.32")));
    for (std::uint32_t round = 1; round <= arming; ++round) {
        ASSERT_TRUE(armed.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_TRUE(other.succeeds(Request(Type::DisableInterrupt, "uio.32")));
        ASSERT_TRUE(other.succeeds(requestOf(Type::Debug, "uio.32", 0, {round})));
        ASSERT_TRUE(armed.succeeds(Request(Type::Open, "uio.32"))) << "an interrupt came in round " << round;
        // The pending interrupt is received, so that the next round begins as this one.
        ASSERT_TRUE(other.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_EQ(other.interrupt(), round);
        ASSERT_TRUE(other.succeeds(Request(Type::Open, "uio.32")));
    }
}

TEST(Rynveld, ReportsEveryInterruptThatIsRaisedAfterTheAnswerToTheWait) {
    const RynveldProcess server(simulated);
    const RecordClient first(server.port());
    const RecordClient second(server.port());
    const RecordClient other(server.port());
    for (const auto* client : {&first, &second, &other}) {
        EXPECT_TRUE(client->succeeds(Request(Type::Open, "uio.32")));
    }
    EXPECT_TRUE(first.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    for (std::uint32_t round = 1; round <= arming; ++round) {
        ASSERT_TRUE(second.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        ASSERT_TRUE(other.succeeds(requestOf(Type::Debug, "uio.32", 0, {round})));
        ASSERT_EQ(second.interrupt(), round);
        ASSERT_EQ(first.interrupt(), round);
        ASSERT_TRUE(other.succeeds(Request(Type::EnableInterrupt, "uio.32")));
        ASSERT_TRUE(second.succeeds(Request(Type::Open, "uio.32")));
    }
}

TEST(Rynveld, FreesThePlaceOfAnArmedClientThatGoes) {
    const RynveldProcess server(simulatedWith({"--max-connections", "1"}));
    for (unsigned int i = 0; i < 10; ++i) {
        std::unique_ptr<RecordClient> client;
        ASSERT_TRUE(comesAbout([&] {
            client = std::make_unique<RecordClient>(server.port());
            return client->succeeds(Request(Type::Open, "uio.32"));
        }));
        EXPECT_TRUE(client->succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    }
}

TEST(Rynveld, ServesTheDevicesOfThisMachine) {
    const OwnFolder folder;
    const RynveldProcess server({});
    EXPECT_FALSE(serves(server, "missing"));
    EXPECT_FALSE(serves(server, "uio.32"));
    EXPECT_FALSE(serves(server, "map.32"));
    OwnFolder::makeFile("registers.map", 4096);
    const RecordClient client(server.port());
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "map.32")));
    EXPECT_TRUE(client.succeeds(requestOf(Type::Write32, "map.32", 1, {0x11223344})));
    EXPECT_TRUE(client.isRefused(readOf(Type::Read32, "map.32", 1024)));
    std::ifstream file("registers.map", std::ios::binary);
    std::array<std::uint32_t, 2> registers{};
    file.read(reinterpret_cast<char*>(registers.data()), sizeof(registers));
    EXPECT_EQ(registers[1], 0x11223344U);
}

TEST(Rynveld, OpensADeviceFileOnceForAClient) {
    const OwnFolder folder;
    const RynveldProcess server({});
    for (const auto& [name, path] : {std::pair{"map.32", "registers.map"}, std::pair{"seek.8", "registers.seek"}}) {
        OwnFolder::makeFile(path, 4096);
        const OpenCounter counter(path);
        const RecordClient client(server.port());
        EXPECT_TRUE(client.succeeds(Request(Type::Open, name)));
        EXPECT_EQ(counter.next(), 1U) << name;
    }
}

/** A client whose Open is under way, for as long as the file of its device is held. */
class OpeningClient {
public:
    OpeningClient(const RynveldProcess& server, const std::string& name, const std::string& path)
        : m_file(path), m_client(server.port()) {
        EXPECT_TRUE(m_client.send(Request(Type::Open, name)));
        EXPECT_TRUE(comesAbout([this] { return m_file.isAwaited(); }));
    }

    bool isWaiting() const {
        char byte = 0;
        return ::recv(m_client.socket(), &byte, sizeof(byte), MSG_DONTWAIT | MSG_PEEK) < 0;
    }
    std::string port() const { return portOf(m_client.socket()); }
    void release() const { m_file.release(); }
    bool opensWhenReleased() const {
        release();
        Rynvel::Response response;
        return m_client.receive(response) && response.isSuccessful();
    }

private:
    const LeasedFile m_file;
    const RecordClient m_client;
};

TEST(Rynveld, OpensADeviceWhileTheOpeningOfAnotherTakesLong) {
    const OwnFolder folder;
    OwnFolder::makeFile("registers.map", 4096);
    OwnFolder::makeFile("registers.seek", 16);
    const RynveldProcess server({});
    const OpeningClient slow(server, "map.32", "registers.map");
    EXPECT_TRUE(serves(server, "seek.8"));
    EXPECT_TRUE(slow.isWaiting());
    EXPECT_TRUE(slow.opensWhenReleased());
}

TEST(Rynveld, EndsWhileADeviceBlocks) {
    const OwnFolder folder;
    OwnFolder::makeFile("registers.map", 4096);
    RynveldProcess server({});
    const OpeningClient slow(server, "map.32", "registers.map");
    const auto begin = std::chrono::steady_clock::now();
    server.end();
    // The system would hold it for 45 s.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST(Rynveld, SurvivesBusErrorsOfManyClients) {
    const OwnFolder folder;
    OwnFolder::makeFile("registers.map", 0);
    const RynveldProcess server({});
    // The signal of a bus error, but of none.
    EXPECT_EQ(::kill(server.pid(), SIGBUS), 0);
    for (unsigned int i = 0; i < 20; ++i) {
        const RecordClient client(server.port());
        EXPECT_TRUE(client.succeeds(Request(Type::Open, "map.32")));
        EXPECT_TRUE(client.isRefused(readOf(Type::Read32, "map.32", i)));
    }
    OwnFolder::makeFile("registers.map", 4096);
    const RecordClient client(server.port());
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "map.32")));
    EXPECT_EQ(valuesOf(client.exchange(readOf(Type::Read32, "map.32", 0))), Values{0});
}

TEST(Rynveld, NamesTheClientOfAnOperationThatItCannotInterrupt) {
    const OwnFolder folder;
    OwnFolder::makeFile("registers.map", 4096);
    Launch launch;
    launch.traces = "*=1";
    // The signal that interrupts operations does not arrive.
    launch.preparation = R"(set -- env --block-signal=USR1 "$@"; )";
    RynveldProcess server({}, launch);
    const OpeningClient slow(server, "map.32", "registers.map");
    auto ending = std::async(std::launch::async, [&] { return server.endWithText(); });
    EXPECT_EQ(ending.wait_for(std::chrono::seconds(2)), std::future_status::timeout);
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

/** A local socket that listens, with a name in the abstract name space. */
class LocalListener {
public:
    LocalListener() {
        const std::string name = this->name();
        m_address.sun_family = AF_UNIX;
        name.copy(m_address.sun_path, name.size());
        m_address.sun_path[0] = '\0';
        m_size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(::bind(m_socket, address(), m_size), 0);
        EXPECT_EQ(::listen(m_socket, 100), 0);
    }
    LocalListener(const LocalListener&) = delete;
    LocalListener& operator=(const LocalListener&) = delete;
    ~LocalListener() { ::close(m_socket); }

    int descriptor() const { return m_socket; }
    std::string name() const { return "@rynveld socket " + std::to_string(::getpid()); }

    RecordClient connect() const {
        const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(::connect(client, address(), m_size), 0);
        return RecordClient::on(client);
    }

private:
    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&m_address); }

    const int m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un m_address{};
    socklen_t m_size = 0;
};

template <typename Socket>
Launch activatedOn(const Socket& listener) {
    return activatedOn(std::vector<int>{listener.descriptor()});
}

TEST(RynveldService, TakesTheSocketThatItIsStartedFor) {
    const Listener listener;
    const RynveldProcess server(simulated, activatedOn(listener));
    EXPECT_EQ(std::to_string(server.port()), listener.port());
    EXPECT_TRUE(serves(server));
}

TEST(RynveldService, TakesAllSocketsThatItIsStartedFor) {
    const Listener one;
    const Listener other;
    const LocalListener local;
    const RynveldProcess server(
        simulatedWith({"--allow", "127.0.0.0/8"}),
        activatedOn(std::vector<int>{one.descriptor(), other.descriptor(), local.descriptor()}));
    EXPECT_NE(server.banner().find(" 0.0.0.0:" + one.port() + ", 0.0.0.0:" + other.port() + ", " + local.name() + ","),
              std::string::npos)
        << server.banner();
    for (const auto* listener : {&one, &other}) {
        const RecordClient client(static_cast<std::uint16_t>(std::stoul(listener->port())));
        EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    }
    EXPECT_TRUE(local.connect().succeeds(Request(Type::Open, "uio.32")));
}

TEST(RynveldService, ServesALocalSocketThatItIsStartedFor) {
    const LocalListener local;
    const RynveldProcess server(simulatedWith({"--interrupt-every", "uio.32=1ms"}), activatedOn(local));
    const RecordClient client = local.connect();
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(client.succeeds(requestOf(Type::Write32, "uio.32", 5, {7})));
    EXPECT_EQ(valuesOf(client.exchange(readOf(Type::Read32, "uio.32", 5))), Values{7});
    EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    EXPECT_NE(client.interrupt(), UINT32_MAX);
}

/** A client of this machine by its address of IPv6. */
RecordClient connectByIpv6(std::uint16_t port) {
    const int socket = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 server{};
    server.sin6_family = AF_INET6;
    server.sin6_port = htons(port);
    server.sin6_addr = in6addr_loopback;
    EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&server), sizeof(server)), 0);
    return RecordClient::on(socket);
}

TEST(RynveldService, LeavesPlacesToOtherHostsAndSaysWhomItTurnsAway) {
    const Listener listener(AF_INET6);
    const LocalListener local;
    Launch launch = activatedOn(std::vector<int>{listener.descriptor(), local.descriptor()});
    launch.traces = "*=1";
    RynveldProcess server(simulatedWith({"--max-connections", "8"}), launch);
    const auto port = static_cast<std::uint16_t>(std::stoul(listener.port()));
    std::vector<RecordClient> clients;
    const auto fill = [&clients](const auto& connect) {
        for (unsigned int i = 0; i < 2; ++i) {
            clients.push_back(connect());
            EXPECT_TRUE(clients.back().succeeds(Request(Type::Open, "uio.32")));
        }
        for (unsigned int i = 0; i < 100; ++i) {
            EXPECT_TRUE(connect().isEnded());
        }
    };
    // A host has as many addresses of these networks as it likes.
    unsigned int last = 1;
    fill([&] { return connectFrom(("127.0.0." + std::to_string(++last)).c_str(), port); });
    fill([port] { return connectByIpv6(port); });
    fill([&local] { return local.connect(); });
    const std::string text = server.endWithText();
    EXPECT_NE(text.find(" turned away: its host has reached the connection limit (2)."), std::string::npos) << text;
    const std::string user = "user " + std::to_string(::geteuid());
    for (const std::string& host : {std::string("127.0.0.0/8"), std::string("::/64"), user}) {
        const std::string line = "Suppressed lines about " + host + ": 80 (connections of host).";
        EXPECT_NE(text.find(line), std::string::npos) << line << '\n' << text;
    }
    EXPECT_EQ(linesIn(text), 3 * (20 + 1)) << text;
}

TEST(RynveldService, TellsTheNetworkOfAClientOnASocketOfBothFamilies) {
    const Listener listener(AF_INET6);
    const auto port = static_cast<std::uint16_t>(std::stoul(listener.port()));
    {
        const RynveldProcess server(simulatedWith({"--allow", "127.0.0.0/8"}), activatedOn(listener));
        EXPECT_TRUE(RecordClient(port).succeeds(Request(Type::Open, "uio.32")));
    }
    const RynveldProcess server(simulatedWith({"--allow", "10.0.0.0/8"}), activatedOn(listener));
    EXPECT_NE(server.banner().find(" [::]:" + listener.port() + ','), std::string::npos) << server.banner();
    EXPECT_TRUE(RecordClient(port).isEnded());
    EXPECT_TRUE(RecordClient(port).isEnded());
}

TEST(RynveldService, SaysWhenItIsReadyAndWhenItStops) {
    const int manager = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const std::string name = "rynveld test " + std::to_string(::getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, name.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    ASSERT_EQ(::bind(manager, reinterpret_cast<const sockaddr*>(&address), size), 0);
    const auto received = [manager](int flags) {
        std::array<char, 100> text{};
        const ssize_t length = ::recv(manager, text.data(), text.size(), flags);
        return length < 0 ? "nothing" : std::string(text.data(), static_cast<std::size_t>(length));
    };
    Launch launch;
    launch.preparation = "export NOTIFY_SOCKET='@" + name + "'; ";
    RynveldProcess server(simulated, launch);
    EXPECT_EQ(received(0), "READY=1");
    EXPECT_TRUE(serves(server));
    EXPECT_EQ(received(MSG_DONTWAIT), "nothing");
    server.end();
    EXPECT_EQ(received(MSG_DONTWAIT), "STOPPING=1");
    EXPECT_EQ(received(MSG_DONTWAIT), "nothing");
    ::close(manager);
}

} // namespace
} // namespace RynvelTest
