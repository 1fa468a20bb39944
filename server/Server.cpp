// SPDX-License-Identifier: MIT
#include "Server.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <asio/ip/network_v6.hpp>
#include <asio/post.hpp>
#include <pthread.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "AllowedNetworks.h"
#include "BusErrorGuard.h"
#include "ServerTrace.h"
#include "ServiceManager.h"
#include "StandardError.h"
#include "TcpListener.h"
#include "WakeUp.h"

namespace Rynveld {

using asio::ip::tcp;
using Endpoint = asio::generic::stream_protocol::endpoint;

namespace {

bool isLocal(const Endpoint& endpoint) { return endpoint.data()->sa_family == AF_UNIX; }

tcp::endpoint tcpEndpointOf(const Endpoint& endpoint) {
    tcp::endpoint result;
    result.resize(endpoint.size());
    std::memcpy(result.data(), endpoint.data(), endpoint.size());
    return result;
}

/** Returns the path of a local socket. For an abstract socket, "@" replaces the NUL at the beginning of the name. */
std::string pathOf(const Endpoint& endpoint) {
    constexpr std::size_t start = offsetof(sockaddr_un, sun_path);
    std::string path(reinterpret_cast<const char*>(endpoint.data()) + start, endpoint.size() - start);
    if (!path.empty() && path[0] == '\0') {
        path[0] = '@';
    }
    return path.substr(0, path.find('\0'));
}

std::string textOf(const Endpoint& endpoint) {
    return isLocal(endpoint) ? pathOf(endpoint) : Rynveld::textOf(tcpEndpointOf(endpoint));
}

ucred processAt(int localSocket) {
    ucred process{};
    socklen_t size = sizeof(process);
    ::getsockopt(localSocket, SOL_SOCKET, SO_PEERCRED, &process, &size);
    return process;
}

std::string nameOf(const Endpoint& endpoint, int socket) {
    if (!isLocal(endpoint)) {
        return textOf(endpoint);
    }
    const ucred process = processAt(socket);
    return "process " + std::to_string(process.pid) + " of user " + std::to_string(process.uid);
}

/**
 * Returns the host of a connection: the user of a local socket, an IPv4 address, or the /64 network of an IPv6 address.
 * Addresses from which one host can choose freely, such as those of 127.0.0.0/8, count as one host.
 */
std::string hostOf(const Endpoint& endpoint, int socket) {
    if (isLocal(endpoint)) {
        return "user " + std::to_string(processAt(socket).uid);
    }
    const auto address = tcpEndpointOf(endpoint).address();
    if (const auto v4 = v4Of(address)) {
        return v4->is_loopback() ? "127.0.0.0/8" : v4->to_string();
    }
    constexpr unsigned short subnet = 64;
    return asio::ip::network_v6(address.to_v6(), subnet).canonical().to_string();
}

Peer peerOf(const Endpoint& endpoint, int socket, TraceLimit& limit) {
    Peer peer{nameOf(endpoint, socket), hostOf(endpoint, socket), limit};
    if (isLocal(endpoint)) {
        peer.process = processAt(socket);
    }
    return peer;
}

/**
 * Sets the stack size of new threads to 1 MiB, so that hundreds of threads fit into a 32-bit address space. The size
 * must not be smaller, because ThreadSanitizer enlarges stack frames.
 */
void useSmallStacks() {
    constexpr std::size_t stackSize = std::size_t{1024} * 1024;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
}

/**
 * Returns a descriptor that is readable when SIGTERM, SIGINT or SIGHUP arrives. Blocks these signals in the calling
 * thread, and in the threads that it creates later. The server therefore does not need a signal handler, which may call
 * only async-signal-safe functions.
 */
int handledSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor == -1) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

} // namespace

Server::Server(Options options)
    : m_options(std::move(options)),
      m_policy(m_options.policy),
      m_devices(m_policy),
      m_signals(m_io, handledSignals()),
      m_suppressedTimer(m_io),
      m_watchdogTimer(m_io),
      m_exportedRegisters(m_options.exported, m_devices) {
    std::signal(SIGPIPE, SIG_IGN);
    // If the audit reaches the maximum file size, writing it must fail instead of ending the process.
    std::signal(SIGXFSZ, SIG_IGN);
    Common::BusErrorGuard::install();
    installWakeUpHandler();
    useSmallStacks();
    listen();
    m_audit = makeAudit(m_options.audit, [this] {
        m_auditHasFailed = true;
        asio::post(m_io, [this] { stop(); });
    });
    startMetrics();
}

