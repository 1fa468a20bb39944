/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Where the program searches for register maps.
 */
#ifndef RYNVELCTL_MAPSEARCH_H
#define RYNVELCTL_MAPSEARCH_H

#include <optional>
#include <string>
#include <vector>

#include "Deadline.h"
#include "MapCatalog.h"

namespace Rynvelctl {

/** The register maps that the user selects. Reads them when a command needs one. */
class MapSearch {
public:
    /**
     * @param given the files and folders that the user gives. If there are none, the search uses the files and folders
     * in the environment variable RYNVEL_MAPS, separated by colons. Without the variable, it uses the folder of this
     * machine and the folder of the installation.
     * @param deadline by which the maps must be read.
     */
    explicit MapSearch(std::vector<std::string> given, const Common::Deadline& deadline = {})
        : m_given(std::move(given)), m_deadline(deadline) {}

    /** @throws Maps::UnusableMap if a file or folder that the user gives cannot be read. */
    Maps::MapCatalog& catalog();

private:
    std::vector<std::string> m_given;
    Common::Deadline m_deadline;
    std::optional<Maps::MapCatalog> m_catalog;
};

} // namespace Rynvelctl

#endif
