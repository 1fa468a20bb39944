/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The C interface of librynvel: register access by device name. The header is valid C99 and C++.
 *
 * Open a device by its name, and pass the handle to the functions for the register width of the device:
 *
 *     int clock = Rynvel_open("rtc0");
 *     uint32_t now;
 *     if (clock != -1 && Rynvel2_read32(clock, 0, &now) == 0) ...
 *
 * Functions. The name of a function that reads or writes registers ends with the register width in bits. For 16 and 32
 * bits, two generations of these functions exist. The functions of the old generation have the prefix Rynvel_ and take
 * a byte address. The functions of the new generation have the prefix Rynvel2_ and pass their address to the device
 * unchanged. docs/functions.md describes the generations in more detail.
 *
 * | Task                | 8 bits               | 16 and 32 bits, old          | 16 and 32 bits, new           |
 * |---------------------|----------------------|------------------------------|-------------------------------|
 * | read a register     | Rynvel_read8         | Rynvel_read16, ...32         | Rynvel2_read16, ...32         |
 * | write a register    | Rynvel_write8        | Rynvel_write16, ...32        | Rynvel2_write16, ...32        |
 * | write under a mask  | Rynvel_writeBitmask8 | Rynvel_writeBitmask16, ...32 | Rynvel2_writeBitmask16, ...32 |
 * | read a burst        | Rynvel_burstRead8    | Rynvel_burstRead16, ...32    | Rynvel2_burstRead16, ...32    |
 * | write a burst       | Rynvel_burstWrite8   | Rynvel_burstWrite16, ...32   | Rynvel2_burstWrite16, ...32   |
 *
 * The device type determines the meaning of the address:
 *
 * | Device types                         | 8 bits         | 16 and 32 bits, old                 | 16 and 32 bits, new |
 * |--------------------------------------|----------------|-------------------------------------|---------------------|
 * | Lseek8                               | byte offset    |                                     |                     |
 * | Uio, Tyvon, FpgaSpi32                |                | byte address                        | register index      |
 * | Lseek16, Lseek32, TyvonInterrupt     |                | do not use: see Addresses           | byte offset         |
 * | Remote                               | sent unchanged | byte address, sent as an index      | sent unchanged      |
 *
 * Lseek and TyvonInterrupt devices are seekable devices. Uio and Tyvon devices are mapped devices.
 *
 * The following functions are for devices of every width. Lseek and FpgaSpi32 devices have no interrupts.
 *
 * | Task                         | Functions                                                                   |
 * |------------------------------|-----------------------------------------------------------------------------|
 * | open a device                | Rynvel_open                                                                 |
 * | wait for an interrupt        | Rynvel_enableInterrupts, Rynvel_receiveInterrupts                           |
 * | wait with a time-out         | Rynvel_enableInterrupts, Rynvel_getFileDescriptor, Rynvel_receiveInterrupts |
 * | disable interrupts           | Rynvel_disableInterrupts                                                    |
 * | get the interrupt type       | Rynvel_getInterruptType                                                     |
 * | send a request to the driver | Rynvel_ioctl                                                                |
 *
 * To wait with a time-out, enable the interrupts, and poll on the file descriptor. When the descriptor is readable,
 * clear the source of the interrupt, and then receive the interrupt.
 *
 * Results. A function returns 0 for success and -1 for failure, unless its description says otherwise. If opening,
 * connecting or waiting fails, the library traces the cause. By default, the library does not trace the failures of the
 * following operations: reads and writes of a seekable device or of a device without a map, SPI transfers that the
 * kernel refuses, ioctl requests, enabling an interrupt, interrupt functions of a device without interrupts, and
 * requests that a server refuses. If a system call has failed, errno contains its error number.
 *
 * Traces. The library passes its traces to libziltrace and writes nothing itself. By default, the libziltrace of this
 * project writes the levels up to 3 to standard error: failures, unreachable devices and servers, and connections.
 * The environment variable ZILTRACE selects which traces libziltrace writes, and where it writes them. ZILTRACE='*=0'
 * turns all traces off.
 *
 * Addresses. The Rynvel2_ functions and the 8-bit functions pass their address to the device unchanged. The address is
 * a byte offset for a seekable device, and a register index for a mapped device or an FPGA. The Rynvel_ functions for
 * 16 and 32 bits divide their byte address by the register size in bytes, and pass the quotient to the device. The
 * division silently drops the low bits of an unaligned address. An Lseek16, Lseek32 or TyvonInterrupt device uses the
 * quotient as a byte offset: use the Rynvel2_ functions for these devices. No function checks an address against the
 * size of the device.
 *
 * Byte order. If `byteOrder` is 0, a burst leaves the items unchanged, in the byte order of the processor. If
 * `byteOrder` has any other value, the burst reverses the bytes of every item. On a little-endian processor, the items
 * then have network byte order. The 8-bit bursts have no `byteOrder`.
 *
 * Threads. You may call any function from any thread. A device of this machine, except an FPGA, serializes its register
 * operations. An FPGA serializes only the transfers of single registers: an operation of another thread may come
 * between two transfers of a burst, or between the read and the write of a masked write. Devices do not serialize ioctl
 * requests and interrupt functions: one thread may wait for an interrupt while other threads use registers. A remote
 * device serializes nothing: run one operation at a time on a remote device. Only a wait for an interrupt may run at
 * the same time as another operation.
 *
 * Assertions. Each of these errors fails an assertion, which ends the process in every build type:
 *
 * - A handle is negative, or is not less than the number of devices in the device table.
 * - The program opens a seekable device or an FPGA whose device file cannot be opened.
 * - The program opens a mapped device whose device file can be opened but not mapped.
 * - The program asks a UIO device for its interrupt type and passes a null pointer.
 *
 * Crashes. The library does not check whether you have opened the device of a handle, or whether a function matches the
 * register width of the device. Both errors crash the process. An address beyond the map of a mapped device may end the
 * process with a signal. If the server of a remote device has closed the connection, an operation on the device may
 * raise SIGPIPE, which ends the process unless the program ignores the signal.
 *
 * Exceptions. No function catches exceptions. Rynvel_open passes on the exceptions of the constructor of a device, and
 * throws std::logic_error for a null name.
 */
