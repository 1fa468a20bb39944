// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "MapReader.h"
#include "Rule.h"

namespace {

using namespace RynvelFuzz;

Maps::Limits tightLimits() {
    Maps::Limits limits;
    limits.clusterDepth = 8;
    limits.arraySize = 256;
    limits.elements = 5000;
    limits.warnings = 100;
    return limits;
}

/** Requires that all elements of a map obey the rules, and counts the elements. */
class Elements {
public:
    explicit Elements(const Maps::Limits& limits) : m_limits(limits) {}

    void require(const Maps::Device& device) {
        for (const Maps::Peripheral& peripheral : device.peripherals) {
            requireNamed(peripheral);
            requireContent(peripheral.registers, peripheral.clusters, 0);
        }
        RynvelFuzz::require(m_count <= m_limits.elements, "a map has no more elements than its limit");
    }

private:
    template <typename T>
    void requireNamed(const T& element) {
        ++m_count;
        RynvelFuzz::require(element.line > 0, "an element has a line");
        if (element.arrayElement.array) {
            const Maps::Array& array = *element.arrayElement.array;
            RynvelFuzz::require(element.arrayElement.position < array.size, "a position is inside its array");
            RynvelFuzz::require(array.size <= m_limits.arraySize, "an array has no more elements than its limit");
        }
    }

    void requireContent(const Maps::SharedList<Maps::Register>& registers,
                        const Maps::SharedList<Maps::Cluster>& clusters, std::size_t depth) {
        RynvelFuzz::require(depth <= m_limits.clusterDepth, "clusters are not deeper than their limit");
        for (const Maps::Register& aRegister : registers) {
            requireNamed(aRegister);
            RynvelFuzz::require(aRegister.size > 0, "a register has bits");
            const std::uint64_t bits = aRegister.size >= 64 ? UINT64_MAX : (std::uint64_t{1} << aRegister.size) - 1;
            RynvelFuzz::require((aRegister.resetValue.value_or(0) | aRegister.resetMask) <= bits,
                                "a reset value fits in its register");
            for (const Maps::Field& field : aRegister.fields) {
                requireNamed(field);
                RynvelFuzz::require(field.lsb <= field.msb, "the lowest bit of a field is not above its highest bit");
                requireValues(field);
            }
        }
        for (const Maps::Cluster& cluster : clusters) {
            requireNamed(cluster);
            requireContent(cluster.registers, cluster.clusters, depth + 1);
        }
    }

    static void requireValues(const Maps::Field& field) {
        for (const Maps::Enumeration& enumeration : field.enumerations) {
            RynvelFuzz::require(!enumeration.values.empty(), "an enumeration has values");
            for (const Maps::EnumeratedValue& value : enumeration.values) {
                RynvelFuzz::require((value.value & ~value.mask) == 0, "the don't-care bits of a value are 0");
                RynvelFuzz::require(!value.isDefault || value.mask == 0, "a default has no value");
            }
        }
    }

    const Maps::Limits& m_limits;
    std::uint64_t m_count = 0;
};

void requireDiagnostics(const Maps::ReadMap& map, std::size_t lines, const Maps::Limits& limits) {
    require(map.diagnostics.size() <= limits.warnings + 2, "warnings are limited");
    std::size_t before = 0;
    std::size_t errors = 0;
    for (const Maps::Diagnostic& diagnostic : map.diagnostics) {
        errors += diagnostic.severity == Maps::Severity::Error ? 1 : 0;
        require(diagnostic.line <= lines, "a diagnostic is for a line of the file");
        require(errors > 0 || diagnostic.line == 0 || diagnostic.line >= before, "warnings are in the order of lines");
        require(!diagnostic.text.empty(), "a diagnostic has a text");
        before = std::max(before, diagnostic.line);
    }
    require(errors == (map.device ? 0 : 1), "a map is read, or there is one error");
    require(errors == 0 || map.diagnostics.back().severity == Maps::Severity::Error, "an error is the last diagnostic");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    static const Maps::Limits limits = tightLimits();
    const std::string text(input, input + inputSize);
    const Maps::ReadMap map = Maps::readMap(text, limits);
    requireDiagnostics(map, static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1, limits);
    if (map.device) {
        Elements(limits).require(*map.device);
    }
    return 0;
}
