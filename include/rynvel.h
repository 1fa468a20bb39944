/**
 * @file
 * Register access by logical device name: the C interface of librynvel. Valid C99 and C++.
 *
 * A program opens a device by its logical name and uses the handle with the functions of the device's own width:
 *
 *     int clock = Rynvel_open("rtc0");
 *     uint32_t now;
 *     if (clock != -1 && Rynvel2_read32(clock, 0, &now) == 0) ...
 *
 * Results. Every function but those that say otherwise returns 0 for success and -1 for failure; the cause of a failure
 * is said on the library's trace channels.
 *
 * Traces. The library hands its traces to libziltrace and writes nothing itself. The libziltrace that comes with it
 * writes those of the levels up to 3 (failures, what cannot be reached, notable outcomes) to standard error, so that a
 * failure is seen without a setting. The environment variable ZILTRACE says what is written, and where: ZILTRACE='*=0'
 * turns all traces off.
 *
 * Addresses. The Rynvel2_ functions and the 8-bit functions pass their address to the device as it is: a byte offset
 * for a device file, a register index for a mapped device. The older Rynvel_ functions of 16 and 32 bits take a byte
 * address and divide it by the register size; the low bits of an unaligned address are dropped without notice. No
 * address is checked against the size of the device.
 *
 * Byte order. A burst's `byteOrder` of 0 exchanges the items unchanged, in the processor's byte order; any other value
 * byte-reverses every item (network byte order on a little-endian processor). The 8-bit bursts need none.
 *
 * Threads. Any thread may call any function. A device of this machine serialises the register operations on it, an FPGA
 * word by word: another thread's operation may come between the read and the write of its masked write, and between the
 * words of a burst. Requests and interrupts are not serialised, so that one thread may wait while others work.
 * A remote device serialises nothing: the program runs one operation on it at a time, and may wait for an interrupt
 * beside it.
 *
 * What ends the process. A handle that is negative or not below the number of devices fails an assertion. A handle that
 * was never opened, or is used with the functions of another width, is not checked: the process faults. Opening a
 * seekable device or an FPGA whose file cannot be opened, a mapped device whose file opens but cannot be mapped, and
 * asking a UIO device for its interrupt type without a place for it each fail an assertion. No function catches an
 * exception: Rynvel_open lets pass what the construction of a device throws, and std::logic_error for a null name.
 */
#ifndef RYNVEL_H
#define RYNVEL_H

#include <stdint.h>

#include "rynvel/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Opens the device with this logical name.
 *
 * @param name zero-terminated; compared exactly.
 * @return the device's handle, always the same for one name and valid until the process ends; -1 for a name that the
 *         library does not know or a device of an unsupported type. A mapped device whose file cannot be opened gets
 *         its handle all the same: its register operations then fail.
 */
RYNVEL_EXPORT int Rynvel_open(const char* name);

/** The same as Rynvel_open(). */
RYNVEL_EXPORT int Rynvel_open2(const char* name);

/** Does nothing: a device stays open until the process ends, and its handle stays valid. */
RYNVEL_EXPORT void Rynvel_close(int handle);

/** Forwards a request to the device's driver and returns the driver's result; -1 from a device without requests. */
RYNVEL_EXPORT int Rynvel_ioctl(int handle, int request, unsigned long argument);

/** Stores the device's interrupt type in `*type`. */
RYNVEL_EXPORT int Rynvel_getInterruptType(int handle, unsigned long* type);

/** Lets the device deliver interrupts. */
RYNVEL_EXPORT int Rynvel_enableInterrupts(int handle);

/** Stops the device's interrupts. */
RYNVEL_EXPORT int Rynvel_disableInterrupts(int handle);

/**
 * Blocks the calling thread until the device signals an interrupt, and stores what the device reports about it in
 * `*info`. Other threads may use the device's registers meanwhile.
 */
RYNVEL_EXPORT int Rynvel_receiveInterrupts(int handle, unsigned long* info);

/** The descriptor that serves the device, owned by the library: do not close it. -1 where there is none. */
RYNVEL_EXPORT int Rynvel_getFileDescriptor(int handle);

