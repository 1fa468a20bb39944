/**
 * @file
 * The logical devices that this build of the library knows.
 */
#ifndef RYNVEL_COMMON_DEVICELIST_H
#define RYNVEL_COMMON_DEVICELIST_H

#include <string>
#include <vector>

#include <rynvel.hpp>

namespace Common {

/** The rows of the device table in the order of their handles: compiled from the same description as the library. */
const std::vector<Rynvel::MemoryDevice>& devices();

/** The row of that name; null when there is none. */
const Rynvel::MemoryDevice* findDevice(const std::string& name);

} // namespace Common

#endif
