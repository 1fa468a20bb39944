/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The part of the interface of a device that does not depend on the register width.
 */
#ifndef RYNVEL_IDEVICE_H
#define RYNVEL_IDEVICE_H

#include "rynvel/Export.h"

#include <string>

namespace Rynvel {

/**
 * A device with registers of any width.
 *
 * Every function runs in the caller's thread. Any number of threads may use one object at the same time, unless the
 * header of the backend says otherwise. A function that fails returns `false` or -1, and the backend may report the
 * cause on its trace channel. The order of the virtual functions is part of the binary interface.
 */
class RYNVEL_EXPORT IDevice {
public:
    /** @param devName the path of the device file; for a remote device, the device name. */
    explicit IDevice(std::string devName);
    IDevice(const IDevice&) = delete;
    IDevice& operator=(const IDevice&) = delete;

    /** Unmaps and closes the device file, and destroys the mutex. A remote device does not close its connections. */
    virtual ~IDevice();

    /**
     * Forwards an ioctl request to the driver of the device.
     *
     * @return the result of the driver; -1 for failure, with the `errno` of the system call. A backend without requests
     *         returns -1 and leaves `errno` unchanged.
     */
    virtual int ioctl(int request, unsigned long arg);

    /** Stores the interrupt type of the device in `*type`. A backend without interrupts returns `false`. */
    virtual bool getInterruptType(unsigned long* type) = 0;

    /** Enables the interrupts of the device. A backend without interrupts returns `false`. */
    virtual bool enableInterrupt() = 0;

    /** Disables the interrupts of the device. A backend without interrupts returns `false`. */
    virtual bool disableInterrupt() = 0;

    /**
     * Blocks the calling thread, without a time-out, until the device raises an interrupt. Then stores the interrupt
     * word in `*info`. Does not lock the mutex: other threads may use the registers meanwhile. A backend without
     * interrupts returns `false` immediately and leaves `*info` unchanged.
     */
    virtual bool waitForInterrupt(unsigned long* info) = 0;

    /**
     * Returns the descriptor of the device file or socket; -1 if nothing is open, or if the backend does not provide
     * its descriptor. The device owns the descriptor.
     */
    virtual int getNativeHandle() const = 0;

    /** Returns the name that was passed to the constructor. */
    const std::string& getDevName() const;

private:
    const std::string m_devName;
};

} // namespace Rynvel

#endif
