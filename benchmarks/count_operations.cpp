// SPDX-License-Identifier: MIT
#include <rynvel.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "Devices.h"
#include "StandIns.h"

// Repeats one operation of the library for a tool that counts instructions. If two runs have different numbers of
// repetitions, the difference of their counts is the number of instructions of the additional repetitions.

namespace {

using Rynvel::ByteOrder;

std::uint32_t values[256];

template <typename Operation>
void repeat(unsigned long times, Operation operation) {
    for (unsigned long i = 0; i < times; ++i) {
        operation();
    }
}

template <void (*operation)(int handle), int (*open)()>
void onHandle(unsigned long times) {
    repeat(times, [handle = open()] { operation(handle); });
}

template <void (*operation)(Rynvel::Device32& device)>
void onServer(unsigned long times) {
    const auto device = RynvelBenchmark::connectRemote(RynvelBenchmark::RegisterServer::get().address(), "registers");
    repeat(times, [&] { operation(*device); });
}

void read(int handle) { Rynvel_read32(handle, 0, values); }
void write(int handle) { Rynvel_write32(handle, 0, 0); }
void writeMasked(int handle) { Rynvel_writeBitmask32(handle, 0, 0, 1); }
void readBurst(int handle) { Rynvel_burstRead32(handle, 0, values, 256, 0); }
void writeBurst(int handle) { Rynvel_burstWrite32(handle, 0, values, 256, 0); }
void readSwappedBurst(int handle) { Rynvel_burstRead32(handle, 0, values, 256, 1); }
void writeSwappedBurst(int handle) { Rynvel_burstWrite32(handle, 0, values, 256, 1); }
void openAgain(int /*handle*/) { Rynvel_open("mapped32"); }

void waitForInterrupt(int handle) {
    unsigned long count = 0;
    Rynvel_receiveInterrupts(handle, &count);
}

void readRemote(Rynvel::Device32& device) { device.read(0, values); }
void writeRemote(Rynvel::Device32& device) { device.write(0, 0U); }
void readRemoteBurst(Rynvel::Device32& device) { device.read(0, values, 128, ByteOrder::Host); }
void writeRemoteBurst(Rynvel::Device32& device) { device.write(0, values, 128, ByteOrder::Host); }

using RynvelBenchmark::openInterrupt;
using RynvelBenchmark::openMapped;
using RynvelBenchmark::openSeekable;

const std::map<std::string, void (*)(unsigned long)> operations{
    {"read", onHandle<read, openMapped>},
    {"write", onHandle<write, openMapped>},
    {"write_masked", onHandle<writeMasked, openMapped>},
    {"burst_read_256", onHandle<readBurst, openMapped>},
    {"burst_write_256", onHandle<writeBurst, openMapped>},
    {"burst_read_swapped_256", onHandle<readSwappedBurst, openMapped>},
    {"burst_write_swapped_256", onHandle<writeSwappedBurst, openMapped>},
    {"open_again", onHandle<openAgain, openMapped>},
    {"seek_read", onHandle<read, openSeekable>},
    {"seek_write", onHandle<write, openSeekable>},
    {"seek_write_masked", onHandle<writeMasked, openSeekable>},
    {"seek_burst_read_256", onHandle<readBurst, openSeekable>},
    {"interrupt", onHandle<waitForInterrupt, openInterrupt>},
    {"exchange_read", onServer<readRemote>},
    {"exchange_write", onServer<writeRemote>},
    {"exchange_burst_read_128", onServer<readRemoteBurst>},
    {"exchange_burst_write_128", onServer<writeRemoteBurst>},
};

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "count_operations: %s\n", message.c_str());
    std::exit(2);
}

void list() {
    for (const auto& operation : operations) {
        std::puts(operation.first.c_str());
    }
}

unsigned long numberIn(const std::string& text) {
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) {
        fail("'" + text + "' is not a number of operations (give a whole number of at most 9 digits)");
    }
    return std::stoul(text);
}

void run(const std::string& name, unsigned long times) {
    const auto found = operations.find(name);
    if (found == operations.end()) {
        fail("unknown operation '" + name + "' (--list shows the operations)");
    }
    found->second(times);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        list();
    } else if (argc == 3) {
        run(argv[1], numberIn(argv[2]));
    } else {
        fail("usage: count_operations OPERATION TIMES, or count_operations --list");
    }
    return 0;
}
