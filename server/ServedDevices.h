/**
 * @file
 * The devices that clients have open.
 */
#ifndef RYNVELD_SERVEDDEVICES_H
#define RYNVELD_SERVEDDEVICES_H

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "InterruptWaiter.h"
#include "Policy.h"
#include "RegisterDevice.h"
#include "SimulatedDevice.h"

namespace Rynveld {

/** A device that is open for at least one client. Threads: any number may use it at once. */
class ServedDevice {
public:
    /** @param simulated the device's interrupt when it is simulated, else null. */
    ServedDevice(std::unique_ptr<Common::RegisterDevice> device, const Common::DeviceTypeInfo& kind,
                 SimulatedInterrupt* simulated);

    Common::RegisterDevice& registers() { return *m_registers; }
    Rynvel::IDevice& device() { return m_registers->device(); }
    bool hasInterrupts() const { return m_kind.hasInterrupts; }
    InterruptWaiter& waiter() { return m_waiter; }
    SimulatedInterrupt* simulatedInterrupt() { return m_simulated; }

private:
    const std::unique_ptr<Common::RegisterDevice> m_registers;
    const Common::DeviceTypeInfo& m_kind;
    SimulatedInterrupt* const m_simulated;
    InterruptWaiter m_waiter;
};

/** Opens devices by name. A device is one object for all of its clients. Threads: any number may open at once. */
class ServedDevices {
public:
    explicit ServedDevices(const Policy& policy);

    /**
     * A device of this machine is closed when its last client lets go of it; a simulated one keeps its registers.
     *
     * @return null when it is not served or cannot be opened; then `reason` says why.
     */
    std::shared_ptr<ServedDevice> open(const std::string& name, std::string& reason);

private:
    /** Where a device is that is served, open or not. */
    struct Slot {
        /** Held while the device is being opened, for as long as that takes. */
        std::mutex mutex;
        /** The device is let go of before its file is closed: it is opened anew after that. */
        std::condition_variable closed;
        bool isOpen = false;
        std::weak_ptr<ServedDevice> device;
        /** Keeps the registers of a simulated device. */
        std::shared_ptr<ServedDevice> simulated;
    };

    class OpenDevice;

    Slot& slotOf(const std::string& name);
    std::shared_ptr<ServedDevice> openAt(Slot& slot, const Rynvel::MemoryDevice& row, std::string& reason);
    std::unique_ptr<ServedDevice> make(const Rynvel::MemoryDevice& row, std::string& reason);

    const Policy& m_policy;
    std::mutex m_mutex;
    std::map<std::string, Slot> m_slots;
};

} // namespace Rynveld

#endif
