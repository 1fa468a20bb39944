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
    /** @param reason a string literal, because the object keeps the pointer. */
    void countRefusal(Refused kind, const char* reason);
    void countReceived(std::size_t bytes) { count(m_received, bytes); }
    void countSent(std::size_t bytes) { count(m_sent, bytes); }
    /** Counts an answered request. @param duration the time from the arrival of the request until the answer is ready.
     */
    void countAnswer(Rynvel::RequestData::Type type, bool isSuccessful, std::chrono::nanoseconds duration);
    /** Moves a connection to another state. `from` is empty for a new connection, and `to` for one that has ended. */
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
    /** The number of answers in each bucket, without those of the buckets before it. */
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

    /** Counts a request of this size in bytes, and stores the time of its arrival. */
    void countRequest(std::size_t size);
    /** Counts a violation of the protocol by the client. @param reason a string literal. */
    void countProtocolError(const char* reason);
    /**
     * Counts the answer to the last request. Call this function when the answer is ready.
     *
     * @param refusal the reason as a string literal; ignored if the answer reports success.
     */
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
