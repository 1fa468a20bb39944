/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The Factory, which builds a device from its logical name.
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
 * Builds devices, and owns the opened devices of the process.
 *
 * Every row of the compiled-in device table has one slot; the index of the row is the handle of the device. create()
 * fills a slot once, and nothing empties it: a device exists until the process ends. Openings are traced on the channel
 * "Rynvel.Factory".
 *
 * You may call any function from any thread. create() holds one lock, the same for all names, while it builds a device;
 * the other functions take no lock. The header of a backend documents what its constructor throws, and when it ends the
 * process.
 */
class RYNVEL_EXPORT Factory {
public:
    /** Returns the only Factory, which the first call creates. It is destroyed when the process exits. */
    static Factory& getInstance();

    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;

    /**
     * Opens the device with this name, or returns the device that is already open. The lock is held while a remote
     * device connects to its server, which has no time-out.
     *
     * @return the device, shared with the Factory; an empty pointer if no device has this name, or if the type of the
     *         device is not supported. The next call then tries again.
     * @throws std::system_error if the lock cannot be taken; any exception of the backend's constructor. The slot then
     *         stays empty.
     */
    std::shared_ptr<IDevice> create(const std::string& logicalDevName);

    /**
     * Returns the handle of a device that create() returned; -1 for any other device. For an empty pointer, it returns
     * the first handle that is not open, or -1 if all are open.
     */
    int getHandle(const std::shared_ptr<IDevice>& device) const;

    /** Returns the index of the row with exactly this name; -1 if there is none. */
    int findMemoryDeviceIndex(const std::string& logicalDevName) const;

    /** Returns the row with exactly this name, valid until the process exits; null if there is none. */
    const MemoryDevice* findMemoryDevice(const std::string& logicalDevName) const;

    /**
     * Builds the device that a row describes. The row may be one of the table or your own. The caller owns the device,
     * which has no handle.
     *
     * @param mutex serialises the register operations; the device takes ownership.
     * @return the device; null if its type is not supported.
     */
    std::unique_ptr<IDevice> createDevice(const MemoryDevice& row, std::unique_ptr<IMutex> mutex);

    /**
     * Builds a device of the table that the caller alone owns, and that has no handle.
     *
     * @param mutex serialises the register operations; the device takes ownership.
     * @return the device; null if no device has this name, or if its registers have another width.
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

    /** Does the same as getBackend(), but also returns null for a device of another width. */
    Device8* getBackend8(int handle) { return openedDevice(handle, Accessor::Width8).device8; }
    /** @copydoc getBackend8 */
    Device16* getBackend16(int handle) { return openedDevice(handle, Accessor::Width16).device16; }
    /** @copydoc getBackend8 */
    Device32* getBackend32(int handle) { return openedDevice(handle, Accessor::Width32).device32; }

private:
    /** A slot as functions without the lock read it: the device, and its down-casts to the class of each width. */
    struct OpenedDevice {
        std::atomic<IDevice*> device{nullptr};
        std::atomic<Device8*> device8{nullptr};
        std::atomic<Device16*> device16{nullptr};
        std::atomic<Device32*> device32{nullptr};
    };

    /** The getBackend function that a failed assertion names. */
    enum class Accessor { AnyWidth, Width8, Width16, Width32 };

    // Finds the devices of the C interface in the static slots, without a Factory object.
    friend class HandleLookup;

    RYNVEL_LOCAL Factory();
    RYNVEL_LOCAL ~Factory();

    RYNVEL_LOCAL void fillSlot(std::size_t index, std::unique_ptr<IDevice> device);

    // Exported, because the getBackend functions are inline: they are compiled into the programs that call them.
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
