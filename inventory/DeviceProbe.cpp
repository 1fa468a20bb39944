#include "DeviceProbe.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "DeviceKind.h"

namespace Inventory {

namespace {

/** A device file open for reading and writing, as the backends open it. */
class DeviceFile {
public:
    explicit DeviceFile(const std::string& path) : m_fd(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {}
    DeviceFile(const DeviceFile&) = delete;
    DeviceFile& operator=(const DeviceFile&) = delete;
    ~DeviceFile() {
        if (m_fd != -1) {
            ::close(m_fd);
        }
    }

    bool isOpen() const { return m_fd != -1; }

    bool canBeMapped(std::size_t size) const {
        void* const start = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        return start != MAP_FAILED && ::munmap(start, size) == 0;
    }

private:
    const int m_fd;
};

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

Probe probeMapping(const Rynvel::MemoryDevice& row, const DeviceFile& file) {
    const Map map = mapOf(row);
    if (map.size == 0) {
        return failed(row, isUio(row.m_type) ? "no memory map is described in sysfs" : "the mapping has no size");
    }
    if (map.offset >= map.size || map.size > UINT32_MAX) {
        return failed(row, "the memory map described in sysfs holds no registers");
    }
    if (!file.canBeMapped(map.size)) {
        return failed(row, std::string("cannot be mapped: ") + std::strerror(errno));
    }
    return {"", static_cast<std::uint32_t>(map.size - map.offset)};
}

} // namespace

Probe probe(const Rynvel::MemoryDevice& row) {
    const DeviceKind* const kind = findKind(row.m_type);
    if (kind == nullptr) {
        return failed(row, "no backend for its type");
    }
    if (kind->access == Access::Remote) {
        return {};
    }
    const DeviceFile file(row.m_devicePath);
    if (!file.isOpen()) {
        return failed(row, std::strerror(errno));
    }
    if (kind->access != Access::Mapped) {
        return {};
    }
    try {
        return probeMapping(row, file);
    } catch (const std::exception&) {
        return failed(row, "an attribute of its memory map in sysfs is no number");
    }
}

bool isPresent(const Rynvel::MemoryDevice& row) { return ::access(row.m_devicePath.c_str(), F_OK) == 0; }

} // namespace Inventory
