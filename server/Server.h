/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The register server.
 */
#ifndef RYNVELD_SERVER_H
#define RYNVELD_SERVER_H

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <asio/basic_socket_acceptor.hpp>
#include <asio/generic/stream_protocol.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include "ExportedRegisters.h"
#include "Metrics.h"
#include "MetricsServer.h"
#include "Options.h"
#include "ServedDevices.h"
#include "Session.h"
#include "SocketFile.h"
#include "TraceLimit.h"

namespace Rynveld {

/**
 * Accepts clients until the server receives a signal to terminate. The thread that calls run() handles new connections,
 * signals and timers. Each connection has its own thread, because device operations may block. A slow device or client
 * therefore does not delay other clients.
 */
class Server {
public:
    /**
     * Starts to listen. From then on, clients can connect; run() serves them.
     *
     * @throws std::system_error if the server cannot listen. The text names the address.
     * @throws std::runtime_error as activationSockets() and makeAudit() do, and if the service manager passes sockets
     * while the options name a local socket.
     */
    explicit Server(Options options);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /** Returns the listening addresses, separated by commas, for example "127.0.0.1:8888". */
    std::string address() const;
    /** Returns the address of the metrics; empty if the server has none. */
    std::string metricsAddress() const;

    /**
     * Serves clients until SIGTERM or SIGINT. The destructor then interrupts the device operations that are in
     * progress. The destructor waits for operations that cannot be interrupted, and traces them after a second.
     *
     * On SIGHUP, reads the options file again, and opens the file of the audit again.
     *
     * @throws std::runtime_error if the server has stopped because the audit cannot be written.
     */
    void run();

private:
    using Socket = asio::generic::stream_protocol::socket;

    /** A listening socket. */
    struct Listener {
        explicit Listener(asio::io_context& io) : acceptor(io), retryTimer(io) {}

        asio::basic_socket_acceptor<asio::generic::stream_protocol> acceptor;
        asio::steady_timer retryTimer;
    };

    struct Client {
        std::string host;
        std::unique_ptr<Session> session;
        std::thread thread;
        std::atomic<bool> hasEnded{false};
    };
    using Clients = std::list<Client>;

    /** Raises the interrupt of a simulated device periodically. */
    struct InterruptTimer {
        std::shared_ptr<ServedDevice> device;
        std::chrono::milliseconds period;
        asio::steady_timer timer;
    };

    void listen();
    void listenOn(const std::vector<int>& sockets);
    void accept(Listener& listener);
    void retryAccept(Listener& listener, const std::error_code& reason);
    void waitForSignal();
    void handleSignal();
    void reload();
    void reloadOptions();
    void scheduleWatchdog();
    void refuse(const Peer& peer, const char* cause, const std::string& reason);
    void admit(Socket socket, const asio::generic::stream_protocol::endpoint& endpoint);
    std::size_t connectionsOf(const std::string& host) const;
    bool isAllowed(const asio::generic::stream_protocol::endpoint& endpoint) const;
    void serve(int descriptor, const Peer& peer);
    static void run(Session& session);
    void remove(Clients::iterator client);
    void startMetrics();
    std::string metricsText();
    void startInterruptTimers();
    void scheduleInterrupt(InterruptTimer& interruptTimer);
    void scheduleSuppressedReport();
    void traceSuppressed(TraceLimit::Time now);
    void stop();
    void waitForClients();
    bool haveAllClientsEnded() const;
    void interruptClients();
    void traceRunningClients() const;

    bool m_stopped = false;
    Options m_options;
    CurrentPolicy m_policy;
    ServedDevices m_devices;
    TraceLimit m_traceLimit;
    asio::io_context m_io;
    std::atomic<bool> m_auditHasFailed{false};
    std::unique_ptr<Audit> m_audit;
    std::list<Listener> m_listeners;
    /** The file of the local socket that the server has created. */
    std::optional<SocketFile> m_socketFile;
    asio::posix::stream_descriptor m_signals;
    std::list<InterruptTimer> m_interruptTimers;
    asio::steady_timer m_suppressedTimer;
    asio::steady_timer m_watchdogTimer;
    /** None if the server has no metrics. The sessions use this object, so it must outlive m_clients. */
    std::optional<Metrics> m_metrics;
    ExportedRegisters m_exportedRegisters;
    Clients m_clients;
    /** Must be the last member, so that its thread ends before the other members are destroyed. */
    std::optional<MetricsServer> m_metricsServer;
};

} // namespace Rynveld

#endif
