/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Register access by logical device name: the C interface of librynvel. Valid C99 and C++.
 *
 * Open a device by its logical name, and pass the handle to the functions for the register width of the device:
 *
 *     int clock = Rynvel_open("rtc0");
 *     uint32_t now;
 *     if (clock != -1 && Rynvel2_read32(clock, 0, &now) == 0) ...
 *
 * Which function to call. The number at the end of a name is the register width in bits. For 16 and 32 bits there are
 * two generations. The functions of the old generation begin with Rynvel_ and take a byte address. Those of the new
 * generation begin with Rynvel2_ and pass their address to the device unchanged. docs/functions.md has more about them.
 *
 * | Task                | 8 bits               | 16 and 32 bits, old          | 16 and 32 bits, new           |
 * |---------------------|----------------------|------------------------------|-------------------------------|
 * | read a register     | Rynvel_read8         | Rynvel_read16, ...32         | Rynvel2_read16, ...32         |
 * | write a register    | Rynvel_write8        | Rynvel_write16, ...32        | Rynvel2_write16, ...32        |
 * | write under a mask  | Rynvel_writeBitmask8 | Rynvel_writeBitmask16, ...32 | Rynvel2_writeBitmask16, ...32 |
 * | read a burst        | Rynvel_burstRead8    | Rynvel_burstRead16, ...32    | Rynvel2_burstRead16, ...32    |
 * | write a burst       | Rynvel_burstWrite8   | Rynvel_burstWrite16, ...32   | Rynvel2_burstWrite16, ...32   |
 *
 * What the address means depends on the type of the device ("size" is the register size in bytes):
 *
 * | Device types                         | 8 bits         | 16 and 32 bits, old                 | 16 and 32 bits, new |
 * |--------------------------------------|----------------|-------------------------------------|---------------------|
 * | Lseek8                               | byte offset    |                                     |                     |
 * | Uio, Tyvon, FpgaSpi32                |                | byte address                        | register index      |
 * | Lseek16, Lseek32, TyvonInterrupt     |                | avoid: reaches byte address / size  | byte offset         |
 * | Remote                               | sent unchanged | byte address / size is sent         | sent unchanged      |
 *
 * These functions are for devices of every width. Lseek and FpgaSpi32 devices have no interrupts:
 *
 * | Task                                | Functions                                                                  |
 * |-------------------------------------|----------------------------------------------------------------------------|
 * | open a device                       | Rynvel_open                                                                |
 * | wait for an interrupt               | Rynvel_enableInterrupts, Rynvel_receiveInterrupts                          |
 * | wait for an interrupt with a        | Rynvel_enableInterrupts, poll on Rynvel_getFileDescriptor,                 |
 * | time-out                            | Rynvel_receiveInterrupts when the descriptor is readable                   |
 * | disable interrupts                  | Rynvel_disableInterrupts                                                   |
 * | get the interrupt type              | Rynvel_getInterruptType                                                    |
 * | send a request to the driver        | Rynvel_ioctl                                                               |
 *
 * Results. A function returns 0 for success and -1 for failure, unless its description says otherwise. The library's
 * trace channels report why opening, connecting or waiting failed. A failed transfer of a device file, a failed ioctl
 * request and a failed enable leave no trace by default: errno gives the cause.
 *
 * Traces. The library passes its traces to libziltrace and writes nothing itself. The libziltrace that comes with it
 * writes the levels up to 3 (failures, unreachable devices and servers, notable outcomes) to standard error, so that
 * you see failures by default. The environment variable ZILTRACE selects the traces and where they are written:
 * ZILTRACE='*=0' turns all traces off.
 *
 * Addresses. The Rynvel2_ functions and the 8-bit functions pass their address to the device unchanged: a byte offset
 * for a device file, a register index for a mapped device or an FPGA. The Rynvel_ functions of 16 and 32 bits divide
 * their byte address by the register size in bytes; they silently drop the low bits of an unaligned address. No
 * function checks an address against the size of the device.
 *
 * Byte order. With a `byteOrder` of 0, a burst leaves the items unchanged, in the processor's byte order. With any
 * other value, it reverses the bytes of every item, which gives network byte order on a little-endian processor. The
 * 8-bit bursts have no byte order.
 *
 * Threads. You may call any function from any thread. A device of this machine serialises the register operations on
 * it, an FPGA word by word: an operation of another thread may come between the read and the write of a masked write to
 * an FPGA, and between the words of a burst. Devices do not serialise requests and interrupts, so that one thread may
 * wait for an interrupt while others use registers. A remote device serialises nothing: run one operation on it at a
 * time. You may wait for an interrupt during that operation.
 *
 * What ends the process. Each of these errors fails an assertion, in every build type: a handle that is negative or not
 * below the number of devices; opening a seekable device or an FPGA whose file cannot be opened; opening a mapped
 * device whose file can be opened but not mapped; a null pointer for the interrupt type of a UIO device. The library
 * does not check whether a handle was opened, or whether the function matches the width of the device: if you get that
 * wrong, the process crashes. An address beyond the map of a mapped device may end the process by a signal. So does
 * SIGPIPE, unless the program ignores it, when the server of a remote device has closed the connection. No function
 * catches an exception: Rynvel_open throws those of the constructor of a device, and std::logic_error for a null name.
 */
