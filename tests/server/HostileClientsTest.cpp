// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <mutex>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"
#include "HttpRequest.h"
#include "MessageBytes.h"
#include "RecordClient.h"
#include "RynveldProcess.h"
#include "SoakAudit.h"
#include "TemporaryWorkingFolder.h"

// Tests the server with clients that violate the protocol, and with many clients that follow it.

namespace RynvelTest {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/** Whether an emulator runs the server. */
constexpr bool emulated = std::string_view(RYNVELD).find('|') != std::string_view::npos;
constexpr bool memoryIsItsOwn = !sanitized && !emulated;

constexpr std::size_t requestSize = 660;
constexpr auto name = "uio.32";

/**
 * The connections of one thread. The thread sends over all of them before it receives, so all connections are busy at
 * once.
 */
using Clients = std::vector<RecordClient>;

Clients connectTo(const RynveldProcess& server, std::size_t count) {
    Clients clients;
    for (std::size_t i = 0; i < count; ++i) {
        clients.emplace_back(server.port());
    }
    return clients;
}

/** Sends one request over each connection. Returns the values of the answers, which must be successes. */
template <typename MakeRequest>
std::vector<Values> exchangeOver(const Clients& clients, const MakeRequest& makeRequest) {
    for (std::size_t i = 0; i < clients.size(); ++i) {
        EXPECT_TRUE(clients[i].send(makeRequest(i)));
    }
    std::vector<Values> answers;
    for (const auto& client : clients) {
        Response response;
        EXPECT_TRUE(client.receive(response));
        EXPECT_TRUE(response.isSuccessful());
        answers.push_back(valuesOf(response));
    }
    return answers;
}

void expectService(const RynveldProcess& server) {
    const RecordClient client(server.port(), name);
    EXPECT_TRUE(client.succeeds(writeOf(name, 1000, {0xCAFE})));
    EXPECT_EQ(client.values(readOf(name, 1000)), Values{0xCAFE});
}

/**
 * Waits until the server is idle, and returns the number of its descriptors. While the server works, the undefined
 * behavior sanitizer may open pipes for a moment.
 */
std::size_t descriptorsAtRest(const RynveldProcess& server) {
    EXPECT_TRUE(becomesTrue([&] { return server.isIdle(); }));
    return server.descriptors();
}

void expectNoMoreDescriptors(const RynveldProcess& server, std::size_t most) {
    EXPECT_TRUE(becomesTrue([&] { return server.descriptors() <= most; })) << server.descriptors();
}

/** A source of random bytes, numbers and requests. The same seed always gives the same sequence. */
class Noise {
public:
    explicit Noise(unsigned int seed) : m_random(seed) {}

    std::vector<char> bytes(std::size_t size) {
        std::vector<char> bytes(size);
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(m_random()); });
        return bytes;
    }

    std::uint32_t word() { return static_cast<std::uint32_t>(m_random()); }
    std::uint32_t below(std::uint32_t limit) { return word() % limit; }
    bool half() { return below(2) == 0; }

    /** Returns a random request. Its fields may be correct or not. */
    Request request() {
        static constexpr std::array<const char*, 4> names{"uio.32", "uio.16", "seek.8", "nothing"};
        Request request(static_cast<Type>(below(14)), names[below(names.size())]);
        request.setAddress(below(8) == 0 ? word() : below(4100));
        for (std::uint32_t i = below(130); i > 0; --i) {
            request.addValue(word() >> 8 * below(4));
        }
        request.setBitmask(half() ? 0 : word() >> 8 * below(4));
        return request;
    }

private:
    std::mt19937 m_random;
};

void append(std::vector<char>& bytes, const Request& request) {
    const auto record = bytesOf(request);
    bytes.insert(bytes.end(), record.begin(), record.end());
}

/** Sends as many of the bytes as the server accepts, and discards the answers. */
void throwAt(const RynveldProcess& server, const std::vector<char>& bytes) {
    const RecordClient client(server.port());
    std::thread reader([&] {
        std::vector<char> answers(1 << 16);
        while (::recv(client.socket(), answers.data(), answers.size(), 0) > 0) {
        }
    });
    client.send(bytes.data(), bytes.size());
    ::shutdown(client.socket(), SHUT_WR);
    reader.join();
}

TEST(HostileClients, MaySendTenMegabytesOfRandomBytes) {
    const RynveldProcess server({"--simulate"});
    Noise noise(1);
    for (unsigned int i = 0; i < 10; ++i) {
        throwAt(server, noise.bytes(1000003));
    }
    expectService(server);
}

