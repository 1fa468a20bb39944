// SPDX-License-Identifier: MIT
#include "InterruptWaiter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "InterruptRecord.h"
#include "ServerTrace.h"
#include "WakeUp.h"

namespace Rynveld {

namespace {

/** The maximum number of queued interrupt words for a connection. Further words are lost. */
constexpr std::size_t maxQueuedWords = 1000;

} // namespace

InterruptWaiter::InterruptWaiter(Rynvel::IDevice& device, bool waitEnablesInterrupt, DeviceCounts& counts,
                                 std::chrono::milliseconds holdOff)
    : m_device(device), m_waitEnablesInterrupt(waitEnablesInterrupt), m_counts(counts), m_holdOff(holdOff) {}

InterruptWaiter::~InterruptWaiter() {
    const std::lock_guard<std::mutex> control(m_controlMutex);
    stop();
}

void InterruptWaiter::arm(int socket, const Peer& peer) {
    const std::lock_guard<std::mutex> control(m_controlMutex);
    bool ended = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receivers.push_back({socket, peer, false, {}});
        ended = m_ended;
    }
    if (ended) {
        stop();
    }
    if (!m_thread.joinable()) {
        start();
    }
}

void InterruptWaiter::startDelivery(int socket) {
    std::optional<Peer> slowPeer;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        auto& receiver = *std::find_if(m_receivers.begin(), m_receivers.end(),
                                       [socket](const Receiver& each) { return each.socket == socket; });
        receiver.isDelivering = true;
        for (const unsigned long word : std::exchange(receiver.queued, {})) {
            if (!deliver(receiver, word)) {
                slowPeer.emplace(receiver.peer);
            }
        }
    }
    if (slowPeer) {
        traceLoss(*slowPeer);
    }
}

void InterruptWaiter::disarm(int socket) {
    const std::lock_guard<std::mutex> control(m_controlMutex);
    bool last = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_receivers.remove_if([socket](const Receiver& each) { return each.socket == socket; });
        last = m_receivers.empty();
    }
    if (last) {
        stop();
    }
}

bool InterruptWaiter::enable() {
    const std::lock_guard<std::mutex> lock(m_enableMutex);
    if (!m_device.enableInterrupt()) {
        return false;
    }
    m_requestedState = RequestedState::Enabled;
    m_requestedStateChanged.notify_all();
    return true;
}

bool InterruptWaiter::disable() {
    const std::lock_guard<std::mutex> lock(m_enableMutex);
    m_requestedState = RequestedState::Disabled;
    return m_device.disableInterrupt();
}

void InterruptWaiter::start() {
    if (!m_wakeUp.isOpen()) {
        m_wakeUp = Common::Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    if (!m_wakeUp.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    eventfd_t stops = 0;
    ::eventfd_read(m_wakeUp.number(), &stops);
    m_stopping = false;
    m_ended = false;
    {
        const std::lock_guard<std::mutex> lock(m_enableMutex);
        m_requestedState = RequestedState::None;
    }
    m_thread = std::thread([this] { run(); });
}

// With a driver that cannot be polled, the thread blocks in the device, where only a signal interrupts the thread. This
// function does not lock m_enableMutex, because the thread may hold that mutex while it blocks. The thread may
// therefore miss a notification, and a signal may arrive before the thread blocks. The loop repeats the notification
// and the signal until the thread ends.
void InterruptWaiter::stop() {
    if (!m_thread.joinable()) {
        return;
    }
    m_stopping = true;
    ::eventfd_write(m_wakeUp.number(), 1);
    m_requestedStateChanged.notify_all();
    while (!waitBrieflyForEnd()) {
        m_requestedStateChanged.notify_all();
        if (m_mayBlockInDevice) {
            wakeUp(m_thread);
        }
    }
    m_thread.join();
}

bool InterruptWaiter::waitBrieflyForEnd() {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_hasEnded.wait_for(lock, std::chrono::milliseconds(10), [this] { return m_ended.load(); });
}

void InterruptWaiter::run() {
    unsigned long word = 0;
    while (!m_stopping && prepareToWait() && waitForReadiness() && receive(word)) {
        count(m_counts.interruptsReceived);
        send(word);
        holdOff();
    }
    if (!m_stopping) {
        traceFailure();
    }
    finish();
}

void InterruptWaiter::traceFailure() {
    std::vector<Peer> peers;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& receiver : m_receivers) {
            peers.push_back(receiver.peer);
        }
    }
    for (const auto& peer : peers) {
        RYNVELD_TRACE_LIMITED(peer, failure, "interrupts", "Cannot receive interrupts from \"", m_device.getDevName(),
                              "\" for client ", peer.name, ".");
    }
}