Server::~Server() {
    stop();
    waitForClients();
    for (auto& client : m_clients) {
        client.thread.join();
    }
    traceSuppressed(TraceLimit::Time::max());
}

void Server::listen() {
    if (const auto passed = activationSockets(); !passed.empty()) {
        if (m_options.listenLocal) {
            throw std::runtime_error(m_options.listenLocal->path +
                                     ": the service manager passes the sockets (remove --listen)");
        }
        listenOn(passed);
        return;
    }
    if (m_options.listenLocal) {
        auto& acceptor = m_listeners.emplace_back(m_io).acceptor;
        acceptor.open({AF_UNIX, 0});
        m_socketFile.emplace(acceptor.native_handle(), *m_options.listenLocal);
        return;
    }
    Rynveld::listenOn(m_listeners.emplace_back(m_io).acceptor, m_options.listen);
}

void Server::listenOn(const std::vector<int>& sockets) {
    for (const int socket : sockets) {
        int family = AF_UNSPEC;
        socklen_t size = sizeof(family);
        ::getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &size);
        m_listeners.emplace_back(m_io).acceptor.assign({family, 0}, socket);
    }
}

std::string Server::address() const {
    std::string text;
    for (const auto& listener : m_listeners) {
        text += (text.empty() ? "" : ", ") + textOf(listener.acceptor.local_endpoint());
    }
    return text;
}

std::string Server::metricsAddress() const { return m_metricsServer ? m_metricsServer->address() : ""; }

void Server::startMetrics() {
    if (m_options.metrics) {
        m_metrics.emplace();
        m_metricsServer.emplace(*m_options.metrics, m_options.allowed, [this] { return metricsText(); });
    }
}

std::string Server::metricsText() {
    MetricText text;
    text.addMetric("rynveld_build_info", MetricText::Type::Gauge, "The version of the server.");
    text.add({{"version", RYNVEL_VERSION}}, 1);
    m_metrics->writeTo(text);
    m_devices.writeMetricsTo(text);
    text.addMetric("rynveld_suppressed_log_lines_total", MetricText::Type::Counter,
                   "Lines about clients that the server did not trace, because there were too many similar ones.");
    text.add(m_traceLimit.suppressedCount());
    m_exportedRegisters.writeTo(text);
    return text.text();
}

void Server::run() {
    waitForSignal();
    startInterruptTimers();
    scheduleSuppressedReport();
    for (auto& listener : m_listeners) {
        accept(listener);
    }
    if (m_metricsServer) {
        m_metricsServer->start();
    }
    scheduleWatchdog();
    notifyServiceManager("READY=1");
    m_io.run();
    if (m_auditHasFailed) {
        throw std::runtime_error(m_options.audit.target + ": the server has stopped because it cannot write the audit");
    }
}

void Server::waitForSignal() {
    m_signals.async_wait(asio::posix::descriptor_base::wait_read, [this](const std::error_code& error) {
        if (!error && !m_stopped) {
            handleSignal();
        }
    });
}

void Server::handleSignal() {
    signalfd_siginfo signal{};
    const bool isRead = ::read(m_signals.native_handle(), &signal, sizeof(signal)) == sizeof(signal);
    if (isRead && signal.ssi_signo != SIGHUP) {
        stop();
        return;
    }
    if (isRead) {
        reload();
    }
    waitForSignal();
}

void Server::reload() {
    notifyServiceManager(reloadingState());
    if (m_audit) {
        m_audit->reopen();
    }
    if (!m_options.file.empty()) {
        reloadOptions();
    }
    notifyServiceManager("READY=1");
}

