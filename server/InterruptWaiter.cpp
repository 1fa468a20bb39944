#include "InterruptWaiter.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "ServerTrace.h"

namespace Rynveld {

namespace {

constexpr int wakeUpSignal = SIGUSR1;

/** The word as it goes out. */
Rynvel::InterruptMessage messageOf(unsigned long word) {
    Rynvel::InterruptMessage message;
    auto* const bytes = static_cast<unsigned char*>(message.toBuffer());
    for (unsigned int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<unsigned char>(word >> (24U - 8U * i));
    }
    return message;
}

} // namespace

InterruptWaiter::InterruptWaiter(Rynvel::IDevice& device, bool waitingEnables, std::chrono::milliseconds holdOff)
    : m_device(device), m_waitingEnables(waitingEnables), m_holdOff(holdOff) {}

InterruptWaiter::~InterruptWaiter() {
    const std::lock_guard<std::mutex> control(m_control);
    stop();
}

// The handler is there so that the signal interrupts a system call instead of ending the process.
void InterruptWaiter::install() {
    struct sigaction action {};
    action.sa_handler = [](int /*signal*/) {};
    sigaction(wakeUpSignal, &action, nullptr);
}

void InterruptWaiter::arm(int socket) {
    const std::lock_guard<std::mutex> control(m_control);
    bool ended = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_sockets.push_back(socket);
        ended = m_ended;
    }
    if (ended) {
        stop();
    }
    if (!m_thread.joinable()) {
        start();
    }
}

void InterruptWaiter::disarm(int socket) {
    const std::lock_guard<std::mutex> control(m_control);
    bool last = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_sockets.erase(std::remove(m_sockets.begin(), m_sockets.end(), socket), m_sockets.end());
        last = m_sockets.empty();
    }
    if (last) {
        stop();
    }
}

bool InterruptWaiter::enable() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_device.enableInterrupt()) {
        return false;
    }
    m_wish = Wish::Enabled;
    m_changed.notify_all();
    return true;
}

bool InterruptWaiter::disable() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_wish = Wish::Disabled;
    return m_device.disableInterrupt();
}

void InterruptWaiter::start() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = false;
        m_ended = false;
        m_wish = Wish::None;
    }
    m_thread = std::thread([this] { run(); });
}

// A signal that comes just before the thread blocks is lost: it is sent until the thread has ended.
void InterruptWaiter::stop() {
    if (!m_thread.joinable()) {
        return;
    }
    m_stopping = true;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.notify_all();
        do {
            pthread_kill(m_thread.native_handle(), wakeUpSignal);
        } while (!m_changed.wait_for(lock, std::chrono::milliseconds(1), [this] { return m_ended; }));
    }
    m_thread.join();
}

void InterruptWaiter::run() {
    unsigned long word = 0;
    while (!m_stopping && beginToWait() && waitForReadiness() && receive(word)) {
        send(word);
        pause();
    }
    if (!m_stopping) {
        RYNVELD_TRACE(failure, "No interrupts can be received from \"", m_device.getDevName(), "\".");
    }
    end();
}

bool InterruptWaiter::beginToWait() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return !m_waitingEnables || m_wish == Wish::Disabled || m_device.enableInterrupt();
}

// Waiting here and not in the device keeps a stop from being traced as a failure of the device.
bool InterruptWaiter::waitForReadiness() const {
    pollfd device{m_device.getNativeHandle(), POLLIN, 0};
    while (::poll(&device, 1, -1) < 0) {
        if (errno != EINTR || m_stopping) {
            return false;
        }
    }
    return true;
}

// A device whose waiting enables the interrupt would enable it a second time, before a client could clear its source.
bool InterruptWaiter::receive(unsigned long& word) {
    if (!m_waitingEnables) {
        return m_device.waitForInterrupt(&word);
    }
    std::uint32_t count = 0;
    const bool received = ::read(m_device.getNativeHandle(), &count, sizeof(count)) == sizeof(count);
    word = count;
    return received;
}

void InterruptWaiter::pause() {
    if (!m_waitingEnables) {
        return;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, m_holdOff, [this] { return m_wish != Wish::None || m_stopping; });
    m_changed.wait(lock, [this] { return m_wish != Wish::Disabled || m_stopping; });
}

void InterruptWaiter::send(unsigned long word) {
    const auto message = messageOf(word);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_wish == Wish::Enabled) {
        m_wish = Wish::None;
    }
    for (const int socket : m_sockets) {
        const ssize_t sent = ::send(socket, message.toBuffer(), message.getSize(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            RYNVELD_TRACE(failure, "Connection ", socket, " does not read its interrupts: one is lost.");
        } else if (sent > 0 && static_cast<unsigned int>(sent) < message.getSize()) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
}

// The clients of a device that has failed learn from the end of their connections that nothing will come any more. One
// that is armed meanwhile either ends with them or starts a thread anew.
void InterruptWaiter::end() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_stopping) {
        for (const int socket : m_sockets) {
            ::shutdown(socket, SHUT_RDWR);
        }
    }
    m_ended = true;
    m_changed.notify_all();
}

} // namespace Rynveld
