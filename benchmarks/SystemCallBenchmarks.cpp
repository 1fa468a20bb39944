// SPDX-License-Identifier: MIT
#include <rynvel.h>
#include <rynvel.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "Devices.h"
#include "Require.h"
#include "StandIns.h"

// Benchmarks of operations and programs that make system calls, and of the system calls alone.

namespace {

using benchmark::State;
using RynvelBenchmark::require;

void seekReadLibrary(State& state) {
    const int handle = RynvelBenchmark::openSeekable();
    std::uint32_t value = 0;
    for (auto _ : state) {
        require(Rynvel_read32(handle, 0, &value), "read by the library");
    }
}

void seekReadRaw(State& state) {
    static const int file = RynvelBenchmark::MemoryRegisters::get().open();
    std::uint32_t value = 0;
    for (auto _ : state) {
        require(lseek(file, 0, SEEK_SET), "lseek");
        require(read(file, &value, sizeof(value)), "read");
    }
}

// Enabling the interrupt also raises the interrupt, so the wait does not block.
void interruptLibrary(State& state) {
    const int handle = RynvelBenchmark::openInterrupt();
    unsigned long count = 0;
    for (auto _ : state) {
        require(Rynvel_receiveInterrupts(handle, &count), "wait by the library");
    }
}

void interruptRaw(State& state) {
    static const int file = RynvelBenchmark::InterruptSource::get().openInterrupt();
    const std::uint32_t enable = 1;
    std::uint32_t count = 0;
    for (auto _ : state) {
        require(write(file, &enable, sizeof(enable)), "write");
        require(read(file, &count, sizeof(count)), "read");
    }
}

// A child process raises the interrupt after the request, usually during the wait.
void blockedInterruptLibrary(State& state) {
    const int handle = RynvelBenchmark::openWaited();
    const auto& source = RynvelBenchmark::InterruptSource::get();
    unsigned long status = 0;
    for (auto _ : state) {
        source.raise();
        require(Rynvel_receiveInterrupts(handle, &status), "wait by the library");
    }
}

void blockedInterruptRaw(State& state) {
    static const int file = RynvelBenchmark::InterruptSource::get().openWaited();
    const auto& source = RynvelBenchmark::InterruptSource::get();
    std::uint16_t status = 0;
    for (auto _ : state) {
        source.raise();
        require(read(file, &status, sizeof(status)), "read");
    }
}

void readRemote(State& state, const std::string& server, const std::string& name) {
    const auto device = RynvelBenchmark::connectRemote(server, name);
    std::uint32_t value = 0;
    for (auto _ : state) {
        require(device->read(0, &value) ? 0 : -1, "read by the library");
    }
}

void exchangeLibrary(State& state) { readRemote(state, RynvelBenchmark::RegisterServer::get().address(), "registers"); }

void exchangeRynveldLibrary(State& state) {
    readRemote(state, RynvelBenchmark::SimulatedBoard::get(RYNVELD).address(), "traf.top");
}

using RequestBytes = std::array<char, RynvelBenchmark::requestSize>;
using ResponseBytes = std::array<char, RynvelBenchmark::responseSize>;

void exchangeOnce(int connection, const RequestBytes& request) {
    ResponseBytes response{};
    require(send(connection, request.data(), request.size(), 0), "send");
    require(read(connection, response.data(), response.size()), "read");
}

// Repeatedly sends a request and receives the response.
void exchange(State& state, int connection, const RequestBytes& request) {
    for (auto _ : state) {
        exchangeOnce(connection, request);
    }
}

void exchangeRaw(State& state) {
    static const int connection = RynvelBenchmark::RegisterServer::get().connect();
    exchange(state, connection, {});
}

RequestBytes bytesOf(const Rynvel::Request& request) {
    RequestBytes bytes{};
    std::memcpy(bytes.data(), request.toBuffer(), bytes.size());
    return bytes;
}

// Returns a connection to rynveld on which the device is open.
int openOnSimulatedBoard(const std::string& name,
                         const RynvelBenchmark::SimulatedBoard& board = RynvelBenchmark::SimulatedBoard::get(RYNVELD)) {
    const int connection = board.connect();
    exchangeOnce(connection, bytesOf(Rynvel::Request(Rynvel::RequestData::Type::Open, name)));
    return connection;
}

RequestBytes readRequest() {
    Rynvel::Request request(Rynvel::RequestData::Type::Read32, "traf.top");
    request.setLength(1);
    return bytesOf(request);
}

// Measures rynveld without the library. The client makes the same system calls as the client in exchangeRaw().
void exchangeRynveldBare(State& state) {
    static const int connection = openOnSimulatedBoard("traf.top");
    exchange(state, connection, readRequest());
}

void exchangeRynveldMeasured(State& state) {
    static const int connection =
        openOnSimulatedBoard("traf.top", RynvelBenchmark::SimulatedBoard::getMeasured(RYNVELD));
    exchange(state, connection, readRequest());
}

RequestBytes writeRequest() {
    Rynvel::Request request(Rynvel::RequestData::Type::Write32, "traf.top");
    request.addValue(1);
    return bytesOf(request);
}

void writeRynveldBare(State& state) {
    static const int connection = openOnSimulatedBoard("traf.top");
    exchange(state, connection, writeRequest());
}

void writeRynveldAudited(State& state) {
    static const int connection =
        openOnSimulatedBoard("traf.top", RynvelBenchmark::SimulatedBoard::getAudited(RYNVELD));
    exchange(state, connection, writeRequest());
}

constexpr int readsOfAFile = 1000;

// Returns a file with commands that each read a register.
int makeCommands() {
    const int file = require(memfd_create("commands", MFD_CLOEXEC), "memfd_create");
    for (int i = 0; i < readsOfAFile; ++i) {
        const std::string line = "read traf.top " + std::to_string(i % 1024 * 4) + '\n';
        require(write(file, line.data(), line.size()), "write");
    }
    return file;
}

// Runs a program, discards its output, and waits for its end.
void runProgram(const char* program, std::vector<std::string> arguments, int input = STDIN_FILENO) {
    std::vector<char*> words;
    std::transform(arguments.begin(), arguments.end(), std::back_inserter(words),
                   [](std::string& argument) { return argument.data(); });
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = -1;
    require(posix_spawn(&process, program, &actions, nullptr, words.data(), environ) == 0, "posix_spawn", false);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    require(waitpid(process, &status, 0), "waitpid");
    require(status == 0, program, false);
}

void fileOfReadsRynvelctl(State& state) {
    static const int commands = makeCommands();
    const std::string server = RynvelBenchmark::SimulatedBoard::get(RYNVELD).address();
    for (auto _ : state) {
        require(lseek(commands, 0, SEEK_SET), "lseek");
        runProgram(RYNVELCTL, {"rynvelctl", "--remote", server, "run", "-"}, commands);
    }
}

// Starts rynvelctl with only --version, and then makes the same reads with system calls alone.
void fileOfReadsBare(State& state) {
    static const int connection = openOnSimulatedBoard("traf.top");
    const RequestBytes request = readRequest();
    for (auto _ : state) {
        runProgram(RYNVELCTL, {"rynvelctl", "--version"});
        for (int i = 0; i < readsOfAFile; ++i) {
            exchangeOnce(connection, request);
        }
    }
}

void startRynvelctl(State& state) {
    for (auto _ : state) {
        runProgram(RYNVELCTL, {"rynvelctl", "--version"});
    }
}

void startBare(State& state) {
    for (auto _ : state) {
        runProgram(BARE_START, {"bare_start"});
    }
}

void remoteReadRynvelctl(State& state) {
    const std::string server = RynvelBenchmark::SimulatedBoard::get(RYNVELD).address();
    for (auto _ : state) {
        runProgram(RYNVELCTL, {"rynvelctl", "--remote", server, "read", "traf.top", "0"});
    }
}

void remoteReadBare(State& state) {
    const std::string server = RynvelBenchmark::SimulatedBoard::get(RYNVELD).address();
    const std::string port = server.substr(server.rfind(':') + 1);
    for (auto _ : state) {
        runProgram(BARE_START, {"bare_start", port, "traf.top"});
    }
}

BENCHMARK(interruptLibrary)->Name("interrupt/library");
BENCHMARK(interruptRaw)->Name("interrupt/raw");
BENCHMARK(seekReadLibrary)->Name("seek_read/library");
BENCHMARK(seekReadRaw)->Name("seek_read/raw");
// These benchmarks measure real time, because the processor time does not include that of the child processes.
BENCHMARK(blockedInterruptLibrary)->Name("interrupt_blocked/library")->UseRealTime();
BENCHMARK(blockedInterruptRaw)->Name("interrupt_blocked/raw")->UseRealTime();
BENCHMARK(exchangeLibrary)->Name("exchange/library")->UseRealTime();
BENCHMARK(exchangeRaw)->Name("exchange/raw")->UseRealTime();
BENCHMARK(exchangeRynveldBare)->Name("exchange_rynveld/bare")->UseRealTime();
BENCHMARK(writeRynveldBare)->Name("write_rynveld/bare")->UseRealTime();
BENCHMARK(writeRynveldAudited)->Name("write_rynveld/audited")->UseRealTime();
BENCHMARK(exchangeRynveldMeasured)->Name("exchange_rynveld/metrics")->UseRealTime();
BENCHMARK(exchangeRynveldLibrary)->Name("exchange_rynveld/library")->UseRealTime();
BENCHMARK(fileOfReadsRynvelctl)->Name("file_of_reads/rynvelctl")->UseRealTime();
BENCHMARK(fileOfReadsBare)->Name("file_of_reads/bare")->UseRealTime();
BENCHMARK(startRynvelctl)->Name("start/rynvelctl")->UseRealTime();
BENCHMARK(startBare)->Name("start/bare")->UseRealTime();
BENCHMARK(remoteReadRynvelctl)->Name("remote_read/rynvelctl")->UseRealTime();
BENCHMARK(remoteReadBare)->Name("remote_read/bare")->UseRealTime();

} // namespace
