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

#include "MapReader.h"

namespace Maps {

/** A map that cannot be used. what() is the error message, with the file and the line. */
class UnusableMap : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** The description of a device. */
struct DeviceDescription {
    /** The map file. */
    std::string file;
    /** The catalog owns it, and the peripheral. */
    const Device* map = nullptr;
    const Peripheral* peripheral = nullptr;
};

/** Reads a file only if no file before it describes the device. */
class MapCatalog {
public:
    /** Whether a path that does not exist is an error. */
    enum class MissingPath { Refused, Ignored };

    /**
     * @param paths map files and folders, in the order of the search. The maps of a folder are its files with the
     * ending ".svd" that are not hidden, in the order of their names.
     * @throws UnusableMap if a path does not exist, or if a folder cannot be read.
     */
    explicit MapCatalog(const std::vector<std::string>& paths, MissingPath missing = MissingPath::Refused);

    /** Returns the map files in the order of the search. */
    const std::vector<std::string>& files() const { return m_files; }

    /**
     * Returns the first description of a device, by its logical name; none if no file describes the device.
     *
     * @throws UnusableMap if a file that the search reads is not a map.
     */
    std::optional<DeviceDescription> find(const std::string& deviceName);

    /** Returns the map of a file, counted from 0 in the order of the search. @throws UnusableMap. */
    const ReadMap& map(std::size_t position);

private:
    std::vector<std::string> m_files;
    /** The maps of the first files. A deque keeps the addresses of its elements. */
    std::deque<ReadMap> m_maps;
};

} // namespace Maps

#endif
