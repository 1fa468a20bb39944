/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The implementation of IMutex with a POSIX mutex.
 */
#ifndef RYNVEL_PTHREADMUTEX_H
#define RYNVEL_PTHREADMUTEX_H

#include "rynvel/Export.h"
#include "rynvel/IMutex.h"

#include <pthread.h>

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/** The attributes of a PthreadMutex. Every value except PriorityInherit means default attributes. */
enum class PthreadMutexType : int {
    /** Default attributes. */
    None = 0,
    /** PTHREAD_PRIO_INHERIT: a thread that holds the mutex inherits the highest priority of the waiting threads. */
    PriorityInherit = 1,
};

/**
 * A POSIX mutex that is not recursive. No function throws or ends the process. If the mutex cannot be initialized,
 * lock() and unlock() fail. The class traces failures at level 1 on the channel "Rynvel.PthreadMutex".
 */
class RYNVEL_EXPORT PthreadMutex : public IMutex {
public:
    /** Initializes the mutex with the attributes of this type. */
    explicit PthreadMutex(PthreadMutexType type);
    ~PthreadMutex() override;

    bool lock() override;
    bool unlock() override;

private:
    friend class DeviceLock;

    RYNVEL_LOCAL inline bool take();
    RYNVEL_LOCAL inline bool release();
    RYNVEL_LOCAL static bool report(int error, const char* call, const ZilTraceHeader& caller);
    RYNVEL_LOCAL static bool succeeded(int error, const char* call, const ZilTraceHeader& caller);

    pthread_mutex_t m_mutex;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
