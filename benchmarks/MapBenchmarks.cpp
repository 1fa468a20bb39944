// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <string>

#include <pugixml.hpp>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "MapReader.h"
#include "Require.h"

// Benchmarks of the reader of register maps, and of the XML parser alone, on the same register map of 3 MB.

namespace {

using benchmark::State;
using RynvelBenchmark::require;

constexpr std::size_t mapSize = 3000000;
constexpr long mostKilobytes = 60 * 1024;

std::string element(const std::string& tag, const std::string& content) {
    return "<" + tag + ">" + content + "</" + tag + ">\n";
}

std::string described(const std::string& name) {
    return element("name", name) + element("description", "What " + name + " is for, in some words of a manual");
}

std::string values() {
    std::string text;
    for (const std::string number : {"0", "1", "2"}) {
        text += element("enumeratedValue", described("Value" + number) + element("value", number));
    }
    return element("enumeratedValues", text);
}

std::string fields() {
    std::string text;
    for (int i = 0; i < 8; ++i) {
        text += element("field",
                        described("FIELD" + std::to_string(i)) +
                            element("bitRange", "[" + std::to_string(4 * i + 3) + ":" + std::to_string(4 * i) + "]") +
                            element("access", "read-write") + (i == 0 ? values() : ""));
    }
    return element("fields", text);
}

std::string registers() {
    std::string text;
    for (int i = 0; i < 20; ++i) {
        text += element("register", described("REGISTER" + std::to_string(i)) +
                                        element("addressOffset", std::to_string(4 * i)) +
                                        element("resetValue", "0x12345678") + fields());
    }
    return element("registers", text);
}

std::string makeMap() {
    std::string peripherals;
    for (int i = 0; peripherals.size() < mapSize; ++i) {
        peripherals += element("peripheral", described("PERIPHERAL" + std::to_string(i)) +
                                                 element("baseAddress", std::to_string(4096 * i)) + registers());
    }
    return element("device", described("DEVICE") + element("version", "1") + element("addressUnitBits", "8") +
                                 element("width", "32") + element("size", "32") + element("access", "read-write") +
                                 element("peripherals", peripherals));
}

const std::string& map() {
    static const std::string text = makeMap();
    return text;
}

void readOnce() {
    const Maps::ReadMap read = Maps::readMap(map());
    require(read.device.has_value() && read.diagnostics.empty(), "reading the map", false);
}

/** Ends the program if a process that reads the map uses more than `mostKilobytes` of memory. */
void requireMemory() {
    const pid_t child = require(fork(), "fork");
    if (child == 0) {
        readOnce();
        std::_Exit(EXIT_SUCCESS);
    }
    int status = 0;
    rusage usage{};
    require(wait4(child, &status, 0, &usage), "wait4");
    require(status == 0 && usage.ru_maxrss <= mostKilobytes, "reading the map in 60 MiB", false);
}

void mapReader(State& state) {
    requireMemory();
    for (auto _ : state) {
        readOnce();
    }
}

void mapParser(State& state) {
    const std::string& text = map();
    for (auto _ : state) {
        pugi::xml_document document;
        require(static_cast<bool>(document.load_buffer(text.data(), text.size())), "parsing the map", false);
    }
}

BENCHMARK(mapReader)->Name("map/reader");
BENCHMARK(mapParser)->Name("map/parser");

} // namespace
