/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Fault injection, for the tests of clients.
 */
#ifndef RYNVELD_FAULTS_H
#define RYNVELD_FAULTS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Rynveld {

struct Fault {
    enum class Kind { Delay, Error, Split, Disconnect };

    Kind kind;
    /** For Delay, the time before the response. For Split, the time between the halves of the response. */
    std::chrono::milliseconds time;
    /**
     * The fault occurs on every request whose number is a multiple of this value. The requests of a connection have the
     * numbers 1, 2, 3 and so on.
     */
    std::uint32_t every;
};

/**
 * Parses a fault of the command line: "delay=TIME", "error", "split=TIME" or "disconnect". With ":COUNT" at the end,
 * the fault occurs only on every COUNTth request.
 *
 * @return the fault; empty for any other text.
 */
std::optional<Fault> parseFault(const std::string& text);

/** The faults to inject on one request. */
struct InjectedFaults {
    /** The time before the response; 0 for none. */
    std::chrono::milliseconds delay{0};
    /** The time between the halves of the response; 0 for none. */
    std::chrono::milliseconds split{0};
    bool fails = false;
    bool disconnects = false;
};

/** Counts the requests of one connection, and selects the faults to inject. */
class FaultInjector {
public:
    explicit FaultInjector(std::vector<Fault> faults) : m_faults(std::move(faults)) {}

    /** Counts a request and returns its faults. */
    InjectedFaults next();

private:
    const std::vector<Fault> m_faults;
    std::uint32_t m_requests = 0;
};

} // namespace Rynveld

#endif