#ifndef RYNVEL_H
#define RYNVEL_H

#include "rynvel/Export.h"
#include "rynvel/Version.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @name Devices
 * @{
 */

/**
 * Opens the device with this name. For a remote device, the function blocks until the server has accepted two
 * connections and answered the requests that open the device. Meanwhile, other threads that open a device wait.
 *
 * @param name the device name, zero-terminated and case-sensitive.
 * @return the handle of the device; -1 if no device has this name, or if the device type is not supported. Every call
 *         with the same name returns the same handle, which stays valid until the process ends. If the device file of a
 *         mapped device cannot be opened, the function still returns a handle, but register operations fail.
 */
RYNVEL_EXPORT int Rynvel_open(const char* name);

/** Does the same as Rynvel_open(). */
RYNVEL_EXPORT int Rynvel_open2(const char* name);

/** Does nothing. The device stays open and the handle stays valid until the process ends. */
RYNVEL_EXPORT void Rynvel_close(int handle);

/**
 * Forwards an ioctl request to the driver of the device.
 *
 * @return the result of the driver; -1 for failure. For a remote device, the function returns only 0 or -1. For an
 *         FPGA, which supports no requests, the function always returns -1.
 */
RYNVEL_EXPORT int Rynvel_ioctl(int handle, int request, unsigned long argument);
/** @} */

/**
 * @name Interrupts
 * @{
 */

/**
 * Stores the interrupt type of the device in `*type`. The interrupt type of a UIO device is 4. The driver determines
 * the interrupt type of a Tyvon device, and the server that of a remote device. Lseek and FpgaSpi32 devices have no
 * interrupt type, so the function fails for them.
 */
RYNVEL_EXPORT int Rynvel_getInterruptType(int handle, unsigned long* type);

/** Enables the interrupts of the device. */
RYNVEL_EXPORT int Rynvel_enableInterrupts(int handle);

/** Disables the interrupts of the device. */
RYNVEL_EXPORT int Rynvel_disableInterrupts(int handle);

/**
 * Blocks the calling thread, without a time-out, until the device raises an interrupt. Then stores the interrupt word
 * in `*info`. Meanwhile, other threads may use the registers of the device.
 *
 * For a UIO device, the function enables the interrupt before it waits. The interrupt word of a UIO device is the
 * number of interrupts since the device was registered with the kernel. For a Tyvon or remote device, the function does
 * not enable the interrupt: call Rynvel_enableInterrupts() first.
 */
RYNVEL_EXPORT int Rynvel_receiveInterrupts(int handle, unsigned long* info);

/**
 * Returns the file descriptor of the device; -1 for an FPGA, and for a device without an open device file or interrupt
 * connection. For a device with interrupts, poll() reports the descriptor as readable when an interrupt has arrived.
 * For a remote device, poll() also reports the descriptor as readable when the server has closed the connection, and
 * Rynvel_receiveInterrupts() then fails. The library owns the descriptor: do not close it.
 */
RYNVEL_EXPORT int Rynvel_getFileDescriptor(int handle);
/** @} */

/**
 * @name Reads of a register at an address or index
 * @{
 */

/** Reads the register at `address` or `index` into `*value`. */
RYNVEL_EXPORT int Rynvel_read8(int handle, unsigned int address, uint8_t* value);
RYNVEL_EXPORT int Rynvel2_read16(int handle, unsigned int index, uint16_t* value);
RYNVEL_EXPORT int Rynvel2_read32(int handle, unsigned int index, uint32_t* value);
/** @} */

/**
 * @name Reads of a register at a byte address
 * @{
 */

/** Reads the register at `byteAddress` into `*value`. */
RYNVEL_EXPORT int Rynvel_read16(int handle, unsigned int byteAddress, uint16_t* value);
RYNVEL_EXPORT int Rynvel_read32(int handle, unsigned int byteAddress, uint32_t* value);
/** @} */

/**
 * @name Burst reads from an address or index
 * @{
 */

/** Reads `items` consecutive registers into `values`, starting at `address` or `index`. */
RYNVEL_EXPORT int Rynvel_burstRead8(int handle, unsigned int address, uint8_t* values, unsigned int items);
RYNVEL_EXPORT int Rynvel2_burstRead16(int handle, unsigned int index, uint16_t* values, unsigned int items,
                                      int byteOrder);
RYNVEL_EXPORT int Rynvel2_burstRead32(int handle, unsigned int index, uint32_t* values, unsigned int items,
                                      int byteOrder);
/** @} */

/**
 * @name Burst reads from a byte address
 * @{
 */

/** Reads `items` consecutive registers into `values`, starting at `byteAddress`. */
RYNVEL_EXPORT int Rynvel_burstRead16(int handle, unsigned int byteAddress, uint16_t* values, unsigned int items,
                                     int byteOrder);
RYNVEL_EXPORT int Rynvel_burstRead32(int handle, unsigned int byteAddress, uint32_t* values, unsigned int items,
                                     int byteOrder);
/** @} */

/**
 * @name Writes of a register at an address or index
 * @{
 */

/** Writes `value` to the register at `address` or `index`. */
RYNVEL_EXPORT int Rynvel_write8(int handle, unsigned int address, uint8_t value);
RYNVEL_EXPORT int Rynvel2_write16(int handle, unsigned int index, uint16_t value);
RYNVEL_EXPORT int Rynvel2_write32(int handle, unsigned int index, uint32_t value);
/** @} */

/**
 * @name Writes of a register at a byte address
 * @{
 */

/** Writes `value` to the register at `byteAddress`. */
RYNVEL_EXPORT int Rynvel_write16(int handle, unsigned int byteAddress, uint16_t value);
RYNVEL_EXPORT int Rynvel_write32(int handle, unsigned int byteAddress, uint32_t value);
/** @} */

/**
 * @name Burst writes from an address or index
 * @{
 */

/** Writes `values` to `items` consecutive registers, starting at `address` or `index`. */
RYNVEL_EXPORT int Rynvel_burstWrite8(int handle, unsigned int address, const uint8_t* values, unsigned int items);
RYNVEL_EXPORT int Rynvel2_burstWrite16(int handle, unsigned int index, const uint16_t* values, unsigned int items,
                                       int byteOrder);
RYNVEL_EXPORT int Rynvel2_burstWrite32(int handle, unsigned int index, const uint32_t* values, unsigned int items,
                                       int byteOrder);
/** @} */

/**
 * @name Burst writes from a byte address
 * @{
 */

/** Writes `values` to `items` consecutive registers, starting at `byteAddress`. */
RYNVEL_EXPORT int Rynvel_burstWrite16(int handle, unsigned int byteAddress, const uint16_t* values, unsigned int items,
                                      int byteOrder);
RYNVEL_EXPORT int Rynvel_burstWrite32(int handle, unsigned int byteAddress, const uint32_t* values, unsigned int items,
                                      int byteOrder);
/** @} */

/**
 * @name Masked writes of a register at an address or index
 * @{
 */

/**
 * Writes only the bits of `data` that `bitmask` selects, to the register at `address` or `index`. On a remote device, a
 * `bitmask` of 0 writes all bits.
 */
RYNVEL_EXPORT int Rynvel_writeBitmask8(int handle, unsigned int address, uint8_t data, uint8_t bitmask);
RYNVEL_EXPORT int Rynvel2_writeBitmask16(int handle, unsigned int index, uint16_t data, uint16_t bitmask);
RYNVEL_EXPORT int Rynvel2_writeBitmask32(int handle, unsigned int index, uint32_t data, uint32_t bitmask);
/** @} */

/**
 * @name Masked writes of a register at a byte address
 * @{
 */

/**
 * Writes only the bits of `data` that `bitmask` selects, to the register at `byteAddress`. On a remote device, a
 * `bitmask` of 0 writes all bits.
 */
RYNVEL_EXPORT int Rynvel_writeBitmask16(int handle, unsigned int byteAddress, uint16_t data, uint16_t bitmask);
RYNVEL_EXPORT int Rynvel_writeBitmask32(int handle, unsigned int byteAddress, uint32_t data, uint32_t bitmask);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