/** @name Single read of the register at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_read8(int handle, unsigned int address, uint8_t* value);
RYNVEL_EXPORT int Rynvel2_read16(int handle, unsigned int index, uint16_t* value);
RYNVEL_EXPORT int Rynvel2_read32(int handle, unsigned int index, uint32_t* value);
/** @} */

/** @name Single read of the register at a byte address @{ */
RYNVEL_EXPORT int Rynvel_read16(int handle, unsigned int byteAddress, uint16_t* value);
RYNVEL_EXPORT int Rynvel_read32(int handle, unsigned int byteAddress, uint32_t* value);
/** @} */

/** @name Read of `items` consecutive registers from a device address or index on @{ */
RYNVEL_EXPORT int Rynvel_burstRead8(int handle, unsigned int address, uint8_t* values, unsigned int items);
RYNVEL_EXPORT int Rynvel2_burstRead16(int handle, unsigned int index, uint16_t* values, unsigned int items,
                                      int byteOrder);
RYNVEL_EXPORT int Rynvel2_burstRead32(int handle, unsigned int index, uint32_t* values, unsigned int items,
                                      int byteOrder);
/** @} */

/** @name Read of `items` consecutive registers from a byte address on @{ */
RYNVEL_EXPORT int Rynvel_burstRead16(int handle, unsigned int byteAddress, uint16_t* values, unsigned int items,
                                     int byteOrder);
RYNVEL_EXPORT int Rynvel_burstRead32(int handle, unsigned int byteAddress, uint32_t* values, unsigned int items,
                                     int byteOrder);
/** @} */

/** @name Single write of the register at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_write8(int handle, unsigned int address, uint8_t value);
RYNVEL_EXPORT int Rynvel2_write16(int handle, unsigned int index, uint16_t value);
RYNVEL_EXPORT int Rynvel2_write32(int handle, unsigned int index, uint32_t value);
/** @} */

/** @name Single write of the register at a byte address @{ */
RYNVEL_EXPORT int Rynvel_write16(int handle, unsigned int byteAddress, uint16_t value);
RYNVEL_EXPORT int Rynvel_write32(int handle, unsigned int byteAddress, uint32_t value);
/** @} */

/** @name Write of `items` consecutive registers from a device address or index on @{ */
RYNVEL_EXPORT int Rynvel_burstWrite8(int handle, unsigned int address, const uint8_t* values, unsigned int items);
RYNVEL_EXPORT int Rynvel2_burstWrite16(int handle, unsigned int index, const uint16_t* values, unsigned int items,
                                       int byteOrder);
RYNVEL_EXPORT int Rynvel2_burstWrite32(int handle, unsigned int index, const uint32_t* values, unsigned int items,
                                       int byteOrder);
/** @} */

/** @name Write of `items` consecutive registers from a byte address on @{ */
RYNVEL_EXPORT int Rynvel_burstWrite16(int handle, unsigned int byteAddress, const uint16_t* values, unsigned int items,
                                      int byteOrder);
RYNVEL_EXPORT int Rynvel_burstWrite32(int handle, unsigned int byteAddress, const uint32_t* values, unsigned int items,
                                      int byteOrder);
/** @} */

/** @name Replacement of the bits set in `bitmask`, at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_writeBitmask8(int handle, unsigned int address, uint8_t data, uint8_t bitmask);
RYNVEL_EXPORT int Rynvel2_writeBitmask16(int handle, unsigned int index, uint16_t data, uint16_t bitmask);
RYNVEL_EXPORT int Rynvel2_writeBitmask32(int handle, unsigned int index, uint32_t data, uint32_t bitmask);
/** @} */

/** @name Replacement of the bits set in `bitmask`, at a byte address @{ */
RYNVEL_EXPORT int Rynvel_writeBitmask16(int handle, unsigned int byteAddress, uint16_t data, uint16_t bitmask);
RYNVEL_EXPORT int Rynvel_writeBitmask32(int handle, unsigned int byteAddress, uint32_t data, uint32_t bitmask);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
