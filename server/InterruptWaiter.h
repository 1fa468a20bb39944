/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Sends the interrupts of a device to the armed connections.
 */
#ifndef RYNVELD_INTERRUPTWAITER_H
#define RYNVELD_INTERRUPTWAITER_H

#include <rynvel.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Descriptor.h"
#include "DeviceCounts.h"
#include "TraceLimit.h"

namespace Rynveld {

/**
 * While at least one connection is armed, a thread waits for the interrupts of the device, and sends each interrupt
 * word to all armed connections.
 *
 * If waiting enables the interrupt, the next wait begins when a client enables the interrupt, or after a hold-off time.
 * A source that stays active until a client clears it therefore does not cause a continuous stream of interrupts. An
 * interrupt that a client has disabled stays disabled until a client enables it, or until the last connection is
 * disarmed and a connection is armed again.
 *
 * Call installWakeUpHandler() first. Threads: any number may call arm(), startDelivery(), disarm(), enable() and
 * disable() at once.
 */
class InterruptWaiter {
public:
    static constexpr std::chrono::milliseconds defaultHoldOff{10};

    /**
     * @param waitEnablesInterrupt whether waitForInterrupt() of the device enables its interrupt.
     * @param counts counts the interrupts. It must outlive this object.
     */
    InterruptWaiter(Rynvel::IDevice& device, bool waitEnablesInterrupt, DeviceCounts& counts,
                    std::chrono::milliseconds holdOff = defaultHoldOff);
    InterruptWaiter(const InterruptWaiter&) = delete;
    InterruptWaiter& operator=(const InterruptWaiter&) = delete;
    ~InterruptWaiter();

    /**
     * Arms a connected socket. Until startDelivery(), queues up to 1000 interrupt words for the socket.
     *
     * @throws std::system_error if the system has no thread or no descriptor left. Disarm the socket in that case, too.
     */
    void arm(int socket, const Peer& peer);
    /** Sends the queued interrupt words to an armed socket, and from then on every interrupt word at once. */
    void startDelivery(int socket);
    /** Disarms a socket. After this function has returned, the object sends nothing to the socket. */
    void disarm(int socket);
    /** Enables the interrupt of the device for a client. Returns false if the device reports failure. */
    bool enable();
    /** Disables the interrupt of the device for a client. Returns false if the device reports failure. */
    bool disable();

private:
    /** The latest request of a client to enable or disable the interrupt. Enabled applies until the next interrupt. */
    enum class RequestedState { None, Enabled, Disabled };

    /** An armed connection. */
    struct Receiver {
        int socket;
        Peer peer;
        bool isDelivering;
        /** The interrupt words that arrived before the delivery started. */
        std::vector<unsigned long> queued;
    };

    /** Sends or queues an interrupt word. Returns false if the queue or the socket buffer is full, so the word is lost.
     */
    bool deliver(Receiver& receiver, unsigned long word);
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
    void holdOff();
    void send(unsigned long word);
    void finish();

    Rynvel::IDevice& m_device;
    const bool m_waitEnablesInterrupt;
    DeviceCounts& m_counts;
    const std::chrono::milliseconds m_holdOff;

    /** Locked while a function starts or stops the thread. */
    std::mutex m_controlMutex;
    std::thread m_thread;
    /** Readable when the thread must stop. Not open before the first start of the thread. */
    Common::Descriptor m_wakeUp;

    /** Guards m_requestedState. Also locked while the device enables or disables its interrupt, which may take long. */
    std::mutex m_enableMutex;
    std::condition_variable m_requestedStateChanged;
    RequestedState m_requestedState = RequestedState::None;

    std::mutex m_mutex;
    std::condition_variable m_hasEnded;
    std::list<Receiver> m_receivers;
    /** Whether the thread has finished its work. Changes only while m_mutex is locked, except before the thread starts.
     */
    std::atomic<bool> m_ended{false};
    std::atomic<bool> m_stopping{false};
    /** Whether the thread may block in the device, where only a signal interrupts the thread. */
    std::atomic<bool> m_mayBlockInDevice{false};
};

} // namespace Rynveld

#endif
