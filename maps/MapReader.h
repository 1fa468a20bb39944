// SPDX-License-Identifier: MIT
/**
 * @file
 * Reads register maps in CMSIS-SVD format, schema 1.3.
 *
 * The reader uses as much as possible of a file that breaks a rule of the format. The reader warns about everything
 * that it leaves out or assumes, with the line. The reader opens no other file, and has limits for the size of a map.
 */
#ifndef RYNVEL_MAPS_MAPREADER_H
#define RYNVEL_MAPS_MAPREADER_H

#include <optional>
#include <string>
#include <vector>

#include "Deadline.h"
#include "Diagnostics.h"
#include "Limits.h"
#include "Model.h"

namespace Maps {

struct ReadMap {
    /** None if one of the diagnostics is an error. */
    std::optional<Device> device;
    /** The warnings in the order of their lines, and then the error. */
    std::vector<Diagnostic> diagnostics;
};

/** Reads a map from bytes in memory. */
ReadMap readMap(std::string bytes, const Limits& limits = {});

/**
 * Reads a map from a file. If the file cannot be read, the result has an error for the whole file.
 *
 * @throws Common::ReadTimedOut if the deadline passes.
 */
ReadMap readMapFile(const std::string& name, const Limits& limits = {}, const Common::Deadline& deadline = {});

} // namespace Maps

#endif
