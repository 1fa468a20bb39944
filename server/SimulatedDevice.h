/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A device in memory, to try out clients without hardware.
 */
#ifndef RYNVELD_SIMULATEDDEVICE_H
#define RYNVELD_SIMULATEDDEVICE_H

#include <rynvel.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "Descriptor.h"
#include "DeviceTypeInfo.h"
#include "Model.h"
#include "RegisterDevice.h"

namespace Rynveld {

/** The size of the address range of a simulated device in bytes. The range begins at address 0. */
constexpr std::uint32_t simulatedSize = 4096;

/**
 * The interrupt of a simulated device. An interrupt that is raised while interrupts are disabled stays pending until
 * enable(). descriptor() is readable while receive() has an interrupt to receive. As in hardware, the next interrupt
 * replaces an interrupt that was not received.
 *
 * Threads: any number may use the object at once.
 */
class SimulatedInterrupt {
public:
    SimulatedInterrupt();

    /** Raises the interrupt. If `word` is empty, the word is the number of interrupts raised so far. */
    void raise(std::optional<std::uint32_t> word);
    void enable();
    void disable();
    /**
     * Blocks until an interrupt arrives, and stores its interrupt word. Returns false if a signal interrupts the wait.
     */
    bool receive(unsigned long* word);
    int descriptor() const { return m_sockets[0].number(); }

private:
    void deliver(std::uint32_t word);

    /** A socket pair. raise() and enable() send to the second socket. receive() reads from the first socket. */
    std::array<Common::Descriptor, 2> m_sockets;
    std::mutex m_mutex;
    std::uint32_t m_count = 0;
    bool m_enabled = false;
    std::optional<std::uint32_t> m_pending;
};

/** A simulated device. */
struct Simulation {
    std::unique_ptr<Common::RegisterDevice> device;
    /** The interrupt, which the device owns; null if the device type has no interrupts. */
    SimulatedInterrupt* interrupt;
};

/**
 * Returns a new device of the type. The interrupt is disabled. The described registers behave as the description says.
 * A register without a description is memory, and is 0 at first.
 *
 * @param description the description of the registers; null if there is none.
 */
Simulation simulate(const std::string& name, const Common::DeviceTypeInfo& type,
                    const Maps::Peripheral* description = nullptr);

} // namespace Rynveld

#endif