void Server::reloadOptions() {
    try {
        m_options = reloadedOptions(m_options);
        m_policy.replace(m_options.policy);
        if (m_metricsServer) {
            m_metricsServer->allow(m_options.allowed);
        }
        writeMessage(m_options.file + ": the new options are in effect");
    } catch (const std::exception& problem) {
        writeMessage(problem.what() + std::string(" (the old options stay in effect)"));
    }
}

// Sends the watchdog message from the thread that accepts clients. If this thread is stuck, the service manager does
// not receive a message, and restarts the server.
void Server::scheduleWatchdog() {
    const auto period = watchdogPeriod();
    if (!period) {
        return;
    }
    notifyServiceManager("WATCHDOG=1");
    m_watchdogTimer.expires_after(*period / 2);
    m_watchdogTimer.async_wait([this](const std::error_code& /*error*/) {
        if (!m_stopped) {
            scheduleWatchdog();
        }
    });
}

void Server::accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](const std::error_code& error, Socket socket) {
        if (m_stopped) {
            return;
        }
        if (error) {
            retryAccept(listener, error);
            return;
        }
        std::error_code peerError;
        const Endpoint endpoint = socket.remote_endpoint(peerError);
        if (!peerError) {
            admit(std::move(socket), endpoint);
        }
        accept(listener);
    });
}

// An error usually means that the system has no descriptors or no memory left. The server tries again after 100 ms.
void Server::retryAccept(Listener& listener, const std::error_code& reason) {
    RYNVELD_TRACE_LIMITED((Peer{"", "", m_traceLimit}), failure, "accept", "Cannot accept clients: ", reason.message(),
                          ".");
    listener.retryTimer.expires_after(std::chrono::milliseconds(100));
    listener.retryTimer.async_wait([this, &listener](const std::error_code& /*error*/) {
        if (!m_stopped) {
            accept(listener);
        }
    });
}

void Server::refuse(const Peer& peer, const char* cause, const std::string& reason) {
    if (m_metrics) {
        m_metrics->countRefusal(Metrics::Refused::Connection, cause);
    }
    if (m_audit) {
        m_audit->record(clientOf(peer).add("operation", "connect").add("result", "error").add("reason", reason));
    }
    RYNVELD_TRACE_LIMITED(peer, failure, cause, "Connection of ", peer.name, " refused: ", reason, ".");
}

void Server::admit(Socket socket, const Endpoint& endpoint) {
    const Peer peer = peerOf(endpoint, socket.native_handle(), m_traceLimit);
    if (!isAllowed(endpoint)) {
        refuse(peer, "network", "its network is not allowed");
    } else if (m_clients.size() >= m_options.maxConnections) {
        refuse(peer, "connections",
               "the connection limit (" + std::to_string(m_options.maxConnections) + ") is reached");
    } else if (connectionsOf(peer.host) >= m_options.maxConnectionsPerHost) {
        refuse(peer, "connections of host",
               "its host has reached the connection limit (" + std::to_string(m_options.maxConnectionsPerHost) + ')');
    } else {
        RYNVELD_TRACE(detail, "Client ", peer.name, " connected.");
        // Removes the socket from the event loop, because the session reads the socket in its own thread. Otherwise,
        // every record would also wake up the thread of the event loop.
        serve(socket.release(), peer);
    }
}

std::size_t Server::connectionsOf(const std::string& host) const {
    return static_cast<std::size_t>(
        std::count_if(m_clients.begin(), m_clients.end(), [&](const Client& client) { return client.host == host; }));
}

// --allow does not apply to a local socket: the permissions of the socket file determine who may connect.
bool Server::isAllowed(const Endpoint& endpoint) const {
    return isLocal(endpoint) || Rynveld::isAllowed(m_options.allowed, tcpEndpointOf(endpoint).address());
}

void Server::serve(int descriptor, const Peer& peer) {
    const auto client = m_clients.emplace(m_clients.end());
    client->host = peer.host;
    client->session = std::make_unique<Session>(descriptor, peer, m_devices, m_policy, m_options.idleTimeout,
                                                AuditContext{m_audit.get(), m_options.audit.withOldValues},
                                                m_metrics ? &*m_metrics : nullptr);
    try {
        client->thread = std::thread([this, client] {
            run(*client->session);
            client->hasEnded = true;
            asio::post(m_io, [this, client] { remove(client); });
        });
    } catch (const std::system_error& error) {
        refuse(peer, "thread", error.what());
        m_clients.erase(client);
    }
}