bool InterruptWaiter::prepareToWait() {
    const std::lock_guard<std::mutex> lock(m_enableMutex);
    if (!m_waitEnablesInterrupt || m_requestedState == RequestedState::Disabled) {
        return true;
    }
    m_mayBlockInDevice = true;
    const bool isEnabled = m_device.enableInterrupt();
    m_mayBlockInDevice = false;
    return isEnabled;
}

// Waits in poll(), which stop() ends without a trace. If a signal from stop() ended receive() instead, the library
// would trace a failure of the device.
bool InterruptWaiter::waitForReadiness() {
    std::array<pollfd, 2> awaited{{{m_device.getNativeHandle(), POLLIN, 0}, {m_wakeUp.number(), POLLIN, 0}}};
    while (::poll(awaited.data(), awaited.size(), -1) < 0) {
        if (errno != EINTR) {
            return false;
        }
    }
    return !m_stopping;
}

// Repeats the wait after a signal, because a signal is not a failure of the device.
bool InterruptWaiter::receive(unsigned long& word) {
    m_mayBlockInDevice = true;
    bool received = false;
    do {
        received = !m_stopping && receiveOnce(word);
    } while (!received && !m_stopping && errno == EINTR);
    m_mayBlockInDevice = false;
    return received;
}

// Reads the device file directly if waitForInterrupt() enables the interrupt. waitForInterrupt() would enable the
// interrupt a second time, before a client could clear the source of the interrupt.
bool InterruptWaiter::receiveOnce(unsigned long& word) {
    errno = 0;
    if (!m_waitEnablesInterrupt) {
        return m_device.waitForInterrupt(&word);
    }
    std::uint32_t count = 0;
    const bool received = ::read(m_device.getNativeHandle(), &count, sizeof(count)) == sizeof(count);
    word = count;
    return received;
}

void InterruptWaiter::holdOff() {
    if (!m_waitEnablesInterrupt) {
        return;
    }
    std::unique_lock<std::mutex> lock(m_enableMutex);
    m_requestedStateChanged.wait_for(lock, m_holdOff,
                                     [this] { return m_requestedState != RequestedState::None || m_stopping; });
    m_requestedStateChanged.wait(lock, [this] { return m_requestedState != RequestedState::Disabled || m_stopping; });
}

// Traces after unlocking, because a trace may take a long time.
void InterruptWaiter::send(unsigned long word) {
    {
        const std::lock_guard<std::mutex> lock(m_enableMutex);
        if (m_requestedState == RequestedState::Enabled) {
            m_requestedState = RequestedState::None;
        }
    }
    std::vector<Peer> slowPeers;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (auto& receiver : m_receivers) {
            if (!deliver(receiver, word)) {
                slowPeers.push_back(receiver.peer);
            }
        }
    }
    for (const auto& peer : slowPeers) {
        traceLoss(peer);
    }
}

bool InterruptWaiter::deliver(Receiver& receiver, unsigned long word) {
    if (!receiver.isDelivering) {
        const bool hasRoom = receiver.queued.size() < maxQueuedWords;
        if (hasRoom) {
            receiver.queued.push_back(word);
        } else {
            count(m_counts.interruptsLost);
        }
        return hasRoom;
    }
    const auto message = Common::interruptRecord(static_cast<std::uint32_t>(word));
    const ssize_t sent = ::send(receiver.socket, message.toBuffer(), message.getSize(), MSG_DONTWAIT | MSG_NOSIGNAL);
    const bool isLost = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    if (sent > 0 && static_cast<unsigned int>(sent) < message.getSize()) {
        ::shutdown(receiver.socket, SHUT_RDWR);
    } else if (sent > 0) {
        count(m_counts.interruptsSent);
    } else if (isLost) {
        count(m_counts.interruptsLost);
    }
    return !isLost;
}

void InterruptWaiter::traceLoss(const Peer& peer) {
    RYNVELD_TRACE_LIMITED(peer, failure, "lost", "Client ", peer.name, " does not read its interrupts: one is lost.");
}

// If the device has failed, ends the armed connections, so that their clients do not wait for further interrupts. If
// another thread arms a connection at the same time, either that connection ends, too, or arm() starts a new thread.
void InterruptWaiter::finish() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_stopping) {
        for (const auto& receiver : m_receivers) {
            ::shutdown(receiver.socket, SHUT_RDWR);
        }
    }
    m_ended = true;
    m_hasEnded.notify_all();
}

} // namespace Rynveld
