#ifndef RYNVEL_DEVICELOCK_H
#define RYNVEL_DEVICELOCK_H

#include <typeinfo>

#include "PthreadMutex.h"
#include "RynvelTrace.h"
#include "rynvel/IMutex.h"

namespace Rynvel {

/** Holds the mutex of a device. One of the library's own is reached without a virtual call, unless it is traced. */
class DeviceLock {
public:
    explicit DeviceLock(IMutex& mutex) : m_mutex(mutex), m_direct(isDirect(mutex)) {
        if (__builtin_expect(m_direct, 1)) {
            own().take();
        } else {
            m_mutex.lock();
        }
    }

    DeviceLock(const DeviceLock&) = delete;
    DeviceLock& operator=(const DeviceLock&) = delete;

    ~DeviceLock() {
        if (__builtin_expect(m_direct, 1)) {
            own().release();
        } else {
            m_mutex.unlock();
        }
    }

private:
    static bool isDirect(IMutex& mutex) {
        return __builtin_expect(&typeid(mutex) == &typeid(PthreadMutex), 1) &&
               !PthreadMutex::m_trace.isEnabled(TraceLevel::highRate);
    }
    PthreadMutex& own() { return static_cast<PthreadMutex&>(m_mutex); }

    IMutex& m_mutex;
    const bool m_direct;
};

} // namespace Rynvel

#endif
