// SPDX-License-Identifier: MIT
#include "MapSearch.h"

#include <cstdlib>
#include <sstream>

namespace Rynvelctl {

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

Maps::MapCatalog catalogOf(const Paths& given) {
    const Paths paths = given.empty() ? pathsOfEnvironment() : given;
    if (!paths.empty()) {
        return Maps::MapCatalog(paths);
    }
    return Maps::MapCatalog({"/etc/rynvel/maps", RYNVEL_MAP_FOLDER}, Maps::MapCatalog::MissingPath::Ignored);
}

} // namespace

Maps::MapCatalog& MapSearch::catalog() {
    if (!m_catalog) {
        m_catalog.emplace(catalogOf(m_given));
    }
    return *m_catalog;
}

} // namespace Rynvelctl