TEST(HostileClients, MaySendRequestsWithAnyContents) {
    const RynveldProcess server({"--simulate", "--allow-ioctl", "0"});
    Noise noise(2);
    for (unsigned int i = 0; i < 20; ++i) {
        std::vector<char> requests;
        append(requests, Request(Type::Open, name));
        for (unsigned int j = 0; j < 200; ++j) {
            // requestAnything() covers the requests to wait for interrupts.
            const Request request = noise.request();
            if (request.getType() != Type::WaitForInterrupt) {
                append(requests, request);
            }
        }
        throwAt(server, requests);
    }
    expectService(server);
}

TEST(HostileClients, AreDisconnectedAtTheFirstRecordThatIsNotARequest) {
    const RynveldProcess server({"--simulate"});
    Noise noise(3);
    for (unsigned int i = 0; i < 50; ++i) {
        const RecordClient client(server.port());
        auto bytes = noise.bytes(requestSize);
        bytes[0] = 1;
        if (i % 2 == 0) {
            client.open(name);
        }
        EXPECT_TRUE(client.send(bytes.data(), bytes.size()));
        EXPECT_TRUE(client.isEnded());
    }
    expectService(server);
}

/**
 * Returns the body of an HTTP request that a web page can send. The body contains a write request at every alignment.
 */
std::vector<char> writesAtEveryAlignment(std::uint32_t address) {
    std::vector<char> body;
    for (std::size_t i = 0; i <= requestSize; ++i) {
        append(body, Request(Type::Open, name));
        append(body, writeOf(name, address, {0xBAD}));
        body.push_back('x');
    }
    return body;
}

/** Posts the file "body" to the server with curl. Returns the exit status of curl. */
int post(const RynveldProcess& server) {
    const std::string command =
        "curl --silent --http0.9 --noproxy '*' --max-time 60 --header 'Content-Type: text/plain' "
        "--header 'Expect:' --data-binary @body --output answer http://127.0.0.1:" +
        std::to_string(server.port()) + "/";
    return WEXITSTATUS(std::system(command.c_str()));
}

TEST(HostileClients, ReachNoRegisterThroughAnHttpClient) {
    const TemporaryWorkingFolder folder;
    const RynveldProcess server({"--simulate"});
    constexpr std::uint32_t address = 16;
    const auto body = writesAtEveryAlignment(address);
    std::ofstream("body", std::ios::binary).write(body.data(), static_cast<std::streamsize>(body.size()));
    const int status = post(server);
    // If the server closes the connection, curl reports an empty reply, a failed send or a failed receive.
    EXPECT_TRUE(status == 52 || status == 55 || status == 56) << status;
    EXPECT_EQ(std::filesystem::exists("answer") ? std::filesystem::file_size("answer") : 0U, 0U);
    EXPECT_EQ(RecordClient(server.port(), name).values(readOf(name, address)), Values{0});
}

TEST(HostileClients, MayDisconnectInTheMiddleOfARequest) {
    const RynveldProcess server({"--simulate"});
    const Request request(Type::Open, name);
    for (std::size_t size = 1; size < requestSize; size += 13) {
        RecordClient client(server.port());
        EXPECT_TRUE(client.send(request.toBuffer(), size));
        if (size % 2 == 0) {
            client.reset();
        }
    }
    expectService(server);
}

TEST(HostileClients, MayConnectThousandsOfTimesAndSendNothing) {
    const RynveldProcess server({"--simulate", "--max-connections", "10000", "--max-connections-per-host", "10000"});
    expectService(server);
    const std::size_t descriptors = descriptorsAtRest(server);
    for (unsigned int i = 0; i < 3000; ++i) {
        RecordClient client(server.port());
        if (i % 2 == 0) {
            client.reset();
        }
    }
    expectService(server);
    expectNoMoreDescriptors(server, descriptors);
}

