// SPDX-License-Identifier: MIT
#include <rynvel.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include <pthread.h>

#include <benchmark/benchmark.h>

#include "Devices.h"
#include "StandIns.h"

// Benchmarks of accesses to registers in memory: through the library, directly, and directly with a mutex locked.

namespace {

using benchmark::State;

// Returns the buffer of the bursts. The offset of the buffer in a page differs from that of the registers, because some
// processors treat accesses at the same offset as dependent.
std::uint32_t* buffer() {
    alignas(4096) static std::uint32_t memory[512 + 4096];
    return &memory[512];
}

class Library {
public:
    std::uint32_t read(std::uint32_t index) const {
        std::uint32_t value = 0;
        Rynvel_read32(m_handle, index * 4, &value);
        return value;
    }

    void write(std::uint32_t index, std::uint32_t value) const { Rynvel_write32(m_handle, index * 4, value); }

    void writeBits(std::uint32_t index, std::uint32_t value, std::uint32_t mask) const {
        Rynvel_writeBitmask32(m_handle, index * 4, value, mask);
    }

    void readBurst(std::uint32_t* values, std::size_t items) const { readInOrder(values, items, 0); }
    void writeBurst(const std::uint32_t* values, std::size_t items) const { writeInOrder(values, items, 0); }
    void readSwapped(std::uint32_t* values, std::size_t items) const { readInOrder(values, items, 1); }
    void writeSwapped(const std::uint32_t* values, std::size_t items) const { writeInOrder(values, items, 1); }

private:
    void readInOrder(std::uint32_t* values, std::size_t items, int order) const {
        Rynvel_burstRead32(m_handle, 0, values, static_cast<unsigned int>(items), order);
    }

    void writeInOrder(const std::uint32_t* values, std::size_t items, int order) const {
        Rynvel_burstWrite32(m_handle, 0, values, static_cast<unsigned int>(items), order);
    }

    const int m_handle = RynvelBenchmark::openMapped();
};

class NoLock {};

class MutexLock {
public:
    MutexLock() { pthread_mutex_lock(&mutex); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() { pthread_mutex_unlock(&mutex); }

private:
    static inline pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

/** Direct register accesses. @tparam Lock the lock that each operation holds. */
template <typename Lock>
class Raw {
public:
    std::uint32_t read(std::uint32_t index) const {
        [[maybe_unused]] const Lock lock{};
        return m_words[index];
    }

    void write(std::uint32_t index, std::uint32_t value) const {
        [[maybe_unused]] const Lock lock{};
        m_words[index] = value;
    }

    void writeBits(std::uint32_t index, std::uint32_t value, std::uint32_t mask) const {
        [[maybe_unused]] const Lock lock{};
        m_words[index] = (m_words[index] & ~mask) | (value & mask);
    }

    void readBurst(std::uint32_t* values, std::size_t items) const {
        [[maybe_unused]] const Lock lock{};
        for (std::size_t i = 0; i < items; ++i) {
            values[i] = m_words[i];
        }
    }

    void writeBurst(const std::uint32_t* values, std::size_t items) const {
        [[maybe_unused]] const Lock lock{};
        for (std::size_t i = 0; i < items; ++i) {
            m_words[i] = values[i];
        }
    }

    void readSwapped(std::uint32_t* values, std::size_t items) const {
        [[maybe_unused]] const Lock lock{};
        for (std::size_t i = 0; i < items; ++i) {
            values[i] = __builtin_bswap32(m_words[i]);
        }
    }

    void writeSwapped(const std::uint32_t* values, std::size_t items) const {
        [[maybe_unused]] const Lock lock{};
        for (std::size_t i = 0; i < items; ++i) {
            m_words[i] = __builtin_bswap32(values[i]);
        }
    }

private:
    volatile std::uint32_t* const m_words = RynvelBenchmark::MemoryRegisters::get().words();
};

template <typename Access>
void readBackToBack(State& state) {
    const Access registers;
    for (auto _ : state) {
        benchmark::DoNotOptimize(registers.read(0));
    }
}

// Reads each register at the index that the previous read has returned. The processor cannot overlap these reads.
template <typename Access>
void readChain(State& state) {
    const Access registers;
    registers.write(0, 0);
    std::uint32_t index = 0;
    for (auto _ : state) {
        index = registers.read(index);
    }
    benchmark::DoNotOptimize(index);
}

template <typename Access>
void writeBackToBack(State& state) {
    const Access registers;
    for (auto _ : state) {
        registers.write(0, 0);
    }
}

// Writes the value that was read back after the previous write. The processor cannot overlap these accesses.
template <typename Access>
void writeChain(State& state) {
    const Access registers;
    std::uint32_t value = 0;
    for (auto _ : state) {
        registers.write(0, value);
        value = registers.read(0);
    }
    benchmark::DoNotOptimize(value);
}

template <typename Access>
void writeMasked(State& state) {
    const Access registers;
    for (auto _ : state) {
        registers.writeBits(0, 0x5A5A, 0xFFFF);
    }
}

template <typename Access, void (Access::*operation)(std::uint32_t*, std::size_t) const>
void readWords(State& state) {
    const Access registers;
    const auto items = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        (registers.*operation)(buffer(), items);
        benchmark::ClobberMemory();
    }
}

template <typename Access, void (Access::*operation)(const std::uint32_t*, std::size_t) const>
void writeWords(State& state) {
    const Access registers;
    const auto items = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        benchmark::ClobberMemory();
        (registers.*operation)(buffer(), items);
    }
}

template <typename Access>
void addBenchmarks(const std::string& access) {
    const auto add = [&](const char* operation, auto* function) {
        return benchmark::RegisterBenchmark((operation + ("/" + access)).c_str(), function);
    };
    add("read", readBackToBack<Access>);
    add("read_chain", readChain<Access>);
    add("write", writeBackToBack<Access>);
    add("write_chain", writeChain<Access>);
    add("write_masked", writeMasked<Access>);
    add("burst_read", readWords<Access, &Access::readBurst>)->Arg(256)->Arg(4096);
    add("burst_write", writeWords<Access, &Access::writeBurst>)->Arg(256)->Arg(4096);
    add("burst_read_swapped", readWords<Access, &Access::readSwapped>)->Arg(256)->Arg(4096);
    add("burst_write_swapped", writeWords<Access, &Access::writeSwapped>)->Arg(256)->Arg(4096);
}

const bool added = [] {
    addBenchmarks<Library>("library");
    addBenchmarks<Raw<NoLock>>("raw");
    addBenchmarks<Raw<MutexLock>>("raw_in_mutex");
    return true;
}();

} // namespace
