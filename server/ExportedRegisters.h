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

/** A register of a served device. Metrics contain the value of the register, values of its fields, or both. */
struct ExportedRegister {
    std::string device;
    /** The name of the register after the names of its clusters, such as `CLUSTER.REGISTER`. */
    std::string name;
    /** The address of the word of the device that contains the register, in the unit of the device. */
    std::uint32_t address = 0;
    /** The mask of the bits of the word that belong to the register. */
    std::uint32_t bits = 0;
    bool isWholeExported = false;
    std::vector<Maps::Field> fields;
};

/**
 * Returns the registers and fields that names select. Each register occurs once.
 *
 * @param names `DEVICE.REGISTER` or `DEVICE.REGISTER.FIELD`, with the names of a register map.
 * @throws std::invalid_argument if a name is unknown, if the device is not served, if no register map describes the
 * device, if the register or field cannot be read, or if reading it has a side effect.
 * @throws Maps::UnusableMap if a map cannot be used.
 */
std::vector<ExportedRegister> findExportedRegisters(const std::vector<std::string>& names, Maps::MapCatalog& catalog,
                                                    const Policy& policy);

/**
 * Reads registers for metrics. Reads each register at most once per `period`, and otherwise uses the result of the last
 * read. Threads: one at a time.
 */
class ExportedRegisters {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds period{1};

    /** @param devices must outlive this object. */
    ExportedRegisters(const std::vector<ExportedRegister>& registers, ServedDevices& devices);

    /**
     * Reads the registers whose last read is at least a period old. Adds a sample for each register and field whose
     * last read has succeeded, and the numbers of reads and of failed reads of each register.
     */
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
