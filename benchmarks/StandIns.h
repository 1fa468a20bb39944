#ifndef RYNVEL_BENCHMARKS_STANDINS_H
#define RYNVEL_BENCHMARKS_STANDINS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Child.h"

// What devices reach in place of hardware. There is one of each, made when it is first asked for.

namespace RynvelBenchmark {

/** 16384 registers of 32 bits in memory, all 0: the devices "mapped32", "mapped16" and "seek32". */
class MemoryRegisters {
public:
    static const MemoryRegisters& get();

    MemoryRegisters(const MemoryRegisters&) = delete;
    MemoryRegisters& operator=(const MemoryRegisters&) = delete;
    ~MemoryRegisters();

    /** Opens the registers' file anew, for the caller. */
    int open() const;

    /** The registers, mapped once more. */
    volatile std::uint32_t* words() const { return m_words; }

private:
    MemoryRegisters();

    volatile std::uint32_t* const m_words;
};

/**
 * Interrupts of two devices. "interrupt32" gives back every word that is written to it, so that each enabling is an
 * interrupt; the one of "waited32" is raised by another process when it is asked to.
 */
class InterruptSource {
public:
    static const InterruptSource& get();

    InterruptSource(const InterruptSource&) = delete;
    InterruptSource& operator=(const InterruptSource&) = delete;
    ~InterruptSource();

    /** Opens the file of "interrupt32" anew, for the caller. */
    int openInterrupt() const;

    /** Opens the file of "waited32" anew, for the caller. */
    int openWaited() const;

    /** Asks the other process to raise the interrupt of "waited32". */
    void raise() const;

private:
    InterruptSource();

    const std::array<int, 2> m_requests;
    const Child m_child;
};

constexpr std::size_t requestSize = 660;
constexpr std::size_t responseSize = 520;

/** A register server that answers every request with one success, from a process of its own for each connection. */
class RegisterServer {
public:
    static const RegisterServer& get();

    RegisterServer(const RegisterServer&) = delete;
    RegisterServer& operator=(const RegisterServer&) = delete;
    ~RegisterServer();

    /** The server as a remote device names it. */
    std::string address() const;

    /** A connected socket, owned by the caller. */
    int connect() const;

private:
    RegisterServer();

    const int m_listener;
    const std::uint16_t m_port;
    const Child m_child;
};

/** rynveld with the simulated devices of the board, in a process of its own. */
class SimulatedBoard {
public:
    /** @param program the path of rynveld. */
    static const SimulatedBoard& get(const char* program);

    SimulatedBoard(const SimulatedBoard&) = delete;
    SimulatedBoard& operator=(const SimulatedBoard&) = delete;
    ~SimulatedBoard();

    /** The server as a remote device names it. */
    std::string address() const;

    /** A connected socket, owned by the caller. */
    int connect() const;

private:
    explicit SimulatedBoard(const char* program);

    const int m_listener;
    const std::uint16_t m_port;
    const Child m_child;
};

} // namespace RynvelBenchmark

#endif
