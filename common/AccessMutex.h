/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The mutex of a device whose registers may cause a bus error.
 */
#ifndef RYNVEL_COMMON_ACCESSMUTEX_H
#define RYNVEL_COMMON_ACCESSMUTEX_H

#include <rynvel.hpp>

#include <memory>
#include <utility>

namespace Common {

/**
 * Forwards lock() and unlock() to a wrapped mutex. Within a guarded access of BusErrorGuard, only the first lock()
 * locks the wrapped mutex, and unlock() does nothing. The caller of the guarded access unlocks the wrapped mutex with
 * endAccess(), in a stack frame that a fault does not skip.
 *
 * The thread rules of the wrapped mutex apply. A thread runs one guarded access at a time.
 */
class AccessMutex final : public Rynvel::IMutex {
public:
    explicit AccessMutex(std::unique_ptr<Rynvel::IMutex> mutex) : m_mutex(std::move(mutex)) {}

    bool lock() override;
    bool unlock() override;

    /**
     * Unlocks the mutex if the guarded access of this thread has locked it. Call this function after every guarded
     * access.
     */
    void endAccess();

private:
    const std::unique_ptr<Rynvel::IMutex> m_mutex;
};

} // namespace Common

#endif
