/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Work without the interpreter lock, signals during this work, and forked processes.
 */
#ifndef RYNVEL_PYTHON_INTERPRETER_H
#define RYNVEL_PYTHON_INTERPRETER_H

#include <atomic>
#include <chrono>
#include <exception>

#include <Python.h>

namespace RynvelPython {

/**
 * Work of a thread without the interpreter lock. The class has no destructor that takes the lock: when the interpreter
 * ends, a thread that takes the lock never returns.
 */
class UnlockedWork {
public:
    /** Releases the interpreter lock. */
    UnlockedWork();
    UnlockedWork(const UnlockedWork&) = delete;
    UnlockedWork& operator=(const UnlockedWork&) = delete;

    /** Takes the interpreter lock. Call this function exactly once. */
    void end();

    /** Calls the signal handlers of the program. @throws PythonError if a handler raises an exception. */
    static void checkSignals();

    /**
     * Calls checkSignals() if some time has passed since the last call. In a long burst, calling it for each chunk
     * would make the thread wait for the interpreter lock each time.
     */
    static void checkSignalsSometimes();

private:
    void lock();

    static thread_local UnlockedWork* s_current;

    PyThreadState* m_state;
    UnlockedWork* const m_outer;
    std::chrono::steady_clock::time_point m_lastCheck;
};

/** Calls a function without the interpreter lock. The function must not use Python objects. It may throw. */
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
