/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_BENCHMARKS_STANDINS_H
#define RYNVEL_BENCHMARKS_STANDINS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Child.h"

// Stand-ins for the hardware of the devices. The first call to each static function creates an object, which all later
// calls to that function return. If a system call fails, the program ends.

namespace RynvelBenchmark {

/** 16384 registers of 32 bits in memory, all 0, for the devices "mapped32", "mapped16" and "seek32". */
class MemoryRegisters {
public:
    static const MemoryRegisters& get();

    MemoryRegisters(const MemoryRegisters&) = delete;
    MemoryRegisters& operator=(const MemoryRegisters&) = delete;
    ~MemoryRegisters();

    /** Returns a new descriptor for the file of the registers. The caller closes the descriptor. */
    int open() const;

    /** Returns the registers in a map that the object owns. */
    volatile std::uint32_t* words() const { return m_words; }

private:
    MemoryRegisters();

    volatile std::uint32_t* const m_words;
};

/**
 * The interrupts of two devices. A read of "interrupt32" returns a word that was written to the device, so enabling the
 * interrupt also raises the interrupt. A child process raises the interrupt of "waited32" on request.
 */
class InterruptSource {
public:
    static const InterruptSource& get();

    InterruptSource(const InterruptSource&) = delete;
    InterruptSource& operator=(const InterruptSource&) = delete;
    ~InterruptSource();

    /** Returns a new descriptor for the file of "interrupt32". The caller closes the descriptor. */
    int openInterrupt() const;

    /** Returns a new descriptor for the file of "waited32". The caller closes the descriptor. */
    int openWaited() const;

    /** Asks the child process to raise the interrupt of "waited32", and does not wait for the interrupt. */
    void raise() const;

private:
    InterruptSource();

    const std::array<int, 2> m_requests;
    const Child m_child;
};

// The sizes of the protocol's records, in bytes.
constexpr std::size_t requestSize = 660;
constexpr std::size_t responseSize = 520;

/** A register server that reports success for every request. It forks one process for each connection. */
class RegisterServer {
public:
    static const RegisterServer& get();

    RegisterServer(const RegisterServer&) = delete;
    RegisterServer& operator=(const RegisterServer&) = delete;
    ~RegisterServer();

    /** Returns the address of the server as HOST::PORT. */
    std::string address() const;

    /** Returns a connected socket, which the caller closes. */
    int connect() const;

private:
    RegisterServer();

    const int m_listener;
    const std::uint16_t m_port;
    const Child m_child;
};

/** A rynveld process that simulates the devices of the board. */
class SimulatedBoard {
public:
    /** @param program the path of rynveld. Only the first call uses the path. */
    static const SimulatedBoard& get(const char* program);
    /** Like get(), for another process, which writes an audit to a file in the working folder. */
    static const SimulatedBoard& getAudited(const char* program);
    /** Like get(), for another process, which has metrics. */
    static const SimulatedBoard& getMeasured(const char* program);

    SimulatedBoard(const SimulatedBoard&) = delete;
    SimulatedBoard& operator=(const SimulatedBoard&) = delete;
    ~SimulatedBoard();

    /** Returns the address of the server: host, "::", port. */
    std::string address() const;

    /** Returns a connected socket, which the caller closes. */
    int connect() const;

private:
    SimulatedBoard(const char* program, const std::vector<std::string>& options);

    const int m_listener;
    const std::uint16_t m_port;
    const Child m_child;
};

} // namespace RynvelBenchmark

#endif
