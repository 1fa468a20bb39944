/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The counters of a device.
 */
#ifndef RYNVELD_DEVICECOUNTS_H
#define RYNVELD_DEVICECOUNTS_H

#include <atomic>
#include <cstdint>

namespace Rynveld {

using AtomicCount = std::atomic<std::uint64_t>;

/** Adds to a counter. The counters do not depend on each other or on other data, so the memory order is relaxed. */
inline void count(AtomicCount& counter, std::uint64_t increment = 1) {
    counter.fetch_add(increment, std::memory_order_relaxed);
}

/** The counters of a device since the start of the server. Threads: any number may use the object at once. */
struct DeviceCounts {
    /** The interrupts that the server has received from the device. */
    AtomicCount interruptsReceived{0};
    /** The interrupt words that the server has sent to armed connections. */
    AtomicCount interruptsSent{0};
    /** The interrupt words that the server could not send, because a client did not read its interrupts. */
    AtomicCount interruptsLost{0};
    AtomicCount busErrors{0};
};

} // namespace Rynveld

#endif
