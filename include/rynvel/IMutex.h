/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The interface of the lock that every device owns.
 */
#ifndef RYNVEL_IMUTEX_H
#define RYNVEL_IMUTEX_H

#include "rynvel/Export.h"

namespace Rynvel {

/**
 * The lock that serialises the register operations of a device. The constructor of the device takes ownership of it.
 *
 * A device never locks it again while it holds it, so it need not be recursive. A device ignores the results of lock()
 * and unlock(): it accesses the register even if they fail. You can use `std::lock_guard<IMutex>`. The order of the
 * virtual functions is part of the binary interface.
 */
class RYNVEL_EXPORT IMutex {
public:
    IMutex() = default;
    IMutex(const IMutex&) = delete;
    IMutex& operator=(const IMutex&) = delete;
    virtual ~IMutex();

    /** Blocks until the lock is free. @return whether the calling thread now holds it. */
    virtual bool lock() = 0;

    /** @return whether the lock was released. */
    virtual bool unlock() = 0;
};

} // namespace Rynvel

#endif