#ifndef RYNVEL_H
#define RYNVEL_H

#include "rynvel/Export.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Opens the device with this logical name. Opening a remote device blocks until its server has accepted two connections
 * and answered the requests that open the device. Other threads that open a device wait meanwhile.
 *
 * @param name the device name, zero-terminated; it is compared exactly.
 * @return the handle of the device, which is the same for every call with this name and valid until the process ends;
 *         -1 if no device has this name, or if the type of the device is not supported. If the file of a mapped device
 *         cannot be opened, you still get a handle, but register operations on it fail.
 */
RYNVEL_EXPORT int Rynvel_open(const char* name);

/** Does the same as Rynvel_open(). */
RYNVEL_EXPORT int Rynvel_open2(const char* name);

/** Does nothing: the device stays open, and its handle valid, until the process ends. */
RYNVEL_EXPORT void Rynvel_close(int handle);

/**
 * Forwards a request to the driver of the device.
 *
 * @return the driver's result, or -1 for failure; 0 or -1 for a remote device; -1 for an FPGA, which has no requests.
 */
RYNVEL_EXPORT int Rynvel_ioctl(int handle, int request, unsigned long argument);

/** Stores the interrupt type of the device in `*type`: 4 for a UIO device, the driver's own value for others. */
RYNVEL_EXPORT int Rynvel_getInterruptType(int handle, unsigned long* type);

/** Enables the interrupts of the device. */
RYNVEL_EXPORT int Rynvel_enableInterrupts(int handle);

/** Disables the interrupts of the device. */
RYNVEL_EXPORT int Rynvel_disableInterrupts(int handle);

/**
 * Blocks the calling thread, without a time-out, until the device signals an interrupt. It then stores the interrupt
 * word in `*info`. Other threads may use the registers of the device meanwhile.
 *
 * A UIO device enables its interrupt first, and its interrupt word is the number of interrupts since the device was
 * registered. A Tyvon device does not enable its interrupt, and a wait on a remote device sends nothing: call
 * Rynvel_enableInterrupts() before.
 */
RYNVEL_EXPORT int Rynvel_receiveInterrupts(int handle, unsigned long* info);

/**
 * Returns the file descriptor of the device, or -1 if the device has none. For a device with interrupts, poll() reports
 * the descriptor as readable when an interrupt has arrived, or when the server of a remote device has closed the
 * connection. Receiving then fails. The library owns the descriptor: do not close it.
 */
RYNVEL_EXPORT int Rynvel_getFileDescriptor(int handle);

