// SPDX-License-Identifier: MIT
#include "Metrics.h"

#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"
#include "HttpRequest.h"
#include "RecordClient.h"
#include "Session.h"
#include "SocketPair.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynveld::Metrics;
using Rynveld::MetricText;
using namespace std::chrono_literals;

std::string textOf(const Metrics& metrics) {
    MetricText text;
    metrics.writeTo(text);
    return text.text();
}

/** A fixture for sessions of a server with metrics. */
class MetricsTest : public testing::Test {
protected:
    /** A session in its own thread. */
    class Served {
    public:
        explicit Served(MetricsTest& test)
            : m_client(RecordClient::on(m_pair.releaseClient())),
              m_session(m_pair.releaseServer(), {"a client", "its host", test.m_limit}, test.m_devices, test.m_policy,
                        0ms, {}, &test.m_metrics),
              m_thread([this] { m_session.run(); }) {}
        Served(const Served&) = delete;
        Served& operator=(const Served&) = delete;
        ~Served() {
            m_session.stop();
            m_thread.join();
        }
        const RecordClient& client() const { return m_client; }

    private:
        SocketPair m_pair;
        const RecordClient m_client;
        Rynveld::Session m_session;
        std::thread m_thread;
    };

    MetricsTest() { Rynveld::installWakeUpHandler(); }

    void expectSample(const std::string& sample) const {
        const std::string text = textOf(m_metrics);
        EXPECT_TRUE(hasSample(text, sample)) << sample << " is not in\n" << text;
    }
    void expectDeviceSample(const std::string& sample) {
        MetricText text;
        m_devices.writeMetricsTo(text);
        EXPECT_TRUE(hasSample(text.text(), sample)) << sample << " is not in\n" << text.text();
    }

    static Rynveld::Policy simulated() {
        Rynveld::Policy policy;
        policy.simulate = true;
        policy.devices = {"uio.32", "seek.8"};
        return policy;
    }

    const Rynveld::CurrentPolicy m_policy{simulated()};
    Rynveld::TraceLimit m_limit;
    Rynveld::ServedDevices m_devices{m_policy};
    Metrics m_metrics;
};

TEST_F(MetricsTest, CountConnectionsByTheirState) {
    const Served idle(*this);
    EXPECT_TRUE(idle.client().isRefused(Request(Type::Open, "nothing")));
    const Served open(*this);
    open.client().open("uio.32");
    {
        const Served armed(*this);
        armed.client().arm("uio.32");
        expectSample("rynveld_connections{state=\"idle\"} 1");
        expectSample("rynveld_connections{state=\"open\"} 1");
        expectSample("rynveld_connections{state=\"armed\"} 1");
        EXPECT_TRUE(armed.client().succeeds(Request(Type::DisableInterrupt, "uio.32")));
        expectSample("rynveld_connections{state=\"open\"} 2");
        expectSample("rynveld_connections{state=\"armed\"} 0");
    }
    expectSample("rynveld_connections{state=\"open\"} 1");
    EXPECT_TRUE(open.client().succeeds(Request(Type::Close, "uio.32")));
    expectSample("rynveld_connections{state=\"idle\"} 2");
    expectSample("rynveld_connections{state=\"open\"} 0");
    expectSample("rynveld_accepted_connections_total 3");
}

TEST_F(MetricsTest, CountRequestsByTypeAndResult) {
    const Served served(*this);
    served.client().open("uio.32");
    EXPECT_TRUE(served.client().succeeds(writeOf("uio.32", 1, {7})));
    EXPECT_EQ(served.client().values(readOf("uio.32", 1)), Values{7});
    EXPECT_TRUE(served.client().isRefused(readOf("uio.32", 100000)));
    expectSample("rynveld_requests_total{type=\"open\",result=\"success\"} 1");
    expectSample("rynveld_requests_total{type=\"write32\",result=\"success\"} 1");
    expectSample("rynveld_requests_total{type=\"read32\",result=\"success\"} 1");
    expectSample("rynveld_requests_total{type=\"read32\",result=\"refused\"} 1");
    expectSample("rynveld_requests_total{type=\"debug\",result=\"success\"} 0");
    expectSample("rynveld_refused_requests_total{reason=\"the device reported a failure\"} 1");
    expectSample("rynveld_received_bytes_total 2640");
    expectSample("rynveld_sent_bytes_total 2080");
    expectSample("rynveld_request_duration_seconds_count 4");
}

