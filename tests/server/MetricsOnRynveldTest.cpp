// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"
#include "DescriptionText.h"
#include "HttpRequest.h"
#include "LoopbackListener.h"
#include "RecordClient.h"
#include "RynveldProcess.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using namespace std::chrono_literals;

constexpr auto name = "uio.32";

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryIsItsOwn = false;
#else
constexpr bool memoryIsItsOwn = std::string_view(RYNVELD).find('|') == std::string_view::npos;
#endif

/** Returns the arguments of a simulation server with metrics, on a port that the system chooses. */
Arguments withMetrics(Arguments arguments) {
    arguments.insert(arguments.end(), {"--simulate", "--metrics", "0"});
    return arguments;
}

bool shows(const RynveldProcess& server, const std::string& sample) {
    return hasSample(metricsOf(server.metricsPort()), sample);
}

TEST(MetricsOnRynveld, AreOffByDefault) {
    RynveldProcess server({"--simulate"});
    EXPECT_EQ(server.metricsPort(), 0);
    EXPECT_EQ(server.banner().find("metrics"), std::string::npos);
}

TEST(MetricsOnRynveld, CountWhatClientsDo) {
    const RynveldProcess server(withMetrics({"--read-only"}));
    const RecordClient client(server.port(), name);
    EXPECT_TRUE(client.isRefused(writeOf(name, 0, {1})));
    EXPECT_EQ(client.values(readOf(name, 0)), Values{0});
    const std::string metrics = metricsOf(server.metricsPort());
    for (const char* const sample :
         {"rynveld_build_info{version=\"" RYNVEL_PROJECT_VERSION "\"} 1", "rynveld_connections{state=\"open\"} 1",
          "rynveld_accepted_connections_total 1", "rynveld_requests_total{type=\"read32\",result=\"success\"} 1",
          "rynveld_requests_total{type=\"write32\",result=\"refused\"} 1",
          "rynveld_refused_requests_total{reason=\"the server is read-only\"} 1",
          "rynveld_received_interrupts_total{device=\"uio.32\"} 0", "rynveld_suppressed_log_lines_total 0",
          "rynveld_request_duration_seconds_count 3"}) {
        EXPECT_TRUE(hasSample(metrics, sample)) << sample << " is not in\n" << metrics;
    }
}

TEST(MetricsOnRynveld, CountRefusedConnections) {
    const RynveldProcess server(withMetrics({"--max-connections", "1"}));
    const RecordClient client(server.port(), name);
    EXPECT_TRUE(RecordClient(server.port()).isEnded());
    EXPECT_TRUE(shows(server, "rynveld_refused_connections_total{reason=\"connections\"} 1"));
    EXPECT_TRUE(shows(server, "rynveld_accepted_connections_total 1"));
}

TEST(MetricsOnRynveld, CountSuppressedTraceLines) {
    RynveldProcess::Launch launch;
    launch.traces = "*=4";
    RynveldProcess server(withMetrics({"--read-only"}), launch);
    const RecordClient client(server.port(), name);
    for (unsigned int i = 0; i < 25; ++i) {
        EXPECT_TRUE(client.isRefused(writeOf(name, 0, {1})));
    }
    EXPECT_TRUE(shows(server, "rynveld_suppressed_log_lines_total 5"));
    EXPECT_NE(server.endWithText(), "");
}

TEST(MetricsOnRynveld, ShowExportedRegisters) {
    const TemporaryWorkingFolder folder;
    std::ofstream("uio.svd") << mapWith("uio_32", registerAt("4", "<fields>" + fieldIn("[7:4]", "") + "</fields>"));
    const RynveldProcess server(withMetrics({"--map", "uio.svd", "--export", "uio.32.R4", "--export", "uio.32.R4.F7"}));
    EXPECT_TRUE(RecordClient(server.port(), name).succeeds(writeOf(name, 1, {0xABC})));
    EXPECT_TRUE(shows(server, "rynveld_register_value{device=\"uio.32\",register=\"R4\"} 2748"));
    EXPECT_TRUE(shows(server, "rynveld_register_value{device=\"uio.32\",register=\"R4\",field=\"F7\"} 11"));
}