/** In every round, writes one register for each client and reads the register back. */
void useRegistersFrom(std::uint32_t first, const Clients& clients, std::uint32_t rounds) {
    const auto registerOf = [first](std::size_t i) { return static_cast<std::uint32_t>(first + i); };
    exchangeOver(clients, [](std::size_t /*i*/) { return Request(Type::Open, name); });
    for (std::uint32_t round = 0; round < rounds; ++round) {
        exchangeOver(clients,
                     [&](std::size_t i) { return writeOf(name, registerOf(i), {registerOf(i) << 16 | round}); });
        const auto answers = exchangeOver(clients, [&](std::size_t i) { return readOf(name, registerOf(i)); });
        for (std::size_t i = 0; i < answers.size(); ++i) {
            EXPECT_EQ(answers[i], Values{registerOf(i) << 16 | round});
        }
    }
}

TEST(ManyClients, AreAllAnsweredCorrectly) {
    constexpr std::size_t perThread = 50;
    const RynveldProcess server({"--simulate", "--max-connections", "500", "--max-connections-per-host", "500"});
    std::vector<Clients> clients;
    for (std::size_t thread = 0; thread < 10; ++thread) {
        clients.push_back(connectTo(server, perThread));
    }
    const auto begin = Clock::now();
    std::vector<std::future<void>> threads;
    for (std::size_t thread = 0; thread < clients.size(); ++thread) {
        threads.push_back(
            std::async(std::launch::async, useRegistersFrom, thread * perThread, std::cref(clients[thread]), 100));
    }
    threads.clear();
    const std::chrono::duration<double> time = Clock::now() - begin;
    std::cout << "100000 operations of 500 connections in " << time.count() << " s" << std::endl;
}

/** Makes clients send one and a half records, and disconnect without reading the answers, as killed clients do. */
void disconnectDuringAnExchange(const RynveldProcess& server, std::size_t count) {
    const std::vector<char> requests(requestSize * 3 / 2);
    for (const auto& client : connectTo(server, count)) {
        EXPECT_TRUE(client.send(requests.data(), requests.size()));
    }
}

TEST(HostileClients, LeaveNoResourcesInUseWhenTheyDisconnectDuringAnExchange) {
    const RynveldProcess server({"--simulate", "--max-connections", "1000", "--max-connections-per-host", "1000"});
    const std::size_t descriptors = descriptorsAtRest(server);
    const std::size_t threads = server.threads();
    // The thread sanitizer may start one thread.
    const std::size_t flat = threads + (sanitized ? 1 : 0);
    const auto isFlat = [&] { return server.descriptors() == descriptors && server.threads() <= flat; };
    std::vector<std::size_t> memory;
    for (unsigned int round = 0; round < (memoryIsItsOwn ? 6 : 2); ++round) {
        disconnectDuringAnExchange(server, 500);
        disconnectDuringAnExchange(server, 500);
        ASSERT_TRUE(becomesTrue(isFlat)) << server.descriptors() << " descriptors, " << server.threads() << " threads";
        memory.push_back(server.residentMemory());
    }
    // The allocator does not return all memory to the system, so the test compares later rounds with earlier rounds.
    const auto half = memory.begin() + static_cast<std::ptrdiff_t>(memory.size() / 2);
    const std::size_t before = *std::max_element(memory.begin(), half);
    const std::size_t after = *std::min_element(half, memory.end());
    std::cout << "after " << memory.size() << "000 clients: descriptors " << descriptors << " -> "
              << server.descriptors() << ", threads " << threads << " -> " << server.threads() << ", resident memory "
              << before << " -> " << after << " KiB" << std::endl;
    constexpr std::size_t oneForEachClient = 1000;
    EXPECT_TRUE(!memoryIsItsOwn || after < before + oneForEachClient);
    expectService(server);
}

/** Sends requests without reading the answers, until sending would block. */
void stall(const RecordClient& client) {
    constexpr int small = 1;
    ::setsockopt(client.socket(), SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
    const std::vector<char> requests(requestSize * 100);
    while (::send(client.socket(), requests.data(), requests.size(), MSG_DONTWAIT) > 0) {
    }
}

std::chrono::duration<double, std::micro> roundTrip(const RecordClient& client) {
    const auto request = readOf(name, 0);
    const auto begin = Clock::now();
    EXPECT_TRUE(client.succeeds(request));
    return Clock::now() - begin;
}

/** A scope in which the thread and the processes that it starts share one processor, so their times are comparable. */
class OneProcessor {
public:
    OneProcessor() {
        EXPECT_EQ(sched_getaffinity(0, sizeof(m_before), &m_before), 0);
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &m_one);
        EXPECT_EQ(sched_setaffinity(0, sizeof(m_one), &m_one), 0);
    }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;
    ~OneProcessor() { EXPECT_EQ(sched_setaffinity(0, sizeof(m_before), &m_before), 0); }

private:
    cpu_set_t m_before{};
    cpu_set_t m_one{};
};

