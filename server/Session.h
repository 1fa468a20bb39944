/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The connection of a client.
 */
#ifndef RYNVELD_SESSION_H
#define RYNVELD_SESSION_H

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "ClientSocket.h"
#include "Metrics.h"
#include "RequestHandler.h"

namespace Rynveld {

/**
 * Answers the requests of one connection until the connection ends, or until a record arrives that is not a valid
 * request. A request on an armed connection disarms the connection.
 */
class Session {
public:
    /**
     * @param idleTimeout the time without a request after which a connection that is not armed ends; 0 for never.
     * @param metrics null to count nothing.
     */
    Session(int descriptor, const Peer& peer, ServedDevices& devices, const CurrentPolicy& policy,
            std::chrono::milliseconds idleTimeout, const AuditContext& audit = {}, Metrics* metrics = nullptr);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() = default;

    /** Serves the connection. Returns when the connection has ended. */
    void run();

    /** Makes run() return after the current request. Any thread may call this function. */
    void stop();

    const Peer& peer() const { return m_peer; }

    /** Returns the client and its device as text for a trace. Any thread may call this function. */
    std::string description() const;

private:
    void serve();
    bool accepts(const Rynvel::Request& request);
    bool answer(const Rynvel::Request& request);
    void countAnswer(const Rynvel::Request& request, const Rynvel::Response& response);
    Rynvel::Response handle(const Rynvel::Request& request);
    void setDeviceName(const std::string& deviceName);
    bool send(const Rynvel::Response& response, const InjectedFaults& faults) const;
    bool arm();
    void disarm();
    void close();

    ClientSocket m_socket;
    const Peer m_peer;
    const std::chrono::milliseconds m_idleTimeout;
    RequestHandler m_handler;
    ConnectionMetrics m_metrics;
    FaultInjector m_faults;
    /** The device for which the connection is armed; null if the connection is not armed. */
    std::shared_ptr<ServedDevice> m_armed;

    std::atomic<bool> m_stopped{false};
    mutable std::mutex m_mutex;
    /** The name of the device that is being opened; otherwise, of the device that the connection opened last. */
    std::string m_deviceName;
};

} // namespace Rynveld

#endif
