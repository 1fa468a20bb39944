/**
 * @file
 * From a logical device name to a live device.
 */
#ifndef RYNVEL_FACTORY_H
#define RYNVEL_FACTORY_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/MemoryDevice.h"

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/**
 * The process-wide owner of the opened devices, and the maker of devices.
 *
 * Every row of the compiled-in device table has one slot; the row's index is the device's handle. create() fills a slot
 * once and nothing empties it, so a device lives until the process ends. Opens are traced on the channel
 * "Rynvel.Factory".
 *
 * Any thread may call any operation. create() holds one lock for all names while it builds a device; the others take no
 * lock. What a backend's construction throws, or ends the process with, is said in the backend's own header.
 */
class RYNVEL_EXPORT Factory {
public:
    /** The singleton; made by the first call, destroyed when the process exits. */
    static Factory& getInstance();

    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;

    /**
     * Opens the device, or finds it open already. The lock is held while a remote device connects, for as long as that
     * takes.
     *
     * @return the device, shared with the Factory; empty for an unknown name, and for a device of an unsupported type,
     *         which the next call tries anew.
     * @throws std::system_error when the lock cannot be taken; and whatever the backend's construction throws, with the
     *         slot left empty.
     */
    std::shared_ptr<IDevice> create(const std::string& logicalDevName);

    /**
     * The handle of a device that create() returned; -1 for any other device. For an empty pointer, the first handle
     * that has not been opened.
     */
    int getHandle(const std::shared_ptr<IDevice>& device) const;

    /** The index of the row with exactly this name, or -1. */
    int findMemoryDeviceIndex(const std::string& logicalDevName) const;

    /** The row with exactly this name, valid until the process exits; null when there is none. */
    const MemoryDevice* findMemoryDevice(const std::string& logicalDevName) const;

    /**
     * Builds the device that a row describes, whether or not the row is one of the table. The caller owns it, and it
     * has no handle.
     *
     * @param mutex serialises the device's register operations; owned by the device from now on.
     * @return null for an unsupported type.
     */
    std::unique_ptr<IDevice> createDevice(const MemoryDevice& row, std::unique_ptr<IMutex> mutex);

    /**
     * Builds a device of the table for the caller alone, without a handle.
     *
     * @return null for an unknown name and for a device of another width.
     */
    std::unique_ptr<Device8> makeUnique8(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex);
    /** @copydoc makeUnique8 */
    std::unique_ptr<Device16> makeUnique16(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex);
    /** @copydoc makeUnique8 */
    std::unique_ptr<Device32> makeUnique32(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex);

    /**
     * The device behind a handle; null for a handle that has not been opened. A handle outside the table ends the
     * process by an assertion, in every build type.
     */
    IDevice* getBackend(int handle) { return openedDevice(handle, Accessor::AnyWidth).device; }

    /** As getBackend(); null also for a device of another width. */
    Device8* getBackend8(int handle) { return openedDevice(handle, Accessor::Width8).device8; }
    /** @copydoc getBackend8 */
    Device16* getBackend16(int handle) { return openedDevice(handle, Accessor::Width16).device16; }
    /** @copydoc getBackend8 */
    Device32* getBackend32(int handle) { return openedDevice(handle, Accessor::Width32).device32; }

private:
    /** What the unlocked readers see of a slot: the device and its typed down-casts, made when the slot is filled. */
    struct OpenedDevice {
        std::atomic<IDevice*> device{nullptr};
        std::atomic<Device8*> device8{nullptr};
        std::atomic<Device16*> device16{nullptr};
        std::atomic<Device32*> device32{nullptr};
    };

    /** Which of the getBackend operations a failed assertion names. */
    enum class Accessor { AnyWidth, Width8, Width16, Width32 };

    /** The C interface's way to a device. It needs no Factory object: there is one at most, with every handle. */
    friend class HandleLookup;

    RYNVEL_LOCAL Factory();
    RYNVEL_LOCAL ~Factory();

    RYNVEL_LOCAL void fillSlot(std::size_t index, std::unique_ptr<IDevice> device);

    /** All that the accessors do. It is exported: they are compiled into the programs that call them. */
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
