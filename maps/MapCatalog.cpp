// SPDX-License-Identifier: MIT
#include "MapCatalog.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "RegisterName.h"

namespace Maps {

namespace {

namespace fs = std::filesystem;

UnusableMap unusable(const std::string& path, const std::string& text) {
    return UnusableMap(render(path, {Severity::Error, 0, text}));
}

// Includes a link to a missing file, so that the user gets an error. Leaves out names that begin with a dot, because
// editors give such names to lock files and backup copies.
bool isMap(const fs::directory_entry& entry) {
    std::error_code error;
    const fs::file_status status = entry.status(error);
    return entry.path().extension() == ".svd" && entry.path().filename().string().front() != '.' &&
           (error || status.type() == fs::file_type::regular);
}

std::vector<std::string> mapsOf(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (isMap(*entry)) {
            names.push_back(entry->path().string());
        }
    }
    if (error) {
        throw unusable(folder, error.message());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

void requireByteAddresses(const DevicePeripheral& description) {
    constexpr unsigned int byteBits = 8;
    if (description.map->addressUnitBits != byteBits) {
        throw UnusableMap(description.file + ": addressUnitBits is " +
                          std::to_string(description.map->addressUnitBits) + " (only 8 is supported)");
    }
}

MapCatalog::MapCatalog(const std::vector<std::string>& paths, MissingPath missing, const Common::Deadline& deadline)
    : m_deadline(deadline) {
    for (const std::string& path : paths) {
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        if (status.type() == fs::file_type::not_found && missing == MissingPath::Ignored) {
            continue;
        }
        if (error) {
            throw unusable(path, error.message());
        }
        if (status.type() == fs::file_type::directory) {
            const std::vector<std::string> names = mapsOf(path);
            m_files.insert(m_files.end(), names.begin(), names.end());
        } else {
            m_files.push_back(path);
        }
    }
}

std::optional<DevicePeripheral> MapCatalog::find(const std::string& deviceName) {
    for (std::size_t position = 0; position < m_files.size(); ++position) {
        const Device& device = *map(position).device;
        if (const Peripheral* const peripheral = findPeripheral(device, deviceName)) {
            return DevicePeripheral{m_files[position], &device, peripheral};
        }
    }
    return std::nullopt;
}

const ReadMap& MapCatalog::map(std::size_t position) {
    while (m_maps.size() <= position) {
        const std::string& file = m_files[m_maps.size()];
        ReadMap read = readMapFile(file, {}, m_deadline);
        if (!read.device) {
            throw UnusableMap(render(file, read.diagnostics.back()));
        }
        m_maps.push_back(std::move(read));
    }
    return m_maps[position];
}

} // namespace Maps
