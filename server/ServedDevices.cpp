#include "ServedDevices.h"

#include <exception>
#include <utility>

#include "DeviceKind.h"
#include "DeviceList.h"
#include "DeviceProbe.h"

namespace Rynveld {

ServedDevice::ServedDevice(std::unique_ptr<Inventory::RegisterDevice> device, const Inventory::DeviceKind& kind,
                           SimulatedInterrupt* simulated)
    : m_registers(std::move(device)),
      m_kind(kind),
      m_simulated(simulated),
      m_waiter(m_registers->device(), kind.waitingEnables) {}

ServedDevices::ServedDevices(const Policy& policy) : m_policy(policy) {}

std::shared_ptr<ServedDevice> ServedDevices::open(const std::string& name, std::string& obstacle) {
    const Rynvel::MemoryDevice* const row = Inventory::findDevice(name);
    if (row == nullptr || (!m_policy.devices.empty() && m_policy.devices.count(name) == 0)) {
        obstacle = "no such device is served";
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto& place = m_open[name];
    auto device = place.lock();
    if (!device) {
        device = make(*row, obstacle);
        place = device;
    }
    return device;
}

std::shared_ptr<ServedDevice> ServedDevices::make(const Rynvel::MemoryDevice& row, std::string& obstacle) {
    const Inventory::DeviceKind* const kind = Inventory::findKind(row.m_type);
    if (kind == nullptr || kind->access == Inventory::Access::Remote) {
        obstacle = "a device of another server is not served";
        return nullptr;
    }
    if (m_policy.simulate) {
        return makeSimulated(row, *kind);
    }
    auto opened = Inventory::openDevice(row);
    obstacle = opened.probe.obstacle;
    return opened.device ? std::make_shared<ServedDevice>(std::move(opened.device), *kind, nullptr) : nullptr;
}

std::shared_ptr<ServedDevice> ServedDevices::makeSimulated(const Rynvel::MemoryDevice& row,
                                                           const Inventory::DeviceKind& kind) {
    auto simulation = simulate(row.m_name, kind);
    m_simulated.push_back(std::make_shared<ServedDevice>(std::move(simulation.device), kind, simulation.interrupt));
    return m_simulated.back();
}

} // namespace Rynveld
