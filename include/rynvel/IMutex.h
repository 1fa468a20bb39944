/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The interface of the mutex that every device owns.
 */
#ifndef RYNVEL_IMUTEX_H
#define RYNVEL_IMUTEX_H

#include "rynvel/Export.h"

namespace Rynvel {

/**
 * A mutex that serializes the register operations of a device. The constructor of the device takes ownership of the
 * mutex.
 *
 * The mutex need not be recursive, because a device does not lock a mutex that it already holds. A device ignores the
 * results of lock() and unlock(), and accesses the register even if lock() fails. You can use
 * `std::lock_guard<IMutex>`. The order of the virtual functions is part of the binary interface.
 */
class RYNVEL_EXPORT IMutex {
public:
    IMutex() = default;
    IMutex(const IMutex&) = delete;
    IMutex& operator=(const IMutex&) = delete;
    virtual ~IMutex();

    /** Blocks until the mutex is free, and locks it. @return whether the calling thread holds the mutex. */
    virtual bool lock() = 0;

    /** Unlocks the mutex. @return whether the mutex was unlocked. */
    virtual bool unlock() = 0;
};

} // namespace Rynvel

#endif
