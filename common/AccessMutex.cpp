// SPDX-License-Identifier: MIT
#include "AccessMutex.h"

#include "BusErrorGuard.h"

namespace Common {

namespace {

/** The mutex that the guarded access of this thread has locked; null if no mutex is locked. */
thread_local const AccessMutex* lockedByThisThread = nullptr;

} // namespace

// A masked write of an FPGA register calls lock() and unlock() more than once. In a guarded access, unlock() does not
// unlock the mutex, so only the first lock() may lock the mutex.
bool AccessMutex::lock() {
    if (!BusErrorGuard::isRunning()) {
        return m_mutex->lock();
    }
    if (lockedByThisThread == this) {
        return true;
    }
    lockedByThisThread = this;
    return m_mutex->lock();
}

bool AccessMutex::unlock() { return BusErrorGuard::isRunning() || m_mutex->unlock(); }

void AccessMutex::endAccess() {
    if (lockedByThisThread == this) {
        lockedByThisThread = nullptr;
        m_mutex->unlock();
    }
}

} // namespace Common
