/**
 * @file
 * The operations of a device that do not depend on its register width.
 */
#ifndef RYNVEL_IDEVICE_H
#define RYNVEL_IDEVICE_H

#include <string>

#include "rynvel/Export.h"

namespace Rynvel {

/**
 * A register device of any width.
 *
 * Every operation runs in the caller's thread, and any number of threads may call one object at once, unless the
 * backend says otherwise. An operation that fails answers `false` (or -1); what a backend says about the cause goes to
 * its trace channel. The order of the virtual operations is part of the binary interface.
 */
class RYNVEL_EXPORT IDevice {
public:
    /** @param devName the device file's path; for a remote device, the logical device name. */
    explicit IDevice(std::string devName);
    IDevice(const IDevice&) = delete;
    IDevice& operator=(const IDevice&) = delete;

    /** Releases the device file and mapping, then the device's mutex. A remote device's connections stay open. */
    virtual ~IDevice();

    /**
     * Forwards a request of the device's own to its driver.
     *
     * @return the driver's result, unchanged; -1 for a failure (`errno` is the system call's), and, with `errno` left
     *         alone, from a backend that supports no requests.
     */
    virtual int ioctl(int request, unsigned long arg);

    /** Stores the device's interrupt type in `*type`. `false` at once from a backend without interrupts. */
    virtual bool getInterruptType(unsigned long* type) = 0;

    /** Lets the device deliver interrupts. `false` at once from a backend without interrupts. */
    virtual bool enableInterrupt() = 0;

    /** Stops the device's interrupts. `false` at once from a backend without interrupts. */
    virtual bool disableInterrupt() = 0;

    /**
     * Blocks the calling thread until the device signals an interrupt, and stores what the backend reports about it in
     * `*info`. The device's mutex is not held, so other threads go on using the registers. `false` at once, with
     * `*info` left alone, from a backend without interrupts.
     */
    virtual bool waitForInterrupt(unsigned long* info) = 0;

    /** The descriptor that serves the device (device file or socket), owned by the device; -1 where there is none. */
    virtual int getNativeHandle() const = 0;

    /** The name that the constructor was given. */
    const std::string& getDevName() const;

private:
    const std::string m_devName;
};

} // namespace Rynvel

#endif
