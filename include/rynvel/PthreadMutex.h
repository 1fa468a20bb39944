/**
 * @file
 * The library's lock: a POSIX threads mutex.
 */
#ifndef RYNVEL_PTHREADMUTEX_H
#define RYNVEL_PTHREADMUTEX_H

#include <pthread.h>

#include "rynvel/Export.h"
#include "rynvel/IMutex.h"

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/**
 * The protocol of a PthreadMutex, with the values of POSIX: every value but PriorityInherit means a mutex with default
 * attributes.
 */
enum class PthreadMutexType : int {
    /** Default attributes. */
    None = 0,
    /** A thread that holds the mutex inherits the priority of its highest waiter (PTHREAD_PRIO_INHERIT). */
    PriorityInherit = 1,
};

/**
 * A POSIX threads mutex, not recursive. Nothing throws and nothing ends the process: a failed construction is traced on
 * the channel "Rynvel.PthreadMutex" and leaves an object whose operations then report their own failures.
 */
class RYNVEL_EXPORT PthreadMutex : public IMutex {
public:
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