TEST(MetricsOnRynveld, AreRefusedAtAnAddressInUse) {
    const LoopbackListener listener;
    listener.listen();
    const Ending ending =
        runRynveld({"--simulate", "--listen", "127.0.0.1:0", "--metrics", std::to_string(listener.port())});
    EXPECT_EQ(ending.status, 1);
    EXPECT_EQ(ending.error,
              "rynveld: 127.0.0.1:" + std::to_string(listener.port()) + ": cannot listen: Address already in use\n");
}

/** Hostile clients of the metrics, each in its own thread, which ends with the scope. */
class HostileScrapers {
public:
    explicit HostileScrapers(std::uint16_t port) : m_port(port) {
        start([this] { RecordClient{m_port}; });
        start([this] { answerTo(m_port, metricsRequest); });
        start([this] { sendAndReset("GET /metr"); });
        start([this] { sendAndReset(metricsRequest); });
        start([this] { sendAndReset(std::string(20000, '\xFF')); });
        start([this] { fillWithSilence(); });
    }
    HostileScrapers(const HostileScrapers&) = delete;
    HostileScrapers& operator=(const HostileScrapers&) = delete;
    ~HostileScrapers() {
        m_ended = true;
        for (auto& thread : m_threads) {
            thread.join();
        }
    }

    unsigned int rounds() const { return m_rounds; }

private:
    template <typename Body>
    void start(const Body& body) {
        m_threads.emplace_back([this, body] {
            while (!m_ended) {
                body();
                ++m_rounds;
            }
        });
    }

    void sendAndReset(const std::string& bytes) const {
        RecordClient client(m_port);
        client.send(bytes.data(), bytes.size());
        client.reset();
    }

    void fillWithSilence() {
        std::deque<RecordClient> silent;
        for (unsigned int i = 0; i < 40; ++i) {
            silent.emplace_back(m_port);
        }
    }

    const std::uint16_t m_port;
    std::atomic<bool> m_ended{false};
    std::atomic<unsigned int> m_rounds{0};
    std::vector<std::thread> m_threads;
};

TEST(MetricsOnRynveld, DoNotAffectRegisterServiceWhateverTheirClientsDo) {
    const RynveldProcess server(withMetrics({}));
    const RecordClient client(server.port(), name);
    EXPECT_TRUE(shows(server, "rynveld_accepted_connections_total 1"));
    EXPECT_TRUE(becomesTrue([&] { return server.isIdle(); }));
    const std::size_t descriptors = server.descriptors();
    const std::size_t threads = server.threads();
    std::vector<std::size_t> memory;
    constexpr unsigned int requests = 2000;
    {
        const HostileScrapers scrapers(server.metricsPort());
        for (unsigned int half = 0; half < 2; ++half) {
            for (std::uint32_t i = 0; i < requests / 4; ++i) {
                ASSERT_TRUE(client.succeeds(writeOf(name, 7, {i})));
                ASSERT_EQ(client.values(readOf(name, 7)), Values{i});
            }
            EXPECT_TRUE(becomesTrue([&] { return scrapers.rounds() > 300 * (half + 1); })) << scrapers.rounds();
            memory.push_back(server.residentMemory());
            EXPECT_TRUE(RecordClient(server.port(), name).succeeds(readOf(name, 7)));
        }
    }
    EXPECT_TRUE(becomesTrue([&] { return server.descriptors() <= descriptors + 1; })) << server.descriptors();
    // The thread sanitizer may start one thread.
    EXPECT_LE(server.threads(), threads + (memoryIsItsOwn ? 0 : 1));
    constexpr std::size_t kibibytes = 2048;
    EXPECT_TRUE(!memoryIsItsOwn || memory.back() < memory.front() + kibibytes)
        << memory.front() << ' ' << memory.back();
    EXPECT_TRUE(
        shows(server, "rynveld_requests_total{type=\"write32\",result=\"success\"} " + std::to_string(requests / 2)));
}

} // namespace
} // namespace RynvelTest
