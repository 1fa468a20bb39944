// SPDX-License-Identifier: MIT
/**
 * @file
 * Reads register maps in the format CMSIS-SVD, schema 1.3.
 *
 * A file that breaks a rule of the format is used as far as it can be. Whatever is left out or assumed is in a warning
 * with its line. Nothing but the file is read, and what it may cost is limited.
 */
#ifndef RYNVEL_MAPS_MAPREADER_H
#define RYNVEL_MAPS_MAPREADER_H

#include <optional>
#include <string>
#include <vector>

#include "Diagnostics.h"
#include "Limits.h"
#include "Model.h"

namespace Maps {

struct ReadMap {
    /** None where one of the diagnostics is an error. */
    std::optional<Device> device;
    /** In the order of their lines; an error is the last. */
    std::vector<Diagnostic> diagnostics;
};

/** Reads the bytes of a map. */
ReadMap readMap(std::string bytes, const Limits& limits = {});

/** Reads a file. That it cannot be read is an error of the whole file. */
ReadMap readMapFile(const std::string& name, const Limits& limits = {});

} // namespace Maps

#endif
