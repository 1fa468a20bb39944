/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_DEVICELOCK_H
#define RYNVEL_DEVICELOCK_H

#include "rynvel/IMutex.h"

#include <typeinfo>

#include "PthreadMutex.h"
#include "RynvelTrace.h"

namespace Rynvel {

/**
 * A scope that locks the mutex of a device. A PthreadMutex is locked without virtual calls, unless locks are traced.
 */
class DeviceLock {
public:
    explicit DeviceLock(IMutex& mutex) : m_mutex(mutex), m_direct(isDirect(mutex)) {
        if (__builtin_expect(m_direct, 1)) {
            pthreadMutex().take();
        } else {
            m_mutex.lock();
        }
    }

    DeviceLock(const DeviceLock&) = delete;
    DeviceLock& operator=(const DeviceLock&) = delete;

    ~DeviceLock() {
        if (__builtin_expect(m_direct, 1)) {
            pthreadMutex().release();
        } else {
            m_mutex.unlock();
        }
    }

private:
    static bool isDirect(IMutex& mutex) {
        return __builtin_expect(&typeid(mutex) == &typeid(PthreadMutex), 1) &&
               !PthreadMutex::m_trace.isEnabled(TraceLevel::highRate);
    }
    PthreadMutex& pthreadMutex() { return static_cast<PthreadMutex&>(m_mutex); }

    IMutex& m_mutex;
    const bool m_direct;
};

} // namespace Rynvel

#endif
