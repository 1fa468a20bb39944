/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Waiting for the interrupts of a device.
 */
#ifndef RYNVEL_PYTHON_INTERRUPTS_H
#define RYNVEL_PYTHON_INTERRUPTS_H

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "Deadline.h"
#include "Descriptor.h"
#include "Interpreter.h"
#include "OpenDevice.h"

namespace RynvelPython {

/**
 * The use of the interrupts of a device, from enabling to disabling them.
 *
 * The driver of a UIO device disables the interrupt when it arrives. The next wait() enables the interrupt again, so
 * the program can clear the source first. A source that stays active until then does not cause a second interrupt.
 *
 * Threads: any number may use the object at once. wait() and enableForWait() fail while another thread waits.
 */
class InterruptSession {
public:
    /** Prepares and enables the interrupts. Call this function, wait(), enableForWait() and stop() without the GIL. */
    explicit InterruptSession(std::shared_ptr<OpenDevice> device);
    InterruptSession(const InterruptSession&) = delete;
    InterruptSession& operator=(const InterruptSession&) = delete;
    ~InterruptSession() = default;

    /**
     * Waits for the next interrupt and returns its interrupt word; none if the deadline passes.
     *
     * @throws OperationError if stop() ends the wait, or if another thread waits.
     */
    std::optional<std::uint32_t> wait(const Common::Deadline& deadline);

    /** Enables the interrupt if the previous delivery has disabled it. A later wait() then does not enable it. */
    void enableForWait();

    /**
     * Ends a wait of another thread, and disables and releases the interrupts. Does nothing after the release.
     *
     * @throws OperationError if the interrupts cannot be disabled. They are released nevertheless.
     * @throws PythonError if a signal handler ends the wait for the other thread. Another call then continues.
     */
    void stop();

    /** Returns whether stop() has released the interrupts, or is about to release them. */
    bool isReleased() const;
    /** @throws OperationError after stop(). */
    void requireActive() const;

    /** The descriptor that is readable when an interrupt may have arrived. */
    int descriptor() const { return m_descriptor; }
    /** The descriptor that is readable after stop(). */
    int stopDescriptor() const { return m_stopped.number(); }

private:
    class Waiter;

    void enable();
    std::optional<std::uint32_t> waitOnce(const Common::Deadline& deadline);
    /** Waits until `descriptor` is readable, for at most 100 ms. @return whether it is readable; false for -1. */
    bool poll(int descriptor, const Common::Deadline& deadline) const;
    [[noreturn]] void throwClosed() const;
    /** Ends wait() in another thread. @return whether the caller must release the interrupts. */
    bool requestStop();

    const std::shared_ptr<OpenDevice> m_device;
    const Common::Descriptor m_stopped;
    int m_descriptor = -1;
    bool m_isEnabled = false;

    mutable std::mutex m_mutex;
    std::condition_variable m_waitEnded;
    bool m_isStopped = false;
    bool m_isReleased = false;
    /** The work of the thread that waits; null if none does. */
    const UnlockedWork* m_waiter = nullptr;
};

} // namespace RynvelPython

#endif
