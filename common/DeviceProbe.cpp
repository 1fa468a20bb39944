#include "DeviceProbe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "DeviceKind.h"
#include "HandOver.h"

namespace Common {

namespace {

struct Map {
    unsigned long offset = 0;
    unsigned long size = 0;
};

bool isUio(Rynvel::DeviceType type) { return type == Rynvel::DeviceType::Uio16 || type == Rynvel::DeviceType::Uio32; }

Map mapOf(const Rynvel::MemoryDevice& row) {
    using Uio = Rynvel::Uio<std::uint32_t>;
    if (isUio(row.m_type)) {
        return {Uio::getMapData(row.m_devicePath, "offset"), Uio::getMapData(row.m_devicePath, "size")};
    }
    return {0, row.m_parameter};
}

Probe failed(const Rynvel::MemoryDevice& row, const std::string& reason) {
    return {row.m_devicePath + ": " + reason, std::nullopt};
}

Probe mapFile(const Rynvel::MemoryDevice& row, HandOver& file) {
    const Map map = mapOf(row);
    if (map.size == 0) {
        return failed(row, isUio(row.m_type) ? "no memory map is described in sysfs" : "the mapping has no size");
    }
    if (map.offset >= map.size || map.size > UINT32_MAX) {
        return failed(row, "the memory map described in sysfs holds no registers");
    }
    if (!file.map(map.size)) {
        return failed(row, std::string("cannot be mapped: ") + std::strerror(errno));
    }
    return {"", static_cast<std::uint32_t>(map.size - map.offset)};
}

/** Opens the device file, and maps it where its backend does. */
Probe openFile(const Rynvel::MemoryDevice& row, std::optional<HandOver>& file) {
    const DeviceKind* const kind = findKind(row.m_type);
    if (kind == nullptr) {
        return failed(row, "no backend for its type");
    }
    if (kind->access == Access::Remote) {
        return failed(row, "a device of another server");
    }
    const int descriptor = ::open(row.m_devicePath.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor == -1) {
        return failed(row, std::strerror(errno));
    }
    file.emplace(row.m_devicePath, descriptor);
    if (kind->access != Access::Mapped) {
        return {};
    }
    try {
        return mapFile(row, *file);
    } catch (const std::exception&) {
        return failed(row, "an attribute of its memory map in sysfs is no number");
    }
}

} // namespace

OpenedDevice openDevice(const Rynvel::MemoryDevice& row) {
    std::optional<HandOver> file;
    Probe probe = openFile(row, file);
    auto device = probe.obstacle.empty() ? open(row, probe.mapSize) : nullptr;
    return {std::move(device), std::move(probe)};
}

bool isPresent(const Rynvel::MemoryDevice& row) { return ::access(row.m_devicePath.c_str(), F_OK) == 0; }

} // namespace Common
