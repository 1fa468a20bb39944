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
 * The backend defines the unit of an address: for Lseek a byte offset in the device file, for the mapped backends and
 * FpgaSpi32 a register index. Remote sends the address to the server unchanged. No backend checks an address against
 * the size of its device.
 *
 * The object owns a mutex that serialises its register operations. The backend documents what one lock covers.
 *
 * A `bool` result is `true` for success.
 */
template <typename T>
class RYNVEL_EXPORT Device : public IDevice {
public:
    using IDevice::IDevice;

    /** Returns -1, for no descriptor. Backends that have a descriptor override it. */
    int getNativeHandle() const override;

    /** Reads the register at `address` into `*data`. */
    virtual bool read(unsigned int address, T* data) = 0;

    /**
     * Reads `items` consecutive registers, starting at `address`, into `data[0]` to `data[items - 1]`, each in
     * `byteOrder`. A burst of 0 items transfers nothing, and succeeds wherever a longer burst would succeed.
     */
    virtual bool read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) = 0;

    /** Writes `data` to the register at `address`. */
    virtual bool write(unsigned int address, T data) = 0;

    /**
     * Replaces the bits of a register that are set in `bitmask` by those of `data`, and keeps the others:
     * new = (old AND NOT bitmask) OR (data AND bitmask).
     */
    virtual bool write(unsigned int address, T data, T bitmask) = 0;

    /**
     * Writes `data[0]` to `data[items - 1]`, each in `byteOrder`, to `items` consecutive registers, starting at
     * `address`. A burst of 0 items transfers nothing, and succeeds wherever a longer burst would succeed.
     */
    virtual bool write(unsigned int address, const T* data, unsigned int items, ByteOrder byteOrder) = 0;

    /**
     * Releases a thread that is blocked in waitForInterrupt(), by a register write that makes the device signal an
     * interrupt. Calls the virtual `write(address, data)`, unless a derived class overrides it.
     */
    virtual bool cancelWaitForInterrupt(unsigned int address, T data);
};

extern template class Device<std::uint8_t>;
extern template class Device<std::uint16_t>;
extern template class Device<std::uint32_t>;

using Device8 = Device<std::uint8_t>;
using Device16 = Device<std::uint16_t>;
using Device32 = Device<std::uint32_t>;

} // namespace Rynvel

#endif
