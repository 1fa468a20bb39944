/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The device table of the program, and its differences from the device table of the library.
 */
#ifndef RYNVEL_COMMON_DEVICELIST_H
#define RYNVEL_COMMON_DEVICELIST_H

#include <rynvel.hpp>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Common {

/** Returns the rows of the device table, in the order of their handles. */
const std::vector<Rynvel::MemoryDevice>& devices();

/**
 * Thrown if the library's row of a device differs from the program's row, or is missing. The text is one line with the
 * differences.
 */
class DeviceTableMismatch : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Compares all fields of a row of devices() with the library's row of the same name. The rows may differ if the library
 * was replaced after the program was built.
 *
 * @param handle the handle of the row; empty to leave the handle out of the comparison.
 * @return the differences, in one line that begins with the device name; empty if the rows are equal.
 */
std::string describeMismatch(const Rynvel::MemoryDevice& row, std::optional<std::size_t> handle = std::nullopt);

/**
 * Returns the row of a device name; null if there is none.
 *
 * @throws DeviceTableMismatch if the library's row of that name differs or is missing.
 */
const Rynvel::MemoryDevice* findDevice(const std::string& name);

} // namespace Common

#endif
