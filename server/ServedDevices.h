/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The devices that clients have opened.
 */
#ifndef RYNVELD_SERVEDDEVICES_H
#define RYNVELD_SERVEDDEVICES_H

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "CurrentPolicy.h"
#include "DeviceCounts.h"
#include "InterruptWaiter.h"
#include "MetricText.h"
#include "RegisterDevice.h"
#include "SimulatedDevice.h"

namespace Rynveld {

/** A device that a client has opened. Threads: any number may use the object at once. */
class ServedDevice {
public:
    /**
     * @param simulated the interrupt of a simulated device; null if the device is not simulated.
     * @param counts must outlive this object.
     */
    ServedDevice(std::unique_ptr<Common::RegisterDevice> device, const Common::DeviceTypeInfo& type,
                 SimulatedInterrupt* simulated, DeviceCounts& counts);

    Common::RegisterDevice& registers() { return *m_registers; }
    Rynvel::IDevice& device() { return m_registers->device(); }
    bool hasInterrupts() const { return m_type.hasInterrupts; }
    InterruptWaiter& waiter() { return m_waiter; }
    SimulatedInterrupt* simulatedInterrupt() { return m_simulated; }
    DeviceCounts& counts() { return m_counts; }
    const Common::DeviceTypeInfo& type() const { return m_type; }

    /**
     * If the server has an audit, locked from the beginning of a write until the audit contains the line of the write.
     * The lines are therefore in the order of the writes.
     */
    std::mutex& writeOrder() { return m_writeOrder; }
    /**
     * Like writeOrder(), for requests that enable or disable the interrupt. These requests have a separate mutex,
     * because they may wait for an interrupt.
     */
    std::mutex& interruptOrder() { return m_interruptOrder; }

private:
    std::mutex m_writeOrder;
    std::mutex m_interruptOrder;
    const std::unique_ptr<Common::RegisterDevice> m_registers;
    const Common::DeviceTypeInfo& m_type;
    SimulatedInterrupt* const m_simulated;
    DeviceCounts& m_counts;
    InterruptWaiter m_waiter;
};

/** Returns the type of a device; null if the server cannot serve the type, as for a remote device. */
const Common::DeviceTypeInfo* servableType(const Rynvel::MemoryDevice& row);

/** Returns whether clients can open the device of a table row under the policy. */
bool isServed(const Policy& policy, const Rynvel::MemoryDevice& row);

/** Returns the number of devices that clients can open under the policy. */
std::size_t countServedDevices(const Policy& policy);

/** Opens devices by name. All clients of a device share one object. Threads: any number may open devices at once. */
class ServedDevices {
public:
    explicit ServedDevices(const CurrentPolicy& policy);

    /**
     * Returns a device, and opens the device first if necessary. A device of this machine is closed when its
     * last client releases it. A simulated device stays open and keeps the values of its registers.
     *
     * @return the device; null if the device is not served or cannot be opened. `reason` then says why.
     * @throws Common::DeviceTableMismatch as Common::findDevice() does.
     */
    std::shared_ptr<ServedDevice> open(const std::string& name, std::string& reason);

    /** Adds the counters of all served devices to the metrics. */
    void writeMetricsTo(MetricText& text);

private:
    /** The state of a served device, whether the device is open or not. */
    struct Slot {
        /** The counters keep their values while the device is closed. */
        DeviceCounts counts;
        /** Locked while the device is being opened, which may take a long time. */
        std::mutex mutex;
        /** Notified when the device file is closed, which happens after the last client has released the device. */
        std::condition_variable closed;
        bool isOpen = false;
        std::weak_ptr<ServedDevice> device;
        /** Keeps a simulated device open without clients; null for a device of this machine. */
        std::shared_ptr<ServedDevice> simulated;
    };

    class OpenDevice;

    Slot& slotOf(const std::string& name);
    std::shared_ptr<ServedDevice> openSlot(Slot& slot, const Rynvel::MemoryDevice& row, std::string& reason);
    std::unique_ptr<ServedDevice> create(const Rynvel::MemoryDevice& row, DeviceCounts& counts, std::string& reason);
    void writeMetric(MetricText& text, AtomicCount DeviceCounts::*counter, bool needsInterrupts);

    const CurrentPolicy& m_policy;
    std::mutex m_mutex;
    std::map<std::string, Slot> m_slots;
};

} // namespace Rynveld

#endif
