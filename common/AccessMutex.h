/**
 * @file
 * The mutex of a device whose registers may answer with a bus error.
 */
#ifndef RYNVEL_COMMON_ACCESSMUTEX_H
#define RYNVEL_COMMON_ACCESSMUTEX_H

#include <memory>
#include <utility>

#include <rynvel.hpp>

namespace Common {

/**
 * Passes the library's calls on to another mutex, but for unlock() in a guarded access: that is left to whoever runs
 * the access, in a frame that a fault does not jump over. Until then the mutex stays locked, and is not locked again.
 *
 * Threads: as the other mutex. A thread has one guarded access at a time.
 */
class AccessMutex final : public Rynvel::IMutex {
public:
    explicit AccessMutex(std::unique_ptr<Rynvel::IMutex> mutex) : m_mutex(std::move(mutex)) {}

    bool lock() override;
    bool unlock() override;

    /** Unlocks the mutex when the guarded access of this thread has locked it. To be called after every one. */
    void endAccess();

private:
    const std::unique_ptr<Rynvel::IMutex> m_mutex;
};

} // namespace Common

#endif
