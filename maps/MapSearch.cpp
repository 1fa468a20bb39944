// SPDX-License-Identifier: MIT
#include "MapSearch.h"

#include <cstdlib>
#include <sstream>

namespace Maps {

namespace {

using Paths = std::vector<std::string>;

Paths pathsOfEnvironment() {
    const char* const list = std::getenv("RYNVEL_MAPS");
    std::istringstream stream(list == nullptr ? "" : list);
    Paths paths;
    for (std::string path; std::getline(stream, path, ':');) {
        if (!path.empty()) {
            paths.push_back(path);
        }
    }
    return paths;
}

MapCatalog catalogOf(const Paths& given, const Common::Deadline& deadline) {
    const Paths paths = given.empty() ? pathsOfEnvironment() : given;
    if (!paths.empty()) {
        return MapCatalog(paths, MapCatalog::MissingPath::Refused, deadline);
    }
    return MapCatalog({"/etc/rynvel/maps", RYNVEL_MAP_FOLDER}, MapCatalog::MissingPath::Ignored, deadline);
}

} // namespace

MapCatalog& MapSearch::catalog() {
    if (!m_catalog) {
        m_catalog.emplace(catalogOf(m_given, m_deadline));
    }
    return *m_catalog;
}

} // namespace Maps
