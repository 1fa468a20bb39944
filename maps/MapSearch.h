// SPDX-License-Identifier: MIT
/**
 * @file
 * Where a program searches for register maps.
 */
#ifndef RYNVEL_MAPS_MAPSEARCH_H
#define RYNVEL_MAPS_MAPSEARCH_H

#include <optional>
#include <string>
#include <vector>

#include "Deadline.h"
#include "MapCatalog.h"

namespace Maps {

/** Finds the register maps that the user selects. Reads a map only when a command needs the map. */
class MapSearch {
public:
    /**
     * @param given the files and folders that the user gives. If there are none, the search uses the files and folders
     * in the environment variable RYNVEL_MAPS, separated by colons. Without paths in the variable, the search uses
     * /etc/rynvel/maps and the map folder of the installation.
     * @param deadline the deadline for reading the maps.
     */
    explicit MapSearch(std::vector<std::string> given, const Common::Deadline& deadline = {})
        : m_given(std::move(given)), m_deadline(deadline) {}

    /** @throws UnusableMap if a path that the user gives does not exist, or if a folder cannot be read. */
    MapCatalog& catalog();

private:
    std::vector<std::string> m_given;
    Common::Deadline m_deadline;
    std::optional<MapCatalog> m_catalog;
};

} // namespace Maps

#endif