TEST_F(MetricsTest, CountEveryTypeUnderItsOwnName) {
    const std::vector<std::pair<Type, std::string>> types{{Type::Open, "open"},
                                                          {Type::Close, "close"},
                                                          {Type::Read8, "read8"},
                                                          {Type::Read16, "read16"},
                                                          {Type::Read32, "read32"},
                                                          {Type::Write8, "write8"},
                                                          {Type::Write16, "write16"},
                                                          {Type::Write32, "write32"},
                                                          {Type::Ioctl, "ioctl"},
                                                          {Type::GetInterruptType, "get_interrupt_type"},
                                                          {Type::EnableInterrupt, "enable_interrupt"},
                                                          {Type::DisableInterrupt, "disable_interrupt"},
                                                          {Type::WaitForInterrupt, "wait_for_interrupt"},
                                                          {Type::Debug, "debug"}};
    for (std::size_t i = 0; i < types.size(); ++i) {
        for (std::size_t times = 0; times <= i; ++times) {
            m_metrics.countAnswer(types[i].first, true, 1us);
        }
        expectSample("rynveld_requests_total{type=\"" + types[i].second + "\",result=\"success\"} " +
                     std::to_string(i + 1));
    }
}

TEST_F(MetricsTest, CountConnectionsThatViolateTheProtocol) {
    Served served(*this);
    EXPECT_TRUE(served.client().send(readOf("uio.32", 0)));
    EXPECT_TRUE(served.client().isEnded());
    expectSample("rynveld_protocol_errors_total{reason=\"its first request is not Open\"} 1");
    expectSample("rynveld_request_duration_seconds_count 0");
}

TEST_F(MetricsTest, CountRefusedConnectionsByReason) {
    m_metrics.countRefusal(Metrics::Refused::Connection, "network");
    m_metrics.countRefusal(Metrics::Refused::Connection, "network");
    m_metrics.countRefusal(Metrics::Refused::Connection, "thread");
    expectSample("rynveld_refused_connections_total{reason=\"network\"} 2");
    expectSample("rynveld_refused_connections_total{reason=\"thread\"} 1");
}

TEST_F(MetricsTest, ShowDurationsAsAHistogram) {
    for (const auto duration : {5us, 6us, 1000us, 1001us}) {
        m_metrics.countAnswer(Type::Read32, true, duration);
    }
    m_metrics.countAnswer(Type::Read32, true, 1h);
    expectSample("rynveld_request_duration_seconds_bucket{le=\"5e-06\"} 1");
    expectSample("rynveld_request_duration_seconds_bucket{le=\"1e-05\"} 2");
    expectSample("rynveld_request_duration_seconds_bucket{le=\"0.001\"} 3");
    expectSample("rynveld_request_duration_seconds_bucket{le=\"0.0025\"} 4");
    expectSample("rynveld_request_duration_seconds_bucket{le=\"10\"} 4");
    expectSample("rynveld_request_duration_seconds_bucket{le=\"+Inf\"} 5");
    expectSample("rynveld_request_duration_seconds_count 5");
    expectSample("rynveld_request_duration_seconds_sum 3600.002012000");
}

TEST_F(MetricsTest, CountTheInterruptsOfADevice) {
    const Served served(*this);
    served.client().arm("uio.32");
    const Served raising(*this);
    raising.client().open("uio.32");
    EXPECT_TRUE(raising.client().succeeds(raiseOf("uio.32", {5})));
    EXPECT_EQ(served.client().interrupt(), 5U);
    expectDeviceSample("rynveld_received_interrupts_total{device=\"uio.32\"} 1");
    EXPECT_TRUE(becomesTrue([&] {
        MetricText text;
        m_devices.writeMetricsTo(text);
        return hasSample(text.text(), "rynveld_sent_interrupts_total{device=\"uio.32\"} 1");
    }));
    expectDeviceSample("rynveld_lost_interrupts_total{device=\"uio.32\"} 0");
    expectDeviceSample("rynveld_bus_errors_total{device=\"seek.8\"} 0");
}

TEST_F(MetricsTest, ShowOnlyServedDevicesAndInterruptsOnlyOfDevicesThatHaveThem) {
    MetricText text;
    m_devices.writeMetricsTo(text);
    EXPECT_EQ(text.text().find("uio.16"), std::string::npos);
    EXPECT_EQ(text.text().find("interrupts_total{device=\"seek.8\"}"), std::string::npos);
}

TEST_F(MetricsTest, LoseNothingWhenManyThreadsCount) {
    std::vector<std::thread> threads;
    for (unsigned int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            for (unsigned int i = 0; i < 10000; ++i) {
                m_metrics.countAnswer(Type::Read32, false, 1us);
                m_metrics.countRefusal(Metrics::Refused::Request, "a reason");
                m_metrics.countReceived(3);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    expectSample("rynveld_requests_total{type=\"read32\",result=\"refused\"} 40000");
    expectSample("rynveld_refused_requests_total{reason=\"a reason\"} 40000");
    expectSample("rynveld_received_bytes_total 120000");
}

} // namespace
} // namespace RynvelTest
