#include "AccessMutex.h"

#include "FaultGuard.h"

namespace Common {

namespace {

/** What this thread's guarded access has locked. */
thread_local const AccessMutex* locked = nullptr;

} // namespace

// An access may lock and unlock more than once, as the masked write of an FPGA register does.
bool AccessMutex::lock() {
    if (!FaultGuard::isRunning()) {
        return m_mutex->lock();
    }
    if (locked == this) {
        return true;
    }
    locked = this;
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
