/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The registers whose values are metrics.
 */
#ifndef RYNVELD_EXPORTEDREGISTERS_H
#define RYNVELD_EXPORTEDREGISTERS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DeviceCounts.h"
#include "MapCatalog.h"
#include "MetricText.h"
#include "Model.h"
#include "Policy.h"
#include "ServedDevices.h"

namespace Rynveld {

/** A register of a served device. Metrics contain its value or the values of its fields. */
struct ExportedRegister {
    std::string device;
    /** The name of the register with the names of the clusters around it. */
    std::string name;
    /** The address in the unit of the device. */
    std::uint32_t address = 0;
    /** The bits of the register in its word. */
    std::uint32_t bits = 0;
    bool isWholeExported = false;
    std::vector<Maps::Field> fields;
};

/**
 * Returns the registers and fields that names select. Each register occurs once.
 *
 * @param names `DEVICE.REGISTER` or `DEVICE.REGISTER.FIELD`, with the names of a register map.
 * @throws std::invalid_argument if a name is unknown, if the policy does not allow the device, if the register or field
 * cannot be read, or if reading it has a side effect.
 * @throws Maps::UnusableMap if a map cannot be used.
 */
std::vector<ExportedRegister> findExportedRegisters(const std::vector<std::string>& names, Maps::MapCatalog& catalog,
                                                    const Policy& policy);

/**
 * Reads registers for metrics. Reads each register at most once in a period, and otherwise uses the result of the last
 * read. Threads: one at a time.
 */
class ExportedRegisters {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds period{1};

    /** @param devices must outlive this object. */
    ExportedRegisters(const std::vector<ExportedRegister>& registers, ServedDevices& devices);

    /** Adds a sample for each register and field whose last read has succeeded. */
    void writeTo(MetricText& text, Time now = std::chrono::steady_clock::now());

private:
    struct Entry {
        ExportedRegister exported;
        std::uint64_t reads = 0;
        std::uint64_t failures = 0;
        Time lastRead;
        /** The value of the last read; none if it has failed. */
        std::optional<std::uint32_t> value;
    };

    void read(Entry& entry);
    std::optional<std::uint32_t> valueOf(const ExportedRegister& exported);
    void writeCount(MetricText& text, std::uint64_t Entry::*number) const;

    ServedDevices& m_devices;
    std::vector<Entry> m_entries;
};

} // namespace Rynveld

#endif
