/**
 * @file
 * Hands the interrupts of one device on to the connections that are armed for them.
 */
#ifndef RYNVELD_INTERRUPTWAITER_H
#define RYNVELD_INTERRUPTWAITER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <rynvel.hpp>

#include "Descriptor.h"
#include "TraceLimit.h"

namespace Rynveld {

/**
 * One thread waits for the device's interrupts while at least one connection is armed, and sends each of them the word.
 *
 * Where waiting enables the interrupt, the next wait begins when a client enables the interrupt or after a hold-off, so
 * that a source that stays active until a client clears it is not reported over and over meanwhile. Once a client has
 * disabled the interrupt, it stays so until a client enables it, or arms the first connection anew.
 *
 * installWakeUpHandler() is to be called beforehand. Threads: arm(), begin(), disarm(), enable() and disable() may be
 * called by any number of threads at once.
 */
class InterruptWaiter {
public:
    static constexpr std::chrono::milliseconds defaultHoldOff{10};

    /** @param waitEnablesInterrupt whether waitForInterrupt() of the device enables its interrupt. */
    InterruptWaiter(Rynvel::IDevice& device, bool waitEnablesInterrupt,
                    std::chrono::milliseconds holdOff = defaultHoldOff);
    InterruptWaiter(const InterruptWaiter&) = delete;
    InterruptWaiter& operator=(const InterruptWaiter&) = delete;
    ~InterruptWaiter();

    /**
     * Takes every interrupt from now on for a connected socket, too. The words are kept until begin().
     *
     * @throws std::system_error when the system has no thread left. The socket is to be disarmed then, too.
     */
    void arm(int socket, const Peer& peer);
    /** Sends an armed socket what was kept for it, and from now on each word at once. */
    void begin(int socket);
    /** Nothing is sent to the socket any more when it returns. */
    void disarm(int socket);
    /** Enables the device's interrupt for a client. */
    bool enable();
    /** Disables the device's interrupt for a client. */
    bool disable();

private:
    /** What the clients have last asked for since the last interrupt. */
    enum class InterruptRequest { None, Enabled, Disabled };

    /** An armed connection. */
    struct Receiver {
        int socket;
        Peer peer;
        bool hasBegun;
        /** What came before it began. */
        std::vector<unsigned long> kept;
    };

    static bool deliver(Receiver& receiver, unsigned long word);
    static void traceLoss(const Peer& peer);
    void traceFailure();

    void start();
    void stop();
    void run();
    bool prepareToWait();
    bool waitForReadiness();
    bool receive(unsigned long& word);
    bool receiveOnce(unsigned long& word);
    bool waitBrieflyForEnd();
    void pause();
    void send(unsigned long word);
    void end();

    Rynvel::IDevice& m_device;
    const bool m_waitEnablesInterrupt;
    const std::chrono::milliseconds m_holdOff;

    /** Serialises the starting and stopping of the thread. */
    std::mutex m_control;
    std::thread m_thread;
    /** Readable when the thread is to stop; none until there is a thread. */
    Common::Descriptor m_wakeUp;

    /** Held while the device enables or disables its interrupt, for as long as that takes. */
    std::mutex m_enabling;
    std::condition_variable m_requestChanged;
    InterruptRequest m_lastRequest = InterruptRequest::None;

    std::mutex m_mutex;
    std::condition_variable m_hasEnded;
    std::list<Receiver> m_receivers;
    /** Whether the thread reaches its end, or there is none. Changes while m_mutex is held, but at the start. */
    std::atomic<bool> m_ended{false};
    std::atomic<bool> m_stopping{false};
    /** Whether the thread may block in the device, where only a signal reaches it. */
    std::atomic<bool> m_mayBlockInDevice{false};
};

} // namespace Rynveld

#endif
