// SPDX-License-Identifier: MIT
#include "DeviceProbe.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "DeviceTypeInfo.h"
#include "PreopenedFiles.h"

namespace Common {

namespace {

bool isUio(Rynvel::DeviceType type) { return type == Rynvel::DeviceType::Uio16 || type == Rynvel::DeviceType::Uio32; }

Probe failed(const Rynvel::MemoryDevice& row, const std::string& reason, int systemError = 0) {
    return {row.m_devicePath + ": " + reason, std::nullopt, systemError};
}

/** Opens the files of a device, maps a mapped device, and keeps the files and the map for the backend. */
class DeviceOpener {
public:
    explicit DeviceOpener(const Rynvel::MemoryDevice& row) : m_row(row) {}

    Probe open() {
        const int descriptor = m_files.open(m_row.m_devicePath, O_RDWR);
        return descriptor == -1 ? failedCall("") : Probe{};
    }

    Probe openMapped() {
        const int descriptor = m_files.open(m_row.m_devicePath, O_RDWR);
        if (descriptor == -1) {
            return failedCall("");
        }
        if (!isUio(m_row.m_type)) {
            return m_row.m_parameter == 0
                       ? failed("the size of the map is 0 (give the size in bytes in the device table)")
                       : map(descriptor, 0, m_row.m_parameter);
        }
        const auto offset = attribute("offset");
        const auto size = attribute("size");
        if (!offset || !size || *size == 0) {
            return failed(
                "sysfs describes no memory map (the path must be a symbolic link to a bare name such as uio0)");
        }
        if (*offset >= *size || *size > UINT32_MAX) {
            return failed(
                "the memory map in sysfs has an unusable size (must be greater than the offset and below 4 GiB)");
        }
        return map(descriptor, *offset, *size);
    }

    const PreopenedFiles& files() const { return m_files; }

private:
    Probe failed(const std::string& reason) const { return Common::failed(m_row, reason); }

    Probe failedCall(const std::string& action) const {
        const int error = errno;
        return Common::failed(m_row, action + std::strerror(error), error);
    }

    // Opens the attribute twice. The second open file is for the backend, which reads the attribute again, and uses 0
    // if it cannot read the attribute.
    std::optional<unsigned long> attribute(const std::string& name) {
        const std::string path = "/sys/class/uio/" + linkTarget() + "/maps/map0/" + name;
        const int forProbe = m_files.open(path, O_RDONLY);
        const int forLibrary = m_files.open(path, O_RDONLY);
        char first = 0;
        if (forProbe == -1 || forLibrary == -1 || ::pread(forProbe, &first, 1, 0) != 1 ||
            ::pread(forLibrary, &first, 1, 0) != 1) {
            return std::nullopt;
        }
        return Rynvel::Uio<std::uint32_t>::getMapData(m_row.m_devicePath, name);
    }

    std::string linkTarget() const {
        std::array<char, PATH_MAX> text{};
        const ssize_t size = ::readlink(m_row.m_devicePath.c_str(), text.data(), text.size());
        return {text.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
    }

    Probe map(int descriptor, unsigned long offset, unsigned long size) {
        if (!m_files.map(descriptor, size, offset)) {
            return failedCall("cannot be mapped: ");
        }
        return {"", static_cast<std::uint32_t>(size - offset)};
    }

    const Rynvel::MemoryDevice& m_row;
    PreopenedFiles m_files;
};

Probe openFiles(const Rynvel::MemoryDevice& row, std::optional<DeviceOpener>& opener) {
    const DeviceTypeInfo* const type = findDeviceTypeInfo(row.m_type);
    if (type == nullptr) {
        return failed(row, "the device type is not supported");
    }
    if (type->access == AccessMethod::Remote) {
        return failed(row, "a remote device has no device file");
    }
    opener.emplace(row);
    try {
        return type->access == AccessMethod::Mapped ? opener->openMapped() : opener->open();
    } catch (const std::logic_error&) {
        return failed(row, "an attribute of the memory map in sysfs is not a number, or is too large");
    }
}

} // namespace

OpenedDevice openDevice(const Rynvel::MemoryDevice& row) {
    std::optional<DeviceOpener> opener;
    Probe probe = openFiles(row, opener);
    if (!probe.reason.empty()) {
        return {nullptr, std::move(probe)};
    }
    auto device = open(row, probe.mapSize);
    if (opener->files().hasMapping()) {
        return {nullptr, failed(row, "the memory map in sysfs has changed (try again)")};
    }
    device->keepAlive(opener->files().takeRemainder());
    return {std::move(device), std::move(probe)};
}

bool deviceFileExists(const Rynvel::MemoryDevice& row) { return ::access(row.m_devicePath.c_str(), F_OK) == 0; }

} // namespace Common
