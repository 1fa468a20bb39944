#include "Session.h"

namespace Rynveld {

Session::Session(int descriptor, const std::string& peer, ServedDevices& devices, const Policy& policy,
                 std::chrono::milliseconds idleTimeout)
    : m_socket(descriptor), m_idleTimeout(idleTimeout), m_handler(devices, policy, peer), m_faults(policy.faults) {
    m_socket.setIdleTimeout(m_idleTimeout);
}

Session::~Session() { disarm(); }

void Session::run() {
    Rynvel::Request request;
    while (m_socket.receive(request) && m_handler.accepts(request) && answer(request)) {
    }
    disarm();
}

bool Session::answer(const Rynvel::Request& request) {
    disarm();
    const Mishap mishap = m_faults.next();
    if (mishap.disconnects) {
        return false;
    }
    const Rynvel::Response response =
        mishap.fails ? RequestHandler::refuse(request, "a fault is simulated") : m_handler.handle(request);
    if (!send(response, mishap)) {
        return false;
    }
    if (response.isSuccessful() && request.getType() == Rynvel::RequestData::Type::WaitForInterrupt) {
        arm();
    }
    return true;
}

bool Session::send(const Rynvel::Response& response, const Mishap& mishap) const {
    if (mishap.delay.count() > 0 && !m_socket.pause(mishap.delay)) {
        return false;
    }
    return mishap.split.count() > 0 ? m_socket.sendInHalves(response, mishap.split) : m_socket.send(response);
}

void Session::arm() {
    m_armed = m_handler.device();
    m_socket.setIdleTimeout(std::chrono::milliseconds(0));
    m_armed->waiter().arm(m_socket.descriptor());
}

void Session::disarm() {
    if (m_armed) {
        m_armed->waiter().disarm(m_socket.descriptor());
        m_socket.setIdleTimeout(m_idleTimeout);
        m_armed.reset();
    }
}

} // namespace Rynveld
