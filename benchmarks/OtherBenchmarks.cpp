// SPDX-License-Identifier: MIT
#include <ZilTrace.h>
#include <rynvel.h>
#include <rynvel.hpp>

#include <atomic>
#include <memory>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "Devices.h"
#include "Require.h"
#include "StandIns.h"

// Benchmarks of disabled traces, and of opening a device.

namespace {

using benchmark::State;
using RynvelBenchmark::require;

void traceOffLibrary(State& state) {
    const ZilTrace channel("Benchmark", 3, 256);
    for (auto _ : state) {
        benchmark::DoNotOptimize(channel.isEnabled(7));
    }
}

void traceOffRaw(State& state) {
    std::atomic<int> level{3};
    benchmark::DoNotOptimize(level);
    for (auto _ : state) {
        benchmark::DoNotOptimize(level.load(std::memory_order_relaxed) >= 7);
    }
}

void openAgain(State& state) {
    RynvelBenchmark::openInterrupt();
    for (auto _ : state) {
        require(Rynvel_open("interrupt32"), "open by the library");
    }
}

void openLibrary(State& state) {
    RynvelBenchmark::MemoryRegisters::get();
    auto& factory = Rynvel::Factory::getInstance();
    for (auto _ : state) {
        auto mutex = std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
        benchmark::DoNotOptimize(factory.makeUnique32("mapped32", std::move(mutex)));
    }
}

void openRaw(State& state) {
    const auto& registers = RynvelBenchmark::MemoryRegisters::get();
    for (auto _ : state) {
        const int file = registers.open();
        void* const memory = mmap(nullptr, 0x10000, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        require(memory, "mmap", MAP_FAILED);
        munmap(memory, 0x10000);
        close(file);
    }
}

BENCHMARK(traceOffLibrary)->Name("trace_off/library");
BENCHMARK(traceOffRaw)->Name("trace_off/raw");
BENCHMARK(openAgain)->Name("open_again/library");
BENCHMARK(openLibrary)->Name("open/library");
BENCHMARK(openRaw)->Name("open/raw");

} // namespace
