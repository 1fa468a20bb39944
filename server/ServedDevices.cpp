#include "ServedDevices.h"

#include <exception>
#include <utility>

#include "DeviceKind.h"
#include "DeviceList.h"
#include "DeviceProbe.h"

namespace Rynveld {

ServedDevice::ServedDevice(std::unique_ptr<Common::RegisterDevice> device, const Common::DeviceKind& kind,
                           SimulatedInterrupt* simulated)
    : m_registers(std::move(device)),
      m_kind(kind),
      m_simulated(simulated),
      m_waiter(m_registers->device(), kind.waitingEnables) {}

ServedDevices::ServedDevices(const Policy& policy) : m_policy(policy) {}

std::shared_ptr<ServedDevice> ServedDevices::open(const std::string& name, std::string& obstacle) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr || (!m_policy.devices.empty() && m_policy.devices.count(name) == 0)) {
        obstacle = "no such device is served";
        return nullptr;
    }
    Place& place = placeOf(name);
    const std::lock_guard<std::mutex> lock(place.mutex);
    auto device = place.device.lock();
    if (!device) {
        device = make(*row, obstacle);
        place.device = device;
        place.simulated = m_policy.simulate ? device : nullptr;
    }
    return device;
}

ServedDevices::Place& ServedDevices::placeOf(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_places[name];
}

std::shared_ptr<ServedDevice> ServedDevices::make(const Rynvel::MemoryDevice& row, std::string& obstacle) {
    const Common::DeviceKind* const kind = Common::findKind(row.m_type);
    if (kind == nullptr || kind->access == Common::Access::Remote) {
        obstacle = "a device of another server is not served";
        return nullptr;
    }
    if (m_policy.simulate) {
        auto simulation = simulate(row.m_name, *kind);
        return std::make_shared<ServedDevice>(std::move(simulation.device), *kind, simulation.interrupt);
    }
    auto opened = Common::openDevice(row);
    obstacle = opened.probe.obstacle;
    return opened.device ? std::make_shared<ServedDevice>(std::move(opened.device), *kind, nullptr) : nullptr;
}

} // namespace Rynveld
