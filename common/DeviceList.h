/**
 * @file
 * The logical devices that the program knows, and whether the library knows the same.
 */
#ifndef RYNVEL_COMMON_DEVICELIST_H
#define RYNVEL_COMMON_DEVICELIST_H

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <rynvel.hpp>

namespace Common {

/** The rows of the device table in the order of their handles: compiled from the same description as the library. */
const std::vector<Rynvel::MemoryDevice>& devices();

/** Says in one line what the library knows otherwise. */
class DeviceTableMismatch : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Compares a row of devices() with the library's row of that name, in every field: a library that has been replaced may
 * have another table.
 *
 * @param handle the place of the row, for a caller that shows it: it is compared, too.
 * @return what differs, in one line that begins with the name; empty when nothing does.
 */
std::string describeMismatch(const Rynvel::MemoryDevice& row, std::optional<std::size_t> handle = std::nullopt);

/**
 * The row of that name; null when there is none.
 *
 * @throws DeviceTableMismatch when the library's row is another one.
 */
const Rynvel::MemoryDevice* findDevice(const std::string& name);

} // namespace Common

#endif
