/**
 * @file
 * One client's connection.
 */
#ifndef RYNVELD_SESSION_H
#define RYNVELD_SESSION_H

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "ClientSocket.h"
#include "RequestHandler.h"

namespace Rynveld {

/**
 * Answers the requests of one connection until it ends, or until a record comes that is no request. A request on a
 * connection that is armed for interrupts ends the arming.
 */
class Session {
public:
    /** @param idleTimeout ends a connection that sends nothing for so long and is not armed; 0 for never. */
    Session(int descriptor, const Peer& peer, ServedDevices& devices, const Policy& policy,
            std::chrono::milliseconds idleTimeout);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() = default;

    /** Returns when the connection has ended. */
    void run();

    /** Makes run() return when the request that is being done is. May be called by any thread. */
    void stop();

    const Peer& peer() const { return m_peer; }

    /** The client and the device that it uses, for a trace. May be called by any thread. */
    std::string description() const;

private:
    void serve();
    bool answer(const Rynvel::Request& request);
    Rynvel::Response handle(const Rynvel::Request& request);
    void show(const std::string& deviceName);
    bool send(const Rynvel::Response& response, const InjectedFaults& faults) const;
    bool arm();
    void disarm();
    void end();

    ClientSocket m_socket;
    const Peer m_peer;
    const std::chrono::milliseconds m_idleTimeout;
    RequestHandler m_handler;
    FaultInjector m_faults;
    /** Null when the connection is not armed. */
    std::shared_ptr<ServedDevice> m_armed;

    std::atomic<bool> m_stopped{false};
    mutable std::mutex m_mutex;
    /** The device that is open, or is being opened. */
    std::string m_deviceName;
};

} // namespace Rynveld

#endif
