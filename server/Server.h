/**
 * @file
 * The server: accepts clients, and ends when it is told to.
 */
#ifndef RYNVELD_SERVER_H
#define RYNVELD_SERVER_H

#include <list>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include "Options.h"
#include "ServedDevices.h"
#include "Session.h"

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

    /** Where it listens, for instance "127.0.0.1:8888". */
    std::string address() const;

    /** Serves until SIGTERM or SIGINT. */
    void run();

private:
    struct Client {
        std::unique_ptr<Session> session;
        std::thread thread;
    };
    using Clients = std::list<Client>;

    /** Raises the interrupt of a simulated device again and again. */
    struct Ticker {
        std::shared_ptr<ServedDevice> device;
        std::chrono::milliseconds period;
        asio::steady_timer timer;
    };

    void listen();
    void accept();
    void acceptLater(const std::error_code& reason);
    void admit(asio::ip::tcp::socket socket, const asio::ip::tcp::endpoint& peer);
    bool isAllowed(const asio::ip::address& address) const;
    void serve(int descriptor, const std::string& peer);
    static void run(Session& session);
    void remove(Clients::iterator client);
    void startTickers();
    void tick(Ticker& ticker);
    void stop();

    bool m_stopped = false;
    const Options& m_options;
    ServedDevices m_devices;
    asio::io_context m_io;
    asio::ip::tcp::acceptor m_acceptor;
    asio::steady_timer m_acceptAgain;
    asio::signal_set m_signals;
    std::list<Ticker> m_tickers;
    Clients m_clients;
};

} // namespace Rynveld

#endif
