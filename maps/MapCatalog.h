// SPDX-License-Identifier: MIT
/**
 * @file
 * The map files that a program searches for the registers of its devices.
 */
#ifndef RYNVEL_MAPS_MAPCATALOG_H
#define RYNVEL_MAPS_MAPCATALOG_H

#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Deadline.h"
#include "MapReader.h"

namespace Maps {

/** Thrown if a map cannot be used. what() is the error message, with the file and, if there is one, the line. */
class UnusableMap : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The peripheral that describes a device, with the map that contains it. */
struct DevicePeripheral {
    /** The path of the map file. */
    std::string file;
    /** The map. The catalog owns the map. */
    const Device* map = nullptr;
    /** The peripheral of the map that describes the device. */
    const Peripheral* peripheral = nullptr;
};

/** Checks that the addresses of the map count bytes. @throws UnusableMap if they do not. */
void requireByteAddresses(const DevicePeripheral& description);

/**
 * The map files in which a program searches for its devices. The search for a device reads a file only if no earlier
 * file describes the device.
 */
class MapCatalog {
public:
    /** Whether a path that does not exist is an error. */
    enum class MissingPath { Refused, Ignored };

    /**
     * @param paths map files and folders, in the order of the search. The maps of a folder are its files with the
     * ending ".svd" that are not hidden, in the order of their names.
     * @param deadline the deadline for reading a map from a pipe. After the deadline, find() and map() throw
     * Common::ReadTimedOut.
     * @throws UnusableMap if a folder cannot be read, or if a path does not exist and `missing` is Refused.
     */
    explicit MapCatalog(const std::vector<std::string>& paths, MissingPath missing = MissingPath::Refused,
                        const Common::Deadline& deadline = {});

    /** Returns the map files in the order of the search. */
    const std::vector<std::string>& files() const { return m_files; }

    /**
     * Returns the first description of a device name; none if no file describes the device.
     *
     * @throws UnusableMap if a file that the search reads is not a map.
     */
    std::optional<DevicePeripheral> find(const std::string& deviceName);

    /**
     * Returns the map of a file.
     *
     * @param position the number of the file in the order of the search, counted from 0.
     * @throws UnusableMap if this file or an earlier file is not a map.
     */
    const ReadMap& map(std::size_t position);

private:
    Common::Deadline m_deadline;
    std::vector<std::string> m_files;
    /**
     * The maps of the files that have been read so far. A deque does not move its elements when it grows, so pointers
     * to the maps stay valid.
     */
    std::deque<ReadMap> m_maps;
};

} // namespace Maps

#endif
