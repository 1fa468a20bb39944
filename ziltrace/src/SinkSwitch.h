/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_SINK_SWITCH_H
#define ZILTRACE_SINK_SWITCH_H

#include "ZilTraceControl.h"

#include <memory>

#include <pthread.h>

namespace ziltrace {

// Only the GNU C library offers a lock that prefers writers.
#ifdef PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP
#define ZILTRACE_RWLOCK_INITIALIZER PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP
#else
#define ZILTRACE_RWLOCK_INITIALIZER PTHREAD_RWLOCK_INITIALIZER
#endif

/**
 * A shared mutex that prefers writers: while a writer waits, new readers also wait. With a std::shared_mutex, threads
 * that trace without a pause could block a writer forever. With a C library other than the GNU C library, the mutex is
 * like a std::shared_mutex.
 */
class WriterPreferringMutex {
public:
    void lock() noexcept { pthread_rwlock_wrlock(&m_lock); }
    void unlock() noexcept { pthread_rwlock_unlock(&m_lock); }
    void lock_shared() noexcept { pthread_rwlock_rdlock(&m_lock); }
    void unlock_shared() noexcept { pthread_rwlock_unlock(&m_lock); }

    /** Unlocks the mutex in a forked child, in which the threads that locked the mutex do not exist. */
    void reset() noexcept;

private:
    pthread_rwlock_t m_lock = ZILTRACE_RWLOCK_INITIALIZER;
};

/**
 * A switch between the configured sink and a sink of the program. The functions that change the sink wait until no
 * thread uses the previous sink.
 */
class SinkSwitch {
public:
    SinkSwitch();

    void write(const ZilTraceControl::Record& record);

    void setConfigured(std::unique_ptr<ZilTraceControl::Sink> sink);
    ZilTraceControl::Sink* setOverride(ZilTraceControl::Sink* sink);

    void resetAfterFork() noexcept { m_mutex.reset(); }

private:
    ZilTraceControl::Sink& current() const { return m_override != nullptr ? *m_override : *m_configured; }

    WriterPreferringMutex m_mutex;
    std::unique_ptr<ZilTraceControl::Sink> m_configured;
    ZilTraceControl::Sink* m_override = nullptr;
};

} // namespace ziltrace

#endif
