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
 * An interrupt disables itself when it arrives. The next wait enables it again, after the program has cleared the
 * source of the interrupt. One interrupt of a source that stays active therefore arrives only once.
 *
 * Threads: any thread may call stop(). Only one thread at a time may call the other functions.
 */
class InterruptSession {
public:
    /** Prepares and enables the interrupts. Call this function without the GIL, like all others. */
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

    /** Enables the interrupt if the last one has disabled it. A later wait() then need not enable it. */
    void enableForWait();

    /**
     * Ends a wait of another thread, disables the interrupts, and releases them. Does nothing if they are released.
     *
     * @throws OperationError if the interrupts cannot be disabled. They are released nevertheless.
     * @throws PythonError if a signal handler ends the wait for the other thread. Another call then continues.
     */
    void stop();

    /** Returns whether stop() has released the interrupts, or does so now. */
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
    /** Waits until a descriptor is readable. @return whether the descriptor of the device is. */
    bool poll(int descriptor, const Common::Deadline& deadline) const;
    [[noreturn]] void throwClosed() const;
    /** Makes wait() end. @return whether the caller must release the interrupts. */
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
