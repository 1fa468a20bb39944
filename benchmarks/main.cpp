// SPDX-License-Identifier: MIT
#include <algorithm>
#include <string>
#include <thread>

#include <sched.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "Require.h"

namespace {

// Binds this process, and the processes that it starts later, to the current processor.
void stayOnThisProcessor() {
    const int here = RynvelBenchmark::require(sched_getcpu(), "sched_getcpu");
    cpu_set_t processors;
    CPU_ZERO(&processors);
    CPU_SET(static_cast<std::size_t>(here), &processors);
    RynvelBenchmark::require(sched_setaffinity(0, sizeof(processors), &processors), "sched_setaffinity");
}

bool takeFlag(int& argc, char** argv, const std::string& flag) {
    char** const end = std::remove(argv + 1, argv + argc, flag);
    const bool found = end != argv + argc;
    argc = static_cast<int>(end - argv);
    return found;
}

// In a process that has ever had a second thread, the C library locks a mutex with atomic instructions.
void startIdleThread() {
    std::thread([] {
        for (;;) {
            pause();
        }
    }).detach();
}

} // namespace

int main(int argc, char** argv) {
    const bool secondThread = takeFlag(argc, argv, "--second-thread");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    stayOnThisProcessor();
    if (secondThread) {
        startIdleThread();
    }
    benchmark::AddCustomContext("threads", secondThread ? "2, one of them idle" : "1");
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
