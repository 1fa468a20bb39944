#include <benchmark/benchmark.h>
#include <pthread.h>
#include <rynvel.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "Devices.h"
#include "StandIns.h"

// The ways to registers in memory: through the library, by the bare access, and by the bare access in a mutex.

namespace {

using benchmark::State;

/** The program's end of bursts. Its place in a page is not the registers': some processors confuse the two. */
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

/** @tparam Lock what is held during each operation. */
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

template <typename Way>
void readBackToBack(State& state) {
    const Way way;
    for (auto _ : state) {
        benchmark::DoNotOptimize(way.read(0));
    }
}

/** Every address is the value read before it. */
template <typename Way>
void readChain(State& state) {
    const Way way;
    way.write(0, 0);
    std::uint32_t index = 0;
    for (auto _ : state) {
        index = way.read(index);
    }
    benchmark::DoNotOptimize(index);
}

template <typename Way>
void writeBackToBack(State& state) {
    const Way way;
    for (auto _ : state) {
        way.write(0, 0);
    }
}

/** Every value is read from the register that was written before it. */
template <typename Way>
void writeChain(State& state) {
    const Way way;
    std::uint32_t value = 0;
    for (auto _ : state) {
        way.write(0, value);
        value = way.read(0);
    }
    benchmark::DoNotOptimize(value);
}

template <typename Way>
void writeMasked(State& state) {
    const Way way;
    for (auto _ : state) {
        way.writeBits(0, 0x5A5A, 0xFFFF);
    }
}

template <typename Way, void (Way::*operation)(std::uint32_t*, std::size_t) const>
void readWords(State& state) {
    const Way way;
    const auto items = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        (way.*operation)(buffer(), items);
        benchmark::ClobberMemory();
    }
}

template <typename Way, void (Way::*operation)(const std::uint32_t*, std::size_t) const>
void writeWords(State& state) {
    const Way way;
    const auto items = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        benchmark::ClobberMemory();
        (way.*operation)(buffer(), items);
    }
}

template <typename Way>
void addWay(const std::string& way) {
    const auto add = [&](const char* operation, auto* function) {
        return benchmark::RegisterBenchmark((operation + ("/" + way)).c_str(), function);
    };
    add("read", readBackToBack<Way>);
    add("read_chain", readChain<Way>);
    add("write", writeBackToBack<Way>);
    add("write_chain", writeChain<Way>);
    add("write_masked", writeMasked<Way>);
    add("burst_read", readWords<Way, &Way::readBurst>)->Arg(256)->Arg(4096);
    add("burst_write", writeWords<Way, &Way::writeBurst>)->Arg(256)->Arg(4096);
    add("burst_read_swapped", readWords<Way, &Way::readSwapped>)->Arg(256)->Arg(4096);
    add("burst_write_swapped", writeWords<Way, &Way::writeSwapped>)->Arg(256)->Arg(4096);
}

const bool added = [] {
    addWay<Library>("library");
    addWay<Raw<NoLock>>("raw");
    addWay<Raw<MutexLock>>("raw_in_mutex");
    return true;
}();

} // namespace
