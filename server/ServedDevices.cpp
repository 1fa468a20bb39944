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
    return openAt(placeOf(name), *row, obstacle);
}

/** A device for as long as it has clients. */
class ServedDevices::OpenDevice {
public:
    explicit OpenDevice(Place& place) : m_place(place) {}
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;
    ~OpenDevice() {
        if (device) {
            device.reset();
            const std::lock_guard<std::mutex> lock(m_place.mutex);
            m_place.isOpen = false;
            m_place.closed.notify_all();
        }
    }

    std::unique_ptr<ServedDevice> device;

private:
    Place& m_place;
};

std::shared_ptr<ServedDevice> ServedDevices::openAt(Place& place, const Rynvel::MemoryDevice& row,
                                                    std::string& obstacle) {
    std::unique_lock<std::mutex> lock(place.mutex);
    std::shared_ptr<ServedDevice> device;
    place.closed.wait(lock, [&] {
        device = place.device.lock();
        return device || !place.isOpen;
    });
    if (device) {
        return device;
    }
    const auto opened = std::make_shared<OpenDevice>(place);
    opened->device = make(row, obstacle);
    if (!opened->device) {
        return nullptr;
    }
    place.isOpen = true;
    device = std::shared_ptr<ServedDevice>(opened, opened->device.get());
    place.device = device;
    place.simulated = m_policy.simulate ? device : nullptr;
    return device;
}

ServedDevices::Place& ServedDevices::placeOf(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_places[name];
}

std::unique_ptr<ServedDevice> ServedDevices::make(const Rynvel::MemoryDevice& row, std::string& obstacle) {
    const Common::DeviceKind* const kind = Common::findKind(row.m_type);
    if (kind == nullptr || kind->access == Common::Access::Remote) {
        obstacle = "a device of another server is not served";
        return nullptr;
    }
    if (m_policy.simulate) {
        auto simulation = simulate(row.m_name, *kind);
        return std::make_unique<ServedDevice>(std::move(simulation.device), *kind, simulation.interrupt);
    }
    auto opened = Common::openDevice(row);
    obstacle = opened.probe.obstacle;
    return opened.device ? std::make_unique<ServedDevice>(std::move(opened.device), *kind, nullptr) : nullptr;
}

} // namespace Rynveld
