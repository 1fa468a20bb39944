// SPDX-License-Identifier: MIT
#include "Metrics.h"

#include <algorithm>
#include <cstdio>

namespace Rynveld {

namespace {

/** A bucket of a histogram. */
struct Bucket {
    std::chrono::nanoseconds highest;
    /** `highest` in seconds, as the value of the label `le`. */
    const char* text;
};

using namespace std::chrono_literals;

constexpr std::array<Bucket, 20> durationBuckets{
    {{5us, "5e-06"},     {10us, "1e-05"},    {25us, "2.5e-05"}, {50us, "5e-05"},
     {100us, "0.0001"},  {250us, "0.00025"}, {500us, "0.0005"}, {1ms, "0.001"},
     {2500us, "0.0025"}, {5ms, "0.005"},     {10ms, "0.01"},    {25ms, "0.025"},
     {50ms, "0.05"},     {100ms, "0.1"},     {250ms, "0.25"},   {500ms, "0.5"},
     {1s, "1"},          {2500ms, "2.5"},    {10s, "10"},       {std::chrono::nanoseconds::max(), "+Inf"}}};

constexpr std::array<const char*, 14> typeNames{"open",
                                                "close",
                                                "read8",
                                                "read16",
                                                "read32",
                                                "write8",
                                                "write16",
                                                "write32",
                                                "ioctl",
                                                "get_interrupt_type",
                                                "enable_interrupt",
                                                "disable_interrupt",
                                                "wait_for_interrupt",
                                                "debug"};

constexpr std::array<const char*, 3> stateNames{"idle", "open", "armed"};

std::string secondsText(std::uint64_t nanoseconds) {
    constexpr std::uint64_t perSecond = 1000000000;
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%llu.%09llu", static_cast<unsigned long long>(nanoseconds / perSecond),
                  static_cast<unsigned long long>(nanoseconds % perSecond));
    return text.data();
}

} // namespace

void Metrics::countRefusal(Refused kind, const char* reason) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_refusals[{kind, reason}];
}

void Metrics::countAnswer(Rynvel::RequestData::Type type, bool isSuccessful, std::chrono::nanoseconds duration) {
    count(m_requests.at(static_cast<std::size_t>(type))[isSuccessful ? 0 : 1]);
    const auto* const bucket =
        std::lower_bound(durationBuckets.begin(), durationBuckets.end(), duration,
                         [](const Bucket& each, std::chrono::nanoseconds time) { return each.highest < time; });
    count(m_durations.at(static_cast<std::size_t>(bucket - durationBuckets.begin())));
    count(m_nanoseconds, static_cast<std::uint64_t>(duration.count()));
}

void Metrics::moveConnection(std::optional<State> from, std::optional<State> to) {
    if (to) {
        count(m_connections.at(static_cast<std::size_t>(*to)));
    }
    if (from) {
        m_connections.at(static_cast<std::size_t>(*from)).fetch_sub(1, std::memory_order_relaxed);
    }
}

void Metrics::writeTo(MetricText& text) const {
    writeConnections(text);
    writeRequests(text);
    writeDurations(text);
    text.addMetric("rynveld_refused_requests_total", MetricText::Type::Counter,
                   "Requests that the server has refused.");
    writeRefusals(text, Refused::Request);
    text.addMetric("rynveld_protocol_errors_total", MetricText::Type::Counter,
                   "Connections that the server has ended because a client violated the protocol.");
    writeRefusals(text, Refused::Protocol);
    text.addMetric("rynveld_received_bytes_total", MetricText::Type::Counter,
                   "Bytes of whole requests that clients have sent.");
    text.add(m_received);
    text.addMetric("rynveld_sent_bytes_total", MetricText::Type::Counter,
                   "Bytes of answers, without the interrupt words, which have 4 bytes each.");
    text.add(m_sent);
}

void Metrics::writeConnections(MetricText& text) const {
    text.addMetric("rynveld_connections", MetricText::Type::Gauge, "Connections of clients, by state.");
    for (std::size_t i = 0; i < stateNames.size(); ++i) {
        text.add({{"state", stateNames.at(i)}}, m_connections.at(i));
    }
    text.addMetric("rynveld_accepted_connections_total", MetricText::Type::Counter,
                   "Connections that the server has accepted.");
    text.add(m_accepted);
    text.addMetric("rynveld_refused_connections_total", MetricText::Type::Counter,
                   "Connections that the server has refused.");
    writeRefusals(text, Refused::Connection);
}

void Metrics::writeRequests(MetricText& text) const {
    text.addMetric("rynveld_requests_total", MetricText::Type::Counter, "Requests that the server has answered.");
    for (std::size_t i = 0; i < types; ++i) {
        text.add({{"type", typeNames.at(i)}, {"result", "success"}}, m_requests.at(i)[0]);
        text.add({{"type", typeNames.at(i)}, {"result", "refused"}}, m_requests.at(i)[1]);
    }
}

void Metrics::writeDurations(MetricText& text) const {
    text.addMetric("rynveld_request_duration_seconds", MetricText::Type::Histogram,
                   "Time from the arrival of a request until its answer is ready.");
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < buckets; ++i) {
        total += m_durations.at(i);
        text.addSample("_bucket", {{"le", durationBuckets.at(i).text}}, std::to_string(total));
    }
    text.addSample("_sum", {}, secondsText(m_nanoseconds));
    text.addSample("_count", {}, std::to_string(total));
}

void Metrics::writeRefusals(MetricText& text, Refused kind) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [key, number] : m_refusals) {
        if (key.first == kind) {
            text.add({{"reason", std::string(key.second)}}, number);
        }
    }
}

ConnectionMetrics::ConnectionMetrics(Metrics* metrics) : m_metrics(metrics) {
    if (m_metrics != nullptr) {
        m_metrics->countAccepted();
        m_metrics->moveConnection(std::nullopt, m_state);
    }
}

ConnectionMetrics::~ConnectionMetrics() {
    if (m_metrics != nullptr) {
        m_metrics->moveConnection(m_state, std::nullopt);
    }
}

void ConnectionMetrics::countRequest(std::size_t size) {
    if (m_metrics != nullptr) {
        m_begin = Clock::now();
        m_metrics->countReceived(size);
    }
}

void ConnectionMetrics::countProtocolError(const char* reason) {
    if (m_metrics != nullptr) {
        m_metrics->countRefusal(Metrics::Refused::Protocol, reason);
    }
}

void ConnectionMetrics::countAnswer(Rynvel::RequestData::Type type, const Rynvel::Response& response,
                                    const char* refusal) {
    if (m_metrics == nullptr) {
        return;
    }
    if (!response.isSuccessful()) {
        m_metrics->countRefusal(Metrics::Refused::Request, refusal);
    }
    m_metrics->countAnswer(type, response.isSuccessful(), Clock::now() - m_begin);
    m_metrics->countSent(response.getSize());
}

void ConnectionMetrics::setState(Metrics::State state) {
    if (m_metrics != nullptr && state != m_state) {
        m_metrics->moveConnection(m_state, state);
        m_state = state;
    }
}

} // namespace Rynveld
