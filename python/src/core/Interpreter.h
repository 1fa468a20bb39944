/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Work without the GIL (global interpreter lock), signals during this work, and forked processes.
 */
#ifndef RYNVEL_PYTHON_INTERPRETER_H
#define RYNVEL_PYTHON_INTERPRETER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include <Python.h>

namespace RynvelPython {

/**
 * Work of a thread without the GIL. The class has no destructor that takes the GIL: during the finalization of
 * the interpreter, a thread that tries to take the GIL never returns.
 */
class UnlockedWork {
public:
    /** Releases the GIL. */
    UnlockedWork();
    UnlockedWork(const UnlockedWork&) = delete;
    UnlockedWork& operator=(const UnlockedWork&) = delete;

    /** Takes the GIL. Call this function exactly once. */
    void end();

    /** Calls the signal handlers of the program. @throws PythonError if a handler raises an exception. */
    static void checkSignals();

    /**
     * Calls checkSignals() if 50 ms have passed since the last check. Without this limit, a long burst would wait for
     * the GIL after each part.
     */
    static void checkSignalsSometimes();

    /** Returns the work of the calling thread; null if the thread has not released the GIL with this class. */
    static const UnlockedWork* current() { return s_current; }

    /** Returns whether the calling thread does this work, or does other work in a signal handler during this work. */
    bool isOfThisThread() const { return m_thread == std::this_thread::get_id(); }

    /**
     * Returns whether the work never continues, because the interpreter ends while the thread waits for the GIL. The
     * mutexes of the thread then stay locked. Any thread may call this function.
     */
    bool isLost() const;

    /** Waits until a condition is true. Calls signal handlers every 100 ms, without the mutex. @throws PythonError */
    template <typename Condition>
    static void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                          const Condition& isReached) {
        constexpr std::chrono::milliseconds signalInterval(100);
        while (!isReached()) {
            if (changed.wait_for(lock, signalInterval) == std::cv_status::timeout) {
                lock.unlock();
                checkSignals();
                lock.lock();
            }
        }
    }

private:
    void lock();
    void release();

    static thread_local UnlockedWork* s_current;

    PyThreadState* m_state;
    UnlockedWork* const m_outer;
    const std::thread::id m_thread;
    /** Whether the thread waits for the GIL or holds it. */
    std::atomic<bool> m_isLocking{false};
    std::chrono::steady_clock::time_point m_lastCheck;
};

/** Calls a function without the GIL. The function must not use Python objects. It may throw. */
template <typename Function>
void unlocked(const Function& function) {
    std::exception_ptr failure;
    UnlockedWork work;
    try {
        function();
    } catch (...) {
        failure = std::current_exception();
    }
    work.end();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/** Counts the forks from the first process that has imported the module to this process. */
class Forks {
public:
    /** Starts counting. Call this function once. */
    static void watch();

    static unsigned int count() { return s_count.load(std::memory_order_relaxed); }

private:
    static std::atomic<unsigned int> s_count;
};

} // namespace RynvelPython

#endif
