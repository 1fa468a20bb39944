/**
 * @file
 * A device in memory, for clients that are tried without the hardware.
 */
#ifndef RYNVELD_SIMULATEDDEVICE_H
#define RYNVELD_SIMULATEDDEVICE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include <rynvel.hpp>

#include "Descriptor.h"
#include "DeviceTypeInfo.h"
#include "RegisterDevice.h"

namespace Rynveld {

/** Bytes of registers that a simulated device has, from address 0 on. */
constexpr std::uint32_t simulatedSize = 4096;

/**
 * The interrupt of a simulated device. It is pending until it is enabled, and its descriptor is readable while one
 * waits to be received. As hardware does, it keeps one: the next one takes the place of one that was not received.
 *
 * Threads: all operations may be called by any number of threads at once.
 */
class SimulatedInterrupt {
public:
    SimulatedInterrupt();

    /** Raises the interrupt. It is received with `word`, or with the number of interrupts raised so far. */
    void raise(std::optional<std::uint32_t> word);
    void enable();
    void disable();
    /** Blocks until there is one; false when a signal came first. */
    bool receive(unsigned long* word);
    int descriptor() const { return m_sockets[0].number(); }

private:
    void deliver(std::uint32_t word);

    /** What is sent into the second comes out of the first. */
    std::array<Common::Descriptor, 2> m_sockets;
    std::mutex m_mutex;
    std::uint32_t m_count = 0;
    bool m_enabled = false;
    std::optional<std::uint32_t> m_pending;
};

/** A simulated device as the server serves it. */
struct Simulation {
    std::unique_ptr<Common::RegisterDevice> device;
    /** Part of the device; null where its kind has no interrupts. */
    SimulatedInterrupt* interrupt;
};

/** A device of the kind, with all registers 0 and its interrupt disabled. */
Simulation simulate(const std::string& name, const Common::DeviceTypeInfo& kind);

} // namespace Rynveld

#endif
