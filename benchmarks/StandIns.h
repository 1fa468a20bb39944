/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_BENCHMARKS_STANDINS_H
#define RYNVEL_BENCHMARKS_STANDINS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Child.h"

// The stand-ins for the hardware of the devices. get() creates the only object of a class when it is first called.

namespace RynvelBenchmark {

/** 16384 registers of 32 bits in memory, all 0, for the devices "mapped32", "mapped16" and "seek32". */
class MemoryRegisters {
public:
    static const MemoryRegisters& get();

    MemoryRegisters(const MemoryRegisters&) = delete;
    MemoryRegisters& operator=(const MemoryRegisters&) = delete;
    ~MemoryRegisters();

    /** Opens the file of the registers. The caller closes the descriptor. */
    int open() const;

    /** Returns the registers, in a map of their own. */
    volatile std::uint32_t* words() const { return m_words; }

private:
    MemoryRegisters();

    volatile std::uint32_t* const m_words;
};

/**
 * The interrupts of two devices. "interrupt32" returns every word that is written to it: enabling its interrupt raises
 * it. Another process raises the interrupt of "waited32" on request.
 */
class InterruptSource {
public:
    static const InterruptSource& get();

    InterruptSource(const InterruptSource&) = delete;
    InterruptSource& operator=(const InterruptSource&) = delete;
    ~InterruptSource();

    /** Opens the file of "interrupt32". The caller closes the descriptor. */
    int openInterrupt() const;

    /** Opens the file of "waited32". The caller closes the descriptor. */
    int openWaited() const;

    /** Requests the interrupt of "waited32" from the other process. */
    void raise() const;

private:
    InterruptSource();

    const std::array<int, 2> m_requests;
    const Child m_child;
};

constexpr std::size_t requestSize = 660;
constexpr std::size_t responseSize = 520;

/** A register server that reports success for every request. It has one process for each connection. */
class RegisterServer {
public:
    static const RegisterServer& get();

    RegisterServer(const RegisterServer&) = delete;
    RegisterServer& operator=(const RegisterServer&) = delete;
    ~RegisterServer();

    /** Returns the address of the server: host, "::", port. */
    std::string address() const;

    /** Returns a connected socket, which the caller closes. */
    int connect() const;

private:
    RegisterServer();

    const int m_listener;
    const std::uint16_t m_port;
    const Child m_child;
};

/** A process that runs rynveld with the simulated devices of the board. */
class SimulatedBoard {
public:
    /** @param program the path of rynveld. */
    static const SimulatedBoard& get(const char* program);

    SimulatedBoard(const SimulatedBoard&) = delete;
    SimulatedBoard& operator=(const SimulatedBoard&) = delete;
    ~SimulatedBoard();

    /** Returns the address of the server: host, "::", port. */
    std::string address() const;

    /** Returns a connected socket, which the caller closes. */
    int connect() const;

private:
    explicit SimulatedBoard(const char* program);

    const int m_listener;
    const std::uint16_t m_port;
    const Child m_child;
};

} // namespace RynvelBenchmark

#endif
