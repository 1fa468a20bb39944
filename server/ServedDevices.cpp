// SPDX-License-Identifier: MIT
#include "ServedDevices.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "DeviceList.h"
#include "DeviceProbe.h"
#include "DeviceTypeInfo.h"

namespace Rynveld {

ServedDevice::ServedDevice(std::unique_ptr<Common::RegisterDevice> device, const Common::DeviceTypeInfo& type,
                           SimulatedInterrupt* simulated, DeviceCounts& counts)
    : m_registers(std::move(device)),
      m_type(type),
      m_simulated(simulated),
      m_counts(counts),
      m_waiter(m_registers->device(), type.waitEnablesInterrupt, counts) {}

const Common::DeviceTypeInfo* servableType(const Rynvel::MemoryDevice& row) {
    const Common::DeviceTypeInfo* const type = Common::findDeviceTypeInfo(row.m_type);
    return type == nullptr || type->access == Common::AccessMethod::Remote ? nullptr : type;
}

bool isServed(const Policy& policy, const Rynvel::MemoryDevice& row) {
    return servableType(row) != nullptr && policy.serves(row.m_name);
}

std::size_t countServedDevices(const Policy& policy) {
    const std::vector<Rynvel::MemoryDevice>& rows = Common::devices();
    return static_cast<std::size_t>(std::count_if(
        rows.begin(), rows.end(), [&](const Rynvel::MemoryDevice& row) { return isServed(policy, row); }));
}

ServedDevices::ServedDevices(const CurrentPolicy& policy) : m_policy(policy) {}

std::shared_ptr<ServedDevice> ServedDevices::open(const std::string& name, std::string& reason) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr || !m_policy.get()->serves(name)) {
        reason = "the device is not served";
        return nullptr;
    }
    return openSlot(slotOf(name), *row, reason);
}

/**
 * An open device. The destructor closes the device file, and notifies the threads that wait until the file is closed.
 */
class ServedDevices::OpenDevice {
public:
    explicit OpenDevice(Slot& slot) : m_slot(slot) {}
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;
    ~OpenDevice() {
        if (device) {
            device.reset();
            const std::lock_guard<std::mutex> lock(m_slot.mutex);
            m_slot.isOpen = false;
            m_slot.closed.notify_all();
        }
    }

    std::unique_ptr<ServedDevice> device;

private:
    Slot& m_slot;
};

std::shared_ptr<ServedDevice> ServedDevices::openSlot(Slot& slot, const Rynvel::MemoryDevice& row,
                                                      std::string& reason) {
    std::unique_lock<std::mutex> lock(slot.mutex);
    std::shared_ptr<ServedDevice> device;
    slot.closed.wait(lock, [&] {
        device = slot.device.lock();
        return device || !slot.isOpen;
    });
    if (device) {
        return device;
    }
    const auto opened = std::make_shared<OpenDevice>(slot);
    opened->device = create(row, slot.counts, reason);
    if (!opened->device) {
        return nullptr;
    }
    slot.isOpen = true;
    device = std::shared_ptr<ServedDevice>(opened, opened->device.get());
    slot.device = device;
    slot.simulated = m_policy.get()->simulate ? device : nullptr;
    return device;
}

ServedDevices::Slot& ServedDevices::slotOf(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_slots[name];
}

void ServedDevices::writeMetricsTo(MetricText& text) {
    using MetricType = MetricText::Type;
    text.addMetric("rynveld_received_interrupts_total", MetricType::Counter,
                   "Interrupts that the server has received from a device.");
    writeMetric(text, &DeviceCounts::interruptsReceived, true);
    text.addMetric("rynveld_sent_interrupts_total", MetricType::Counter,
                   "Interrupt words that the server has sent to armed connections.");
    writeMetric(text, &DeviceCounts::interruptsSent, true);
    text.addMetric("rynveld_lost_interrupts_total", MetricType::Counter,
                   "Interrupt words that are lost because a client does not read its interrupts.");
    writeMetric(text, &DeviceCounts::interruptsLost, true);
    text.addMetric("rynveld_bus_errors_total", MetricType::Counter,
                   "Accesses for which the hardware reported a bus error.");
    writeMetric(text, &DeviceCounts::busErrors, false);
}

void ServedDevices::writeMetric(MetricText& text, AtomicCount DeviceCounts::*counter, bool needsInterrupts) {
    const auto policy = m_policy.get();
    for (const auto& row : Common::devices()) {
        if (isServed(*policy, row) && (!needsInterrupts || servableType(row)->hasInterrupts)) {
            text.add({{"device", row.m_name}}, slotOf(row.m_name).counts.*counter);
        }
    }
}

std::unique_ptr<ServedDevice> ServedDevices::create(const Rynvel::MemoryDevice& row, DeviceCounts& counts,
                                                    std::string& reason) {
    const Common::DeviceTypeInfo* const type = servableType(row);
    if (type == nullptr) {
        reason = "remote devices are not served";
        return nullptr;
    }
    const auto policy = m_policy.get();
    if (policy->simulate) {
        auto simulation = simulate(row.m_name, *type, policy->descriptions.find(row.m_name));
        return std::make_unique<ServedDevice>(std::move(simulation.device), *type, simulation.interrupt, counts);
    }
    auto opened = Common::openDevice(row);
    reason = opened.probe.reason;
    return opened.device ? std::make_unique<ServedDevice>(std::move(opened.device), *type, nullptr, counts) : nullptr;
}

} // namespace Rynveld
