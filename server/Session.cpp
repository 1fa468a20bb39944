// SPDX-License-Identifier: MIT
#include "Session.h"

#include <system_error>

namespace Rynveld {

Session::Session(int descriptor, const Peer& peer, ServedDevices& devices, const CurrentPolicy& policy,
                 std::chrono::milliseconds idleTimeout, const AuditContext& audit, Metrics* metrics)
    : m_socket(descriptor),
      m_peer(peer),
      m_idleTimeout(idleTimeout),
      m_handler(devices, policy, peer, audit),
      m_metrics(metrics),
      m_faults(policy.get()->faults) {
    m_socket.setIdleTimeout(m_idleTimeout);
}

void Session::run() {
    try {
        serve();
    } catch (...) {
        close();
        throw;
    }
    close();
}

void Session::serve() {
    Rynvel::Request request;
    while (m_socket.receive(request) && !m_stopped && accepts(request) && answer(request)) {
    }
}

bool Session::accepts(const Rynvel::Request& request) {
    m_metrics.countRequest(request.getSize());
    const bool isAccepted = m_handler.accepts(request);
    if (!isAccepted) {
        m_metrics.countProtocolError(m_handler.refusal());
    }
    return isAccepted;
}

// Releases the device in the thread of the connection. The destructor runs in the thread that accepts clients, which
// must not wait: the last client that releases a device closes the device, and this may take a long time.
void Session::close() {
    disarm();
    m_socket.shutDown();
    m_handler.close();
}

bool Session::answer(const Rynvel::Request& request) {
    disarm();
    const InjectedFaults faults = m_faults.next();
    if (faults.disconnects) {
        return false;
    }
    Rynvel::Response response =
        faults.fails ? m_handler.recordAndRefuse(request, "a fault is simulated") : handle(request);
    const bool waits = request.getType() == Rynvel::RequestData::Type::WaitForInterrupt;
    if (waits && response.isSuccessful() && !arm()) {
        response = m_handler.recordAndRefuse(request, "the system has no threads or descriptors left");
    }
    countAnswer(request, response);
    if (!send(response, faults)) {
        return false;
    }
    if (m_armed) {
        m_socket.setIdleTimeout(std::chrono::milliseconds(0));
        m_armed->waiter().startDelivery(m_socket.descriptor());
    }
    return true;
}

// Counts before the client receives the response, so the metrics contain every response that a client has received.
void Session::countAnswer(const Rynvel::Request& request, const Rynvel::Response& response) {
    const Metrics::State opened = m_handler.device() ? Metrics::State::Open : Metrics::State::Idle;
    m_metrics.setState(m_armed ? Metrics::State::Armed : opened);
    m_metrics.countAnswer(request.getType(), response, m_handler.refusal());
}

Rynvel::Response Session::handle(const Rynvel::Request& request) {
    if (request.getType() != Rynvel::RequestData::Type::Open) {
        return m_handler.handle(request);
    }
    setDeviceName(request.getDeviceName());
    Rynvel::Response response = m_handler.handle(request);
    setDeviceName(m_handler.deviceName());
    return response;
}

void Session::setDeviceName(const std::string& deviceName) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deviceName = deviceName;
}

std::string Session::description() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return "client " + m_peer.name + " on device \"" + printableAscii(m_deviceName) + '"';
}

void Session::stop() {
    m_stopped = true;
    m_socket.shutDown();
}

bool Session::send(const Rynvel::Response& response, const InjectedFaults& faults) const {
    if (faults.delay.count() > 0 && !m_socket.pause(faults.delay)) {
        return false;
    }
    return faults.split.count() > 0 ? m_socket.sendInHalves(response, faults.split) : m_socket.send(response);
}

// Arms the connection before the client receives the response. If the response came first, the client could miss an
// interrupt, and arming could undo a request that another client sends after the response.
bool Session::arm() {
    m_armed = m_handler.device();
    try {
        m_armed->waiter().arm(m_socket.descriptor(), m_peer);
    } catch (const std::system_error&) {
        disarm();
        return false;
    }
    return true;
}

void Session::disarm() {
    if (m_armed) {
        m_armed->waiter().disarm(m_socket.descriptor());
        m_socket.setIdleTimeout(m_idleTimeout);
        m_armed.reset();
    }
}

} // namespace Rynveld
