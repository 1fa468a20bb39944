// SPDX-License-Identifier: MIT
#include "Interrupts.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

#include "Errors.h"

namespace RynvelPython {

namespace {

constexpr std::chrono::milliseconds signalInterval(100);
constexpr std::chrono::milliseconds retryInterval(10);
constexpr int noDescriptor = -1;

} // namespace

/** Marks the calling thread as the only one that waits, while the object exists. */
class InterruptSession::Waiter {
public:
    explicit Waiter(InterruptSession& session) : m_session(session) {
        const std::lock_guard<std::mutex> lock(session.m_mutex);
        if (session.m_isStopped) {
            session.throwClosed();
        }
        if (session.m_waiter != nullptr) {
            throw OperationError(ErrorKind::InUse, session.m_device->properties().name +
                                                       ": another thread or task waits for the interrupts");
        }
        session.m_waiter = UnlockedWork::current();
    }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    ~Waiter() {
        const std::lock_guard<std::mutex> lock(m_session.m_mutex);
        m_session.m_waiter = nullptr;
        m_session.m_waitEnded.notify_all();
    }

private:
    InterruptSession& m_session;
};

InterruptSession::InterruptSession(std::shared_ptr<OpenDevice> device)
    : m_device(std::move(device)), m_stopped(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_device->properties().type.hasInterrupts) {
        throw OperationError(ErrorKind::Unsupported, m_device->properties().name + ": a device of type " +
                                                         m_device->properties().type.name + " has no interrupts");
    }
    if (!m_stopped.isOpen()) {
        throw OperationError(ErrorKind::Error, std::string("eventfd: ") + std::strerror(errno), errno);
    }
    try {
        m_descriptor = m_device->prepareInterrupts();
        enable();
    } catch (...) {
        m_device->releaseInterrupts();
        throw;
    }
}

void InterruptSession::enable() {
    if (!m_isEnabled) {
        m_device->enableInterrupts();
        m_isEnabled = true;
    }
}

void InterruptSession::enableForWait() {
    const Waiter waiter(*this);
    enable();
}

std::optional<std::uint32_t> InterruptSession::wait(const Common::Deadline& deadline) {
    const Waiter waiter(*this);
    enable();
    for (;;) {
        if (const auto word = waitOnce(deadline)) {
            m_isEnabled = false;
            return word;
        }
        if (deadline.hasPassed()) {
            return std::nullopt;
        }
    }
}

// If the descriptor is readable but there is no interrupt, another process may have taken the interrupt, or the driver
// may always report readiness. The function then pauses, so that the loop in wait() does not use a whole processor.
std::optional<std::uint32_t> InterruptSession::waitOnce(const Common::Deadline& deadline) {
    if (!poll(m_descriptor, deadline)) {
        return std::nullopt;
    }
    const auto word = m_device->receiveInterrupt();
    if (!word) {
        poll(noDescriptor, Common::Deadline::earlier(Common::Deadline(retryInterval), deadline));
    }
    return word;
}

bool InterruptSession::poll(int descriptor, const Common::Deadline& deadline) const {
    std::array<pollfd, 2> awaited{{{descriptor, POLLIN, 0}, {stopDescriptor(), POLLIN, 0}}};
    const auto next = Common::Deadline::earlier(deadline, Common::Deadline(signalInterval));
    const int count = ::poll(awaited.data(), awaited.size(), next.pollTimeout());
    if (awaited[1].revents != 0 && count > 0) {
        throwClosed();
    }
    if (count <= 0) {
        UnlockedWork::checkSignals();
        requireActive();
    }
    return count > 0;
}

bool InterruptSession::isReleased() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isReleased;
}

void InterruptSession::requireActive() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_isStopped) {
        throwClosed();
    }
}

void InterruptSession::throwClosed() const {
    throw OperationError(ErrorKind::Closed, m_device->properties().name + ": the interrupts are no longer in use");
}

bool InterruptSession::requestStop() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_isStopped = true;
    ::eventfd_write(stopDescriptor(), 1);
    // A signal handler may call this function in the thread that waits. That wait ends after the handler returns.
    UnlockedWork::waitUntil(m_waitEnded, lock,
                            [this] { return m_waiter == nullptr || m_waiter->isOfThisThread() || m_waiter->isLost(); });
    return !std::exchange(m_isReleased, true);
}

void InterruptSession::stop() {
    if (!requestStop()) {
        return;
    }
    try {
        m_device->disableInterrupts();
    } catch (...) {
        m_device->releaseInterrupts();
        throw;
    }
    m_device->releaseInterrupts();
}

} // namespace RynvelPython
