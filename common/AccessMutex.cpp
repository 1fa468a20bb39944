#include "AccessMutex.h"

#include "FaultGuard.h"

namespace Common {

namespace {

/** What this thread's guarded access has locked. */
thread_local const AccessMutex* locked = nullptr;

} // namespace

bool AccessMutex::lock() {
    if (FaultGuard::isRunning()) {
        locked = this;
    }
    return m_mutex->lock();
}

bool AccessMutex::unlock() { return FaultGuard::isRunning() || m_mutex->unlock(); }

void AccessMutex::endAccess() {
    if (locked == this) {
        locked = nullptr;
        m_mutex->unlock();
    }
}

} // namespace Common
