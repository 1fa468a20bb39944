/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The interface of a device with registers of one width.
 */
#ifndef RYNVEL_DEVICE_H
#define RYNVEL_DEVICE_H

#include "rynvel/ByteOrder.h"
#include "rynvel/Export.h"
#include "rynvel/IDevice.h"

#include <cstdint>

namespace Rynvel {

/**
 * A device whose registers are of type `T`: `std::uint8_t`, `std::uint16_t` or `std::uint32_t`.
 *
 * The backend defines the meaning of an address. For Lseek, an address is a byte offset in the device file. For the
 * mapped backends and FpgaSpi32, an address is a register index. Remote sends the address to the server unchanged. No
 * backend checks an address against the size of the device.
 *
 * Each device owns a mutex. The header of its backend says which register operations the mutex serializes.
 *
 * Functions with a `bool` result return `true` for success.
 */
template <typename T>
class RYNVEL_EXPORT Device : public IDevice {
public:
    using IDevice::IDevice;

    /** Returns -1. Backends that provide a descriptor override this function. */
    int getNativeHandle() const override;

    /** Stores the value of the register at `address` in `*data`. */
    virtual bool read(unsigned int address, T* data) = 0;

    /**
     * Reads `items` consecutive registers, starting at `address`, into `data[0]` to `data[items - 1]`, each in
     * `byteOrder`. A burst of 0 items transfers nothing. On a remote device, the server determines the result of an
     * empty burst. On any other device, an empty burst succeeds if a read of the register at `address` would succeed.
     */
    virtual bool read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) = 0;

    /** Writes `data` to the register at `address`. */
    virtual bool write(unsigned int address, T data) = 0;

    /**
     * Writes the bits of `data` that `bitmask` selects to the register at `address`, and keeps the other bits of the
     * register: new = (old AND NOT bitmask) OR (data AND bitmask).
     */
    virtual bool write(unsigned int address, T data, T bitmask) = 0;

    /**
     * Writes `data[0]` to `data[items - 1]`, each in `byteOrder`, to `items` consecutive registers, starting at
     * `address`. A burst of 0 items transfers nothing. On a remote device, the server determines the result of an empty
     * burst. On any other device, an empty burst succeeds if a write to the register at `address` would succeed.
     */
    virtual bool write(unsigned int address, const T* data, unsigned int items, ByteOrder byteOrder) = 0;

    /**
     * Ends a waitForInterrupt() that blocks another thread. The function writes `data` to the register at `address`,
     * and the write must make the device raise an interrupt. The default implementation calls the virtual
     * `write(address, data)` and returns the result.
     */
    virtual bool cancelWaitForInterrupt(unsigned int address, T data);
};

extern template class Device<std::uint8_t>;
extern template class Device<std::uint16_t>;
extern template class Device<std::uint32_t>;

/** A device with 8-bit registers. */
using Device8 = Device<std::uint8_t>;
/** A device with 16-bit registers. */
using Device16 = Device<std::uint16_t>;
/** A device with 32-bit registers. */
using Device32 = Device<std::uint32_t>;

} // namespace Rynvel

#endif
