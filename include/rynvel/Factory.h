/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The Factory, which builds a device from its name.
 */
#ifndef RYNVEL_FACTORY_H
#define RYNVEL_FACTORY_H

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/MemoryDevice.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/**
 * Builds devices, and owns the devices that the process has opened.
 *
 * Every row of the compiled-in device table has a slot for one opened device. The index of the row is the handle of the
 * device. create() fills a slot once, and nothing empties the slot: the device exists until the process ends. The class
 * traces on the channel "Rynvel.Factory".
 *
 * You may call any function from any thread. Only create() takes a lock, and holds the lock while it builds a device.
 * The lock is the same for all names. The header of a backend says which exceptions the constructor of the backend
 * throws, and when the constructor ends the process.
 */
class RYNVEL_EXPORT Factory {
public:
    /** Returns the only Factory, which exists from the first call until the process exits. */
    static Factory& getInstance();

    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;

    /**
     * Opens the device with this name, or returns the device if it is already open. For a remote device, the function
     * holds the lock until the device has connected to the server. Connecting has no time-out.
     *
     * @return the device, which you share with the Factory; an empty pointer if no device has this name, or if the
     *         device type is not supported. After an empty pointer, the next call tries again.
     * @throws std::system_error if the lock cannot be taken, and any exception of the constructor of the backend. After
     *         an exception, the slot stays empty.
     */
    std::shared_ptr<IDevice> create(const std::string& logicalDevName);

    /**
     * Returns the handle of a device that create() returned; -1 for any other device. For an empty pointer, returns the
     * first handle that is not open; -1 if all handles are open.
     */
    int getHandle(const std::shared_ptr<IDevice>& device) const;

    /** Returns the index of the row with exactly this name; -1 if no row has this name. */
    int findMemoryDeviceIndex(const std::string& logicalDevName) const;

    /** Returns the row with exactly this name, valid until the process exits; null if no row has this name. */
    const MemoryDevice* findMemoryDevice(const std::string& logicalDevName) const;

    /**
     * Builds the device that `row` describes. You may pass a row of the device table or your own row. The caller owns
     * the device, which has no handle.
     *
     * @param row the row that describes the device.
     * @param mutex the mutex that serializes the register operations. The device takes ownership.
     * @return the device; null if the device type is not supported.
     */
    std::unique_ptr<IDevice> createDevice(const MemoryDevice& row, std::unique_ptr<IMutex> mutex);

    /**
     * Builds the device of the device table with this name. The caller owns the device, which has no handle.
     *
     * @param logicalDevName the device name, which is case-sensitive.
     * @param mutex the mutex that serializes the register operations. The device takes ownership.
     * @return the device; null if no device has this name, or if the register width of the device is not the number in
     *         the name of the function.
     */
    std::unique_ptr<Device8> makeUnique8(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex);
    /** @copydoc makeUnique8 */
    std::unique_ptr<Device16> makeUnique16(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex);
    /** @copydoc makeUnique8 */
    std::unique_ptr<Device32> makeUnique32(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex);

    /**
     * Returns the device of a handle; null if the handle is not open. A handle that is negative or not below the number
     * of devices fails an assertion, in every build type.
     */
    IDevice* getBackend(int handle) { return openedDevice(handle, Accessor::AnyWidth).device; }

    /**
     * Returns the device of a handle, like getBackend(). Also returns null if the register width of the device is not
     * the number in the name of the function.
     */
    Device8* getBackend8(int handle) { return openedDevice(handle, Accessor::Width8).device8; }
    /** @copydoc getBackend8 */
    Device16* getBackend16(int handle) { return openedDevice(handle, Accessor::Width16).device16; }
    /** @copydoc getBackend8 */
    Device32* getBackend32(int handle) { return openedDevice(handle, Accessor::Width32).device32; }

private:
    /**
     * The device in a slot. Functions read the pointers without the lock. The pointers for the widths that the device
     * does not have are null.
     */
    struct OpenedDevice {
        std::atomic<IDevice*> device{nullptr};
        std::atomic<Device8*> device8{nullptr};
        std::atomic<Device16*> device16{nullptr};
        std::atomic<Device32*> device32{nullptr};
    };

    /** The getBackend function that the message of a failed assertion names. */
    enum class Accessor { AnyWidth, Width8, Width16, Width32 };

    // Gives the C interface access to the static slots, which need no Factory object.
    friend class HandleLookup;

    RYNVEL_LOCAL Factory();
    RYNVEL_LOCAL ~Factory();

    RYNVEL_LOCAL void fillSlot(std::size_t index, std::unique_ptr<IDevice> device);

    // The library exports this function because programs contain the inline getBackend functions that call it.
    static const OpenedDevice& openedDevice(int handle, Accessor accessor);
    [[noreturn]] RYNVEL_LOCAL static void failAssertion(const char* expression, unsigned int line, Accessor accessor);

    template <typename T>
    RYNVEL_LOCAL std::unique_ptr<Device<T>> makeUnique(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex,
                                                       const ZilTraceHeader& caller);
    RYNVEL_LOCAL static void traceOutcome(const MemoryDevice& row, bool built, const ZilTraceHeader& caller);

    std::vector<std::shared_ptr<IDevice>> m_rynvelList;

    RYNVEL_LOCAL static OpenedDevice m_openedDevices[];
    RYNVEL_LOCAL static std::mutex m_rynvelListMutex;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