TEST(HostileClients, DoNotDelayOtherClientsWhenTheyStall) {
    const OneProcessor oneProcessor;
    const RynveldProcess quiet({"--simulate"});
    const RynveldProcess busy({"--simulate", "--max-connections-per-host", "200"});
    const RecordClient quietClient(quiet.port(), name);
    const RecordClient busyClient(busy.port(), name);
    const Clients stalled = connectTo(busy, 100);
    for (const auto& client : stalled) {
        stall(client);
    }
    // The measurement begins when the server cannot send any more answers to the stalled clients.
    unsigned int idle = 0;
    ASSERT_TRUE(becomesTrue([&] {
        idle = busy.isIdle() ? idle + 1 : 0;
        return idle == 10;
    }));
    std::vector<double> quietTimes;
    std::vector<double> busyTimes;
    for (unsigned int i = 0; i < 3000; ++i) {
        quietTimes.push_back(roundTrip(quietClient).count());
        busyTimes.push_back(roundTrip(busyClient).count());
    }
    const auto median = [](std::vector<double>& times) {
        std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
        return times[times.size() / 2];
    };
    const double ratio = median(busyTimes) / median(quietTimes);
    std::cout << "round trip " << median(quietTimes) << " us without and " << median(busyTimes)
              << " us with 100 stalled clients: ratio " << ratio << std::endl;
}

/** Clients of several kinds that use a server repeatedly and at the same time, for the duration of the soak. */
class Soak {
public:
    explicit Soak(const RynveldProcess& server) : m_server(server) {}

    /** Returns the duration of the soak, RYNVEL_SOAK_SECONDS or 2 seconds. */
    static std::chrono::seconds time() {
        const char* const seconds = std::getenv("RYNVEL_SOAK_SECONDS");
        return std::chrono::seconds(seconds == nullptr ? 2 : std::atoi(seconds));
    }

    /** Starts clients. Each client uses one connection after the other, with its own random numbers. */
    template <typename Use>
    void start(unsigned int count, const Use& use) {
        for (unsigned int i = 0; i < count; ++i) {
            m_clients.push_back(std::async(std::launch::async, [this, use, seed = m_clients.size()] {
                Noise noise(static_cast<unsigned int>(seed));
                while (isOn()) {
                    RecordClient client(m_server.port());
                    use(client, noise);
                }
            }));
        }
    }

    bool isOn() const { return Clock::now() < m_end; }

private:
    const RynveldProcess& m_server;
    const Clock::time_point m_end = Clock::now() + time();
    std::vector<std::future<void>> m_clients;
};

/** Uses every device once. The server keeps simulated devices, so its number of descriptors does not grow later. */
void useEveryDevice(const RynveldProcess& server) {
    for (const char* device : {"uio.32", "uio.16", "seek.8"}) {
        RecordClient(server.port(), device).exchange(Request(Type::WaitForInterrupt, device));
    }
}

void receiveInterrupts(RecordClient& client, Noise& /*noise*/) {
    client.arm(name);
    for (unsigned int i = 0; i < 5; ++i) {
        EXPECT_NE(client.interrupt(), UINT32_MAX);
    }
}

/** At random, resets the connection, or leaves closing the connection to the destructor of the client. */
void end(RecordClient& client, Noise& noise) {
    if (noise.half()) {
        client.reset();
    }
}

void requestAnything(RecordClient& client, Noise& noise) {
    for (std::uint32_t i = noise.below(20); i > 0; --i) {
        Request request = noise.request();
        // Clients of other kinds check the registers and the interrupts of this device, so this client only opens the
        // device and waits for its interrupts.
        if (request.getDeviceName() == name) {
            request.setType(noise.half() ? Type::Open : Type::WaitForInterrupt);
        }
        client.send(request.toBuffer(), noise.below(10) == 0 ? noise.below(requestSize) : requestSize);
    }
    end(client, noise);
}

void sendRandomBytes(RecordClient& client, Noise& noise) {
    auto bytes = noise.bytes(1 + noise.below(5 * requestSize));
    if (noise.half()) {
        client.succeeds(Request(Type::Open, name));
        bytes[0] = 1;
    }
    client.send(bytes.data(), bytes.size());
    end(client, noise);
}

