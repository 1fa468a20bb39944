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

#include "MapCatalog.h"

namespace Rynvelctl {

/** The register maps that the user selects. Reads them when a command needs one. */
class MapSearch {
public:
    /**
     * @param given the files and folders that the user gives. If there are none, the search uses the files and folders
     * in the environment variable RYNVEL_MAPS, separated by colons. Without the variable, it uses the folder of this
     * machine and the folder of the installation.
     */
    explicit MapSearch(std::vector<std::string> given) : m_given(std::move(given)) {}

    /** @throws Maps::UnusableMap if a file or folder that the user gives cannot be read. */
    Maps::MapCatalog& catalog();

private:
    std::vector<std::string> m_given;
    std::optional<Maps::MapCatalog> m_catalog;
};

} // namespace Rynvelctl

#endif