// Catches exceptions, for instance when memory is exhausted. Otherwise, an exception would also end the connections of
// all other clients.
void Server::run(Session& session) {
    try {
        session.run();
    } catch (const std::exception& exception) {
        RYNVELD_TRACE_LIMITED(session.peer(), failure, "exception", "Client ", session.peer().name,
                              " was disconnected: ", exception.what(), ".");
    }
}

void Server::remove(Clients::iterator client) {
    client->thread.join();
    m_clients.erase(client);
}

void Server::startInterruptTimers() {
    for (const auto& [name, period] : m_options.interruptPeriods) {
        std::string reason;
        m_interruptTimers.push_back({m_devices.open(name, reason), period, asio::steady_timer(m_io)});
        scheduleInterrupt(m_interruptTimers.back());
    }
}

void Server::scheduleInterrupt(InterruptTimer& interruptTimer) {
    interruptTimer.timer.expires_after(interruptTimer.period);
    interruptTimer.timer.async_wait([this, &interruptTimer](const std::error_code& /*error*/) {
        if (!m_stopped) {
            interruptTimer.device->simulatedInterrupt()->raise(std::nullopt);
            scheduleInterrupt(interruptTimer);
        }
    });
}

// A trace also reports how many similar lines were suppressed before the trace. If no trace follows, the timer reports
// the suppressed lines.
void Server::scheduleSuppressedReport() {
    m_suppressedTimer.expires_after(TraceLimit::period / 5);
    m_suppressedTimer.async_wait([this](const std::error_code& /*error*/) {
        if (!m_stopped) {
            traceSuppressed(std::chrono::steady_clock::now());
            scheduleSuppressedReport();
        }
    });
}

void Server::traceSuppressed(TraceLimit::Time now) {
    for (const auto& each : m_traceLimit.takeSuppressed(now)) {
        RYNVELD_TRACE(failure, "Suppressed lines", each.host.empty() ? "" : " about " + each.host, ": ", each.count,
                      " (", each.cause, ").");
    }
}

// cancel() and close() do not affect operations that have already completed. The handlers of these operations run
// without an error, and check m_stopped.
void Server::stop() {
    if (m_stopped) {
        return;
    }
    m_stopped = true;
    notifyServiceManager("STOPPING=1");
    std::error_code ignored;
    for (auto& listener : m_listeners) {
        listener.acceptor.close(ignored);
        listener.retryTimer.cancel();
    }
    m_signals.cancel(ignored);
    for (auto& interruptTimer : m_interruptTimers) {
        interruptTimer.timer.cancel();
    }
    m_suppressedTimer.cancel();
    m_watchdogTimer.cancel();
    for (const auto& client : m_clients) {
        client.session->stop();
    }
}

// Most device operations end within milliseconds. Interrupts only those that still run 300 ms after this call.
void Server::waitForClients() {
    using namespace std::chrono_literals;
    const auto begin = std::chrono::steady_clock::now();
    bool isTraced = false;
    while (!haveAllClientsEnded()) {
        std::this_thread::sleep_for(1ms);
        const auto time = std::chrono::steady_clock::now() - begin;
        if (time > 300ms) {
            interruptClients();
        }
        if (time > 1s && !isTraced) {
            traceRunningClients();
            isTraced = true;
        }
    }
}

bool Server::haveAllClientsEnded() const {
    return std::all_of(m_clients.begin(), m_clients.end(), [](const Client& client) { return client.hasEnded.load(); });
}

void Server::interruptClients() {
    for (auto& client : m_clients) {
        if (!client.hasEnded) {
            wakeUp(client.thread);
        }
    }
}

void Server::traceRunningClients() const {
    for (const auto& client : m_clients) {
        if (!client.hasEnded) {
            RYNVELD_TRACE(failure, "Shutdown waits for ", client.session->description(),
                          ": its operation cannot be interrupted.");
        }
    }
}

} // namespace Rynveld