void pauseInTheMiddleOfARequest(RecordClient& client, Noise& noise) {
    const auto bytes = bytesOf(Request(Type::Open, name));
    const std::size_t size = 1 + noise.below(requestSize - 1);
    client.send(bytes.data(), size);
    std::this_thread::sleep_for(1ms * noise.below(200));
    if (noise.half()) {
        client.send(bytes.data() + size, requestSize - size);
    }
}

void takeNoAnswers(RecordClient& client, Noise& noise) {
    client.send(Request(Type::Open, name));
    stall(client);
    std::this_thread::sleep_for(1ms * noise.below(100));
}

std::size_t countOf(const std::string& part, const std::string& text) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/** Expects only traces that hostile clients cause, and no more lines about disconnections than the limit allows. */
void expectTracesOfASoak(const std::string& text) {
    const std::size_t hungUp = countOf(" was disconnected: ", text);
    EXPECT_GT(hungUp, 0U);
    const std::size_t others = countOf("Suppressed lines about 127.0.0.0/8: ", text) +
                               countOf(" cannot be opened for 127.0.0.1:", text) +
                               countOf(" does not read its interrupts: one is lost.", text);
    EXPECT_EQ(hungUp + others, countOf("\n", text)) << text;
    constexpr std::size_t causes = 6;
    constexpr std::size_t linesPerPeriod = 20;
    const auto periods = static_cast<std::size_t>(Soak::time() / 10s) + 2;
    EXPECT_LE(hungUp, periods * causes * linesPerPeriod);
}

/** Returns the local port of a client. The server identifies the client by this port. */
std::uint16_t ownPort(const RecordClient& client) {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    EXPECT_EQ(::getsockname(client.socket(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

TEST(HostileClients, DoNotKeepTheOthersFromTheirWork) {
    RynveldProcess::Launch launch;
    launch.traces = "*=3";
    const TemporaryWorkingFolder folder;
    RynveldProcess server({"--simulate", "--interrupt-every", "uio.32=1ms", "--idle-timeout", "10s",
                           "--max-connections-per-host", "256", "--audit", "audit", "--audit-old", "--metrics", "0"},
                          launch);
    SoakAudit audit("audit", name);
    useEveryDevice(server);
    const std::size_t descriptors = descriptorsAtRest(server);
    std::atomic<std::uint32_t> served{0};
    std::atomic<std::uint32_t> nextAddress{0};
    std::mutex mutex;
    Clock::duration longest{};
    {
        Soak soak(server);
        soak.start(4, [&](RecordClient& client, Noise& noise) {
            const std::uint32_t address = 2 * (nextAddress++ % 400);
            const std::uint16_t port = ownPort(client);
            client.open(name);
            for (std::uint32_t i = 0; soak.isOn() && i < 1000000; ++i) {
                const auto begin = Clock::now();
                EXPECT_TRUE(client.succeeds(writeOf(name, address, {i, ~i})));
                audit.saw(port);
                EXPECT_TRUE(client.succeeds(writeOf(name, SoakAudit::sharedAddress, {noise.word()})));
                EXPECT_EQ(client.values(readOf(name, address, 2)), (Values{i, ~i}));
                ++served;
                const auto taken = Clock::now() - begin;
                const std::lock_guard<std::mutex> lock(mutex);
                longest = std::max(longest, taken);
            }
        });
        soak.start(4, receiveInterrupts);
        soak.start(6, requestAnything);
        soak.start(6, sendRandomBytes);
        soak.start(6, pauseInTheMiddleOfARequest);
        soak.start(6, takeNoAnswers);
        while (soak.isOn()) {
            audit.rotate(server);
            EXPECT_GT(sampleOf(metricsOf(server.metricsPort()), "rynveld_accepted_connections_total"), 0U);
            std::this_thread::sleep_for(100ms);
        }
    }
    std::cout << served << " exchanges of 4 clients in " << Soak::time().count()
              << " s beside 28 other clients, the longest exchange " << std::chrono::duration<double>(longest).count()
              << " s" << std::endl;
    EXPECT_LT(longest, 10s);
    EXPECT_GE(sampleOf(metricsOf(server.metricsPort()), "rynveld_requests_total{type=\"write32\",result=\"success\"}"),
              2 * served);
    expectService(server);
    expectNoMoreDescriptors(server, descriptors);
    expectTracesOfASoak(server.endWithText());
    audit.expectAllWrites();
}

} // namespace
} // namespace RynvelTest
