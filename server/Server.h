/**
 * @file
 * The server: accepts clients, and ends when it is told to.
 */
#ifndef RYNVELD_SERVER_H
#define RYNVELD_SERVER_H

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <asio/basic_socket_acceptor.hpp>
#include <asio/generic/stream_protocol.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include "Options.h"
#include "ServedDevices.h"
#include "Session.h"
#include "TraceLimit.h"

namespace Rynveld {

/**
 * Accepting, signals and timers run in the thread that calls run(). Each connection has a thread of its own, since what
 * it asks of a device may block: a slow device or client delays nobody else.
 */
class Server {
public:
    /**
     * Listens, so that clients can connect from now on.
     *
     * @throws std::system_error, with a text that names the address, when it cannot.
     */
    explicit Server(const Options& options);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /** Where it listens, for instance "127.0.0.1:8888"; with commas between several places. */
    std::string address() const;

    /**
     * Serves until SIGTERM or SIGINT. Operations on devices that are under way then are interrupted; the end of those
     * that cannot be interrupted is awaited, with a trace after a second.
     */
    void run();

private:
    using Socket = asio::generic::stream_protocol::socket;

    /** Where clients come from. */
    struct Listener {
        explicit Listener(asio::io_context& io) : acceptor(io), again(io) {}

        asio::basic_socket_acceptor<asio::generic::stream_protocol> acceptor;
        asio::steady_timer again;
    };

    struct Client {
        std::string host;
        std::unique_ptr<Session> session;
        std::thread thread;
        std::atomic<bool> hasEnded{false};
    };
    using Clients = std::list<Client>;

    /** Raises the interrupt of a simulated device again and again. */
    struct InterruptTimer {
        std::shared_ptr<ServedDevice> device;
        std::chrono::milliseconds period;
        asio::steady_timer timer;
    };

    void listen();
    void listenOn(const std::vector<int>& sockets);
    void accept(Listener& listener);
    void retryAccept(Listener& listener, const std::error_code& reason);
    void admit(Socket socket, const asio::generic::stream_protocol::endpoint& endpoint);
    std::size_t connectionsOf(const std::string& host) const;
    bool isAllowed(const asio::generic::stream_protocol::endpoint& endpoint) const;
    void serve(int descriptor, const Peer& peer);
    static void run(Session& session);
    void remove(Clients::iterator client);
    void startInterruptTimers();
    void schedule(InterruptTimer& interruptTimer);
    void scheduleSuppressedReport();
    void traceSuppressed(TraceLimit::Time now);
    void stop();
    void waitForClients();
    bool haveClientsEnded() const;
    void interruptClients();
    void traceClients() const;

    bool m_stopped = false;
    const Options& m_options;
    ServedDevices m_devices;
    TraceLimit m_traceLimit;
    asio::io_context m_io;
    std::list<Listener> m_listeners;
    asio::posix::stream_descriptor m_signals;
    std::list<InterruptTimer> m_interruptTimers;
    asio::steady_timer m_suppressedTimer;
    Clients m_clients;
};

} // namespace Rynveld

#endif
