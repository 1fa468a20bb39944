/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The HTTP server for metrics.
 */
#ifndef RYNVELD_METRICSSERVER_H
#define RYNVELD_METRICSSERVER_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/ip/network_v4.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

namespace Rynveld {

/**
 * Answers GET and HEAD requests for /metrics, in a thread of its own. The thread has a low priority, and also creates
 * the text of the metrics, which may require reads from slow devices. Requests for metrics therefore do not delay
 * register requests.
 *
 * A connection carries one request. When `maxConnections` connections exist, a new connection ends the oldest one, so
 * silent or slow clients do not block other clients.
 */
// This class does not use the HTTP server of prometheus-cpp in Debian, which blocks a thread for each connection: two
// silent clients delay the next answer by 30 seconds.
class MetricsServer {
public:
    using Networks = std::vector<asio::ip::network_v4>;

    static constexpr std::size_t maxConnections = 16;
    static constexpr std::size_t maxRequestSize = 8192;
    static constexpr std::chrono::seconds timeout{10};

    /**
     * Starts to listen. The server answers requests only after start().
     *
     * @param allowed the networks from which clients may connect; empty for all networks.
     * @param text returns the metrics. The thread of this object calls the function.
     * @throws std::system_error if the server cannot listen. The text names the address.
     */
    MetricsServer(const asio::ip::tcp::endpoint& endpoint, Networks allowed, std::function<std::string()> text);
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;
    /** Interrupts the device operation that is in progress, if any. */
    ~MetricsServer();

    /** Starts the thread. Call installWakeUpHandler() first. */
    void start();

    /** Returns the listening address, for example "127.0.0.1:9464". */
    std::string address() const;

    /** Replaces the networks from which clients may connect. Any thread may call this function. */
    void allow(Networks networks);

private:
    using Socket = asio::ip::tcp::socket;

    /** A connection of a client. The object exists until its last asynchronous operation has ended. */
    struct Connection {
        explicit Connection(Socket connected) : socket(std::move(connected)), deadline(socket.get_executor()) {}

        Socket socket;
        asio::steady_timer deadline;
        std::array<char, 2048> received{};
        std::string request;
        std::string response;
    };

    void run();
    void accept();
    void retryAccept();
    void admit(Socket socket);
    void makeRoom();
    void receive(const std::shared_ptr<Connection>& connection);
    void answer(const std::shared_ptr<Connection>& connection);
    std::string responseTo(const std::string& request);
    void stop();

    asio::io_context m_io;
    asio::ip::tcp::acceptor m_acceptor;
    asio::steady_timer m_retryTimer;
    Networks m_allowed;
    const std::function<std::string()> m_text;
    /** The connections, the oldest first. Some of them may have ended. */
    std::list<std::weak_ptr<Connection>> m_connections;
    std::atomic<bool> m_hasEnded{false};
    std::thread m_thread;
};

} // namespace Rynveld

#endif
