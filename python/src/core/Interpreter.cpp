// SPDX-License-Identifier: MIT
#include "Interpreter.h"

#include <pthread.h>
#include <unistd.h>

#include "Errors.h"

namespace RynvelPython {

namespace {

constexpr std::chrono::milliseconds checkInterval(50);

[[noreturn]] void waitForEndOfProcess() {
    for (;;) {
        ::pause();
    }
}

/**
 * Blocks the thread forever if an exception leaves the scope. During finalization, the interpreter unwinds the stack of
 * a thread that tries to take the GIL. Destructors of other objects would then use the interpreter without the GIL.
 */
class StopUnlessReached {
public:
    StopUnlessReached() = default;
    StopUnlessReached(const StopUnlessReached&) = delete;
    StopUnlessReached& operator=(const StopUnlessReached&) = delete;
    ~StopUnlessReached() {
        if (!m_isReached) {
            waitForEndOfProcess();
        }
    }

    void reached() { m_isReached = true; }

private:
    bool m_isReached = false;
};

bool isInterpreterEnding() {
#if PY_VERSION_HEX >= 0x030D0000
    return Py_IsFinalizing() != 0;
#else
    return _Py_IsFinalizing() != 0;
#endif
}

} // namespace

thread_local UnlockedWork* UnlockedWork::s_current = nullptr;

UnlockedWork::UnlockedWork() : m_state(PyEval_SaveThread()), m_outer(s_current), m_thread(std::this_thread::get_id()) {
    s_current = this;
}

void UnlockedWork::end() {
    s_current = m_outer;
    lock();
}

void UnlockedWork::lock() {
    StopUnlessReached stop;
    m_isLocking = true;
    PyEval_RestoreThread(m_state);
    stop.reached();
}

void UnlockedWork::release() {
    m_isLocking = false;
    m_state = PyEval_SaveThread();
}

// The thread that finalizes the interpreter holds the GIL, and other threads clear m_isLocking only while they hold the
// GIL. If m_isLocking is true during the finalization, the thread of this work waits for the GIL, and never gets it.
bool UnlockedWork::isLost() const { return isInterpreterEnding() && m_isLocking; }

void UnlockedWork::checkSignals() {
    UnlockedWork& work = *s_current;
    work.lock();
    // A handler may itself work without the GIL, which changes s_current.
    const int result = PyErr_CheckSignals();
    work.release();
    s_current = &work;
    if (result != 0) {
        throw PythonError();
    }
}

void UnlockedWork::checkSignalsSometimes() {
    const auto now = std::chrono::steady_clock::now();
    UnlockedWork& work = *s_current;
    if (work.m_lastCheck == std::chrono::steady_clock::time_point()) {
        work.m_lastCheck = now;
    } else if (now - work.m_lastCheck >= checkInterval) {
        checkSignals();
        work.m_lastCheck = std::chrono::steady_clock::now();
    }
}

std::atomic<unsigned int> Forks::s_count{0};

void Forks::watch() {
    pthread_atfork(nullptr, nullptr, [] { s_count.fetch_add(1, std::memory_order_relaxed); });
}

} // namespace RynvelPython
