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

/** The size of the registers of a simulated device, in bytes from address 0 on. */
constexpr std::uint32_t simulatedSize = 4096;

/**
 * The interrupt of a simulated device. An interrupt that is raised while it is disabled stays pending. The descriptor
 * is readable while an interrupt waits to be received. As in hardware, only one is kept: the next interrupt replaces
 * one that was not received.
 *
 * Threads: any number may use it at once.
 */
class SimulatedInterrupt {
public:
    SimulatedInterrupt();

    /** Raises the interrupt. Its word is `word` or, without one, the number of interrupts raised so far. */
    void raise(std::optional<std::uint32_t> word);
    void enable();
    void disable();
    /** Blocks until an interrupt can be received. False if a signal interrupts the wait. */
    bool receive(unsigned long* word);
    int descriptor() const { return m_sockets[0].number(); }

private:
    void deliver(std::uint32_t word);

    /** A socket pair: raise() sends to the second one, receive() reads from the first one. */
    std::array<Common::Descriptor, 2> m_sockets;
    std::mutex m_mutex;
    std::uint32_t m_count = 0;
    bool m_enabled = false;
    std::optional<std::uint32_t> m_pending;
};

/** A simulated device. */
struct Simulation {
    std::unique_ptr<Common::RegisterDevice> device;
    /** Part of the device; null if its type has no interrupts. */
    SimulatedInterrupt* interrupt;
};

/**
 * Creates a device of the type. The interrupt is disabled. The registers that the description has behave as it says.
 * All other registers are memory, and 0 at first.
 *
 * @param description null without one.
 */
Simulation simulate(const std::string& name, const Common::DeviceTypeInfo& type,
                    const Maps::Peripheral* description = nullptr);

} // namespace Rynveld

#endif
