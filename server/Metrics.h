/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The counters of the server.
 */
#ifndef RYNVELD_METRICS_H
#define RYNVELD_METRICS_H

#include <rynvel.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "DeviceCounts.h"
#include "MetricText.h"

namespace Rynveld {

/**
 * Counts the connections and the requests of all clients since the start of the server. Threads: any number may use the
 * object at once.
 */
class Metrics {
public:
    /** The state of a connection: no device is open, a device is open, or the connection is also armed. */
    enum class State { Idle, Open, Armed };
    enum class Refused { Connection, Request, Protocol };

    void countAccepted() { count(m_accepted); }
    /** @param reason a literal. */
    void countRefusal(Refused kind, const char* reason);
    void countReceived(std::size_t bytes) { count(m_received, bytes); }
    void countSent(std::size_t bytes) { count(m_sent, bytes); }
    /** Counts an answered request. @param duration the time from the arrival of the request until the answer is ready.
     */
    void countAnswer(Rynvel::RequestData::Type type, bool isSuccessful, std::chrono::nanoseconds duration);
    /** Moves a connection from one state to another; none before its first and after its last state. */
    void moveConnection(std::optional<State> from, std::optional<State> to);

    void writeTo(MetricText& text) const;

private:
    static constexpr std::size_t types = 14;
    static constexpr std::size_t buckets = 20;

    void writeConnections(MetricText& text) const;
    void writeRequests(MetricText& text) const;
    void writeDurations(MetricText& text) const;
    void writeRefusals(MetricText& text, Refused kind) const;

    AtomicCount m_accepted{0};
    AtomicCount m_received{0};
    AtomicCount m_sent{0};
    std::array<AtomicCount, 3> m_connections{};
    /** The successful and the refused requests of each type. */
    std::array<std::array<AtomicCount, 2>, types> m_requests{};
    /** The answers whose duration is at most that of the bucket, and above that of the previous bucket. */
    std::array<AtomicCount, buckets> m_durations{};
    AtomicCount m_nanoseconds{0};
    mutable std::mutex m_mutex;
    std::map<std::pair<Refused, std::string_view>, std::uint64_t> m_refusals;
};

/** Counts one connection, if the server has metrics. Threads: one at a time. */
class ConnectionMetrics {
public:
    /** @param metrics null to count nothing. */
    explicit ConnectionMetrics(Metrics* metrics);
    ConnectionMetrics(const ConnectionMetrics&) = delete;
    ConnectionMetrics& operator=(const ConnectionMetrics&) = delete;
    ~ConnectionMetrics();

    /** A request of this size has arrived. Its duration begins. */
    void countRequest(std::size_t size);
    /** The connection sends something that is not a request. @param reason a literal. */
    void countProtocolError(const char* reason);
    /** The answer to the last request is ready. @param refusal a literal; ignored if the answer is a success. */
    void countAnswer(Rynvel::RequestData::Type type, const Rynvel::Response& response, const char* refusal);
    void setState(Metrics::State state);

private:
    using Clock = std::chrono::steady_clock;

    Metrics* const m_metrics;
    Metrics::State m_state = Metrics::State::Idle;
    Clock::time_point m_begin;
};

} // namespace Rynveld

#endif
