// SPDX-License-Identifier: MIT
#include "MetricsServer.h"

#include <exception>
#include <sstream>
#include <utility>

#include <asio/post.hpp>
#include <asio/write.hpp>
#include <sys/resource.h>
#include <unistd.h>

#include "AllowedNetworks.h"
#include "ServerTrace.h"
#include "TcpListener.h"
#include "WakeUp.h"

namespace Rynveld {

using asio::ip::tcp;

namespace {

void lowerPriority() {
    constexpr int lower = 10;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), lower);
}

/** The request line of an HTTP request. `path` has no query. `isHttp` is true for the versions HTTP/1.x. */
struct RequestLine {
    std::string method;
    std::string path;
    bool isHttp = false;
};

RequestLine requestLineOf(const std::string& request) {
    std::istringstream words(request.substr(0, request.find("\r\n")));
    RequestLine line;
    std::string version;
    std::string rest;
    words >> line.method >> line.path >> version;
    line.path = line.path.substr(0, line.path.find('?'));
    line.isHttp = version.rfind("HTTP/1.", 0) == 0 && !(words >> rest);
    return line;
}

std::string httpResponse(const std::string& status, const std::string& type, const std::string& body, bool hasBody) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n" + (status.rfind("405", 0) == 0 ? "Allow: GET, HEAD\r\n" : "") + "\r\n" +
           (hasBody ? body : "");
}

std::string httpProblem(const std::string& status) { return httpResponse(status, "text/plain", status + '\n', true); }

} // namespace

MetricsServer::MetricsServer(const tcp::endpoint& endpoint, Networks allowed, std::function<std::string()> text)
    : m_acceptor(m_io), m_retryTimer(m_io), m_allowed(std::move(allowed)), m_text(std::move(text)) {
    listenOn(m_acceptor, endpoint);
}

MetricsServer::~MetricsServer() { stop(); }

void MetricsServer::start() {
    accept();
    m_thread = std::thread([this] {
        lowerPriority();
        run();
        m_hasEnded = true;
    });
}

// Catches exceptions, for instance when memory is exhausted. Otherwise, an exception would end the server.
void MetricsServer::run() {
    while (!m_io.stopped()) {
        try {
            m_io.run();
        } catch (const std::exception& exception) {
            RYNVELD_TRACE(failure, "Cannot answer a request for metrics: ", exception.what(), ".");
        }
    }
}

std::string MetricsServer::address() const { return textOf(m_acceptor.local_endpoint()); }

void MetricsServer::allow(Networks networks) {
    asio::post(m_io, [this, networks = std::move(networks)] { m_allowed = networks; });
}

// The thread may block in a device operation, which only a signal ends. Most operations end within milliseconds, so the
// function sends the first signal after 300 ms.
void MetricsServer::stop() {
    using namespace std::chrono_literals;
    m_io.stop();
    if (!m_thread.joinable()) {
        return;
    }
    const auto begin = std::chrono::steady_clock::now();
    while (!m_hasEnded) {
        std::this_thread::sleep_for(1ms);
        if (std::chrono::steady_clock::now() - begin > 300ms) {
            wakeUp(m_thread);
        }
    }
    m_thread.join();
}

void MetricsServer::accept() {
    m_acceptor.async_accept([this](const std::error_code& error, Socket socket) {
        if (error) {
            retryAccept();
            return;
        }
        // Accepts the next connection first, because admit() may throw.
        accept();
        admit(std::move(socket));
    });
}

// An error usually means that the system has no descriptors or no memory left. Tries again after 100 ms.
void MetricsServer::retryAccept() {
    m_retryTimer.expires_after(std::chrono::milliseconds(100));
    m_retryTimer.async_wait([this](const std::error_code& /*error*/) { accept(); });
}

void MetricsServer::admit(Socket socket) {
    std::error_code error;
    const auto peer = socket.remote_endpoint(error);
    if (error || !isAllowed(m_allowed, peer.address())) {
        return;
    }
    makeRoom();
    const auto connection = std::make_shared<Connection>(std::move(socket));
    m_connections.push_back(connection);
    connection->deadline.expires_after(timeout);
    // The handler holds only a weak pointer, because the timer must not keep the connection alive.
    connection->deadline.async_wait([weak = std::weak_ptr<Connection>(connection)](const std::error_code& canceled) {
        const auto late = weak.lock();
        if (!canceled && late) {
            std::error_code ignored;
            late->socket.close(ignored);
        }
    });
    receive(connection);
}

void MetricsServer::makeRoom() {
    m_connections.remove_if([](const std::weak_ptr<Connection>& each) { return each.expired(); });
    while (m_connections.size() >= maxConnections) {
        if (const auto oldest = m_connections.front().lock()) {
            std::error_code ignored;
            oldest->socket.close(ignored);
        }
        m_connections.pop_front();
    }
}

void MetricsServer::receive(const std::shared_ptr<Connection>& connection) {
    connection->socket.async_read_some(asio::buffer(connection->received),
                                       [this, connection](const std::error_code& error, std::size_t size) {
                                           if (error) {
                                               return;
                                           }
                                           connection->request.append(connection->received.data(), size);
                                           if (connection->request.find("\r\n\r\n") != std::string::npos ||
                                               connection->request.size() >= maxRequestSize) {
                                               answer(connection);
                                           } else {
                                               receive(connection);
                                           }
                                       });
}

void MetricsServer::answer(const std::shared_ptr<Connection>& connection) {
    try {
        connection->response = responseTo(connection->request);
    } catch (const std::exception& exception) {
        RYNVELD_TRACE(failure, "Cannot make the metrics: ", exception.what(), ".");
        connection->response = httpProblem("503 Service Unavailable");
    }
    asio::async_write(connection->socket, asio::buffer(connection->response),
                      [connection](const std::error_code& /*error*/, std::size_t /*size*/) {
                          std::error_code ignored;
                          connection->deadline.cancel();
                          connection->socket.shutdown(tcp::socket::shutdown_both, ignored);
                      });
}

std::string MetricsServer::responseTo(const std::string& request) {
    const RequestLine line = requestLineOf(request);
    if (request.find("\r\n\r\n") == std::string::npos) {
        return httpProblem("431 Request Header Fields Too Large");
    }
    if (!line.isHttp) {
        return httpProblem("400 Bad Request");
    }
    if (line.method != "GET" && line.method != "HEAD") {
        return httpProblem("405 Method Not Allowed");
    }
    if (line.path != "/metrics") {
        return httpProblem("404 Not Found");
    }
    return httpResponse("200 OK", "text/plain; version=0.0.4; charset=utf-8", m_text(), line.method == "GET");
}

} // namespace Rynveld
