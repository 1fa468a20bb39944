/**
 * @file
 * The contract of a device with registers of one width.
 */
#ifndef RYNVEL_DEVICE_H
#define RYNVEL_DEVICE_H

#include <cstdint>

#include "rynvel/ByteOrder.h"
#include "rynvel/Export.h"
#include "rynvel/IDevice.h"

namespace Rynvel {

/**
 * A device whose registers are of type `T`: `std::uint8_t`, `std::uint16_t` or `std::uint32_t`.
 *
 * The unit of an address is the backend's: a byte offset in the device file for Lseek, a register index for the
 * memory-mapped backends and FpgaSpi32, a value passed through to the server for Remote. No backend checks an address
 * against the size of its device. Each register operation is serialised with the others of the same object by the
 * mutex that the object owns, as far as the backend says.
 *
 * A derived class overrides all pure operations; `bool` results are `true` for success.
 */
template <typename T>
class RYNVEL_EXPORT Device : public IDevice {
public:
    using IDevice::IDevice;

    /** -1: no descriptor, unless the backend says otherwise. */
    int getNativeHandle() const override;

    /** Reads the register at `address` into `*data`. */
    virtual bool read(unsigned int address, T* data) = 0;

    /**
     * Reads `items` consecutive registers from `address` on into `data[0]` to `data[items - 1]`, each delivered in
     * `byteOrder`. A burst of no items transfers nothing and succeeds wherever one of some items would.
     */
    virtual bool read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) = 0;

    /** Writes `data` to the register at `address`. */
    virtual bool write(unsigned int address, T data) = 0;

    /**
     * Replaces the bits of one register that are set in `bitmask` by those of `data` and keeps the others:
     * new = (old AND NOT bitmask) OR (data AND bitmask).
     */
    virtual bool write(unsigned int address, T data, T bitmask) = 0;

    /**
     * Writes `data[0]` to `data[items - 1]` to `items` consecutive registers from `address` on, each taken in
     * `byteOrder`. A burst of no items transfers nothing and succeeds wherever one of some items would.
     */
    virtual bool write(unsigned int address, const T* data, unsigned int items, ByteOrder byteOrder) = 0;

    /**
     * Releases a thread that waits in waitForInterrupt() by a register write: the same as `write(address, data)`, by
     * its virtual operation, unless a derived class says otherwise.
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
