/**
 * @file
 * The lock that every backend owns.
 */
#ifndef RYNVEL_IMUTEX_H
#define RYNVEL_IMUTEX_H

#include "rynvel/Export.h"

namespace Rynvel {

/**
 * A lock that is handed to a device at its construction and serialises the device's register operations.
 *
 * A device never locks it twice on one path, ignores both results and goes on with the access whatever they are.
 * `std::lock_guard<IMutex>` works on it. The order of the virtual operations is part of the binary interface.
 */
class RYNVEL_EXPORT IMutex {
public:
    IMutex() = default;
    IMutex(const IMutex&) = delete;
    IMutex& operator=(const IMutex&) = delete;
    virtual ~IMutex();

    /** `true` when the calling thread now holds the lock. */
    virtual bool lock() = 0;

    /** `true` when the lock was released. */
    virtual bool unlock() = 0;
};

} // namespace Rynvel

#endif