/** @name Reads the register at a device address or index into `*value` @{ */
RYNVEL_EXPORT int Rynvel_read8(int handle, unsigned int address, uint8_t* value);
RYNVEL_EXPORT int Rynvel2_read16(int handle, unsigned int index, uint16_t* value);
RYNVEL_EXPORT int Rynvel2_read32(int handle, unsigned int index, uint32_t* value);
/** @} */

/** @name Reads the register at a byte address into `*value` @{ */
RYNVEL_EXPORT int Rynvel_read16(int handle, unsigned int byteAddress, uint16_t* value);
RYNVEL_EXPORT int Rynvel_read32(int handle, unsigned int byteAddress, uint32_t* value);
/** @} */

/** @name Reads `items` consecutive registers, starting at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_burstRead8(int handle, unsigned int address, uint8_t* values, unsigned int items);
RYNVEL_EXPORT int Rynvel2_burstRead16(int handle, unsigned int index, uint16_t* values, unsigned int items,
                                      int byteOrder);
RYNVEL_EXPORT int Rynvel2_burstRead32(int handle, unsigned int index, uint32_t* values, unsigned int items,
                                      int byteOrder);
/** @} */

/** @name Reads `items` consecutive registers, starting at a byte address @{ */
RYNVEL_EXPORT int Rynvel_burstRead16(int handle, unsigned int byteAddress, uint16_t* values, unsigned int items,
                                     int byteOrder);
RYNVEL_EXPORT int Rynvel_burstRead32(int handle, unsigned int byteAddress, uint32_t* values, unsigned int items,
                                     int byteOrder);
/** @} */

/** @name Writes the register at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_write8(int handle, unsigned int address, uint8_t value);
RYNVEL_EXPORT int Rynvel2_write16(int handle, unsigned int index, uint16_t value);
RYNVEL_EXPORT int Rynvel2_write32(int handle, unsigned int index, uint32_t value);
/** @} */

/** @name Writes the register at a byte address @{ */
RYNVEL_EXPORT int Rynvel_write16(int handle, unsigned int byteAddress, uint16_t value);
RYNVEL_EXPORT int Rynvel_write32(int handle, unsigned int byteAddress, uint32_t value);
/** @} */

/** @name Writes `items` consecutive registers, starting at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_burstWrite8(int handle, unsigned int address, const uint8_t* values, unsigned int items);
RYNVEL_EXPORT int Rynvel2_burstWrite16(int handle, unsigned int index, const uint16_t* values, unsigned int items,
                                       int byteOrder);
RYNVEL_EXPORT int Rynvel2_burstWrite32(int handle, unsigned int index, const uint32_t* values, unsigned int items,
                                       int byteOrder);
/** @} */

/** @name Writes `items` consecutive registers, starting at a byte address @{ */
RYNVEL_EXPORT int Rynvel_burstWrite16(int handle, unsigned int byteAddress, const uint16_t* values, unsigned int items,
                                      int byteOrder);
RYNVEL_EXPORT int Rynvel_burstWrite32(int handle, unsigned int byteAddress, const uint32_t* values, unsigned int items,
                                      int byteOrder);
/** @} */

/** @name Replaces the bits that are set in `bitmask` by those of `data`, at a device address or index @{ */
RYNVEL_EXPORT int Rynvel_writeBitmask8(int handle, unsigned int address, uint8_t data, uint8_t bitmask);
RYNVEL_EXPORT int Rynvel2_writeBitmask16(int handle, unsigned int index, uint16_t data, uint16_t bitmask);
RYNVEL_EXPORT int Rynvel2_writeBitmask32(int handle, unsigned int index, uint32_t data, uint32_t bitmask);
/** @} */

/** @name Replaces the bits that are set in `bitmask` by those of `data`, at a byte address @{ */
RYNVEL_EXPORT int Rynvel_writeBitmask16(int handle, unsigned int byteAddress, uint16_t data, uint16_t bitmask);
RYNVEL_EXPORT int Rynvel_writeBitmask32(int handle, unsigned int byteAddress, uint32_t data, uint32_t bitmask);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
