#include "Target.h"

#include <algorithm>
#include <tuple>

#include "DeviceList.h"
#include "DeviceName.h"
#include "Failure.h"

namespace Rynvelctl {

namespace {

using Common::DeviceKind;

constexpr std::size_t maxNameLength = std::tuple_size_v<decltype(Rynvel::RequestData::deviceName)> - 1;

const DeviceKind& kindOf(const Rynvel::MemoryDevice& row) {
    const DeviceKind* const kind = Common::findKind(row.m_type);
    if (kind == nullptr) {
        throw usageError(row.m_name + ": no backend supports the type of the device");
    }
    return *kind;
}

const DeviceKind& kindOfLocalDevice(const std::string& name) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr) {
        throw usageError(name + ": this machine has no such device (give the type on the server with --type)");
    }
    return kindOf(*row);
}

Rynvel::DeviceType remoteType(unsigned int width) {
    switch (width) {
    case 8:
        return Rynvel::DeviceType::Remote8;
    case 16:
        return Rynvel::DeviceType::Remote16;
    default:
        return Rynvel::DeviceType::Remote32;
    }
}

/** Returns all types except the remote ones: a server does not serve the devices of another server. */
std::vector<const DeviceKind*> serverDeviceKinds() {
    std::vector<const DeviceKind*> kinds;
    for (std::uint32_t type = 0;; ++type) {
        const DeviceKind* const kind = Common::findKind(static_cast<Rynvel::DeviceType>(type));
        if (kind == nullptr) {
            return kinds;
        }
        if (kind->access != Common::Access::Remote) {
            kinds.push_back(kind);
        }
    }
}

RemoteServer serverOf(const Rynvel::MemoryDevice& row, const CommandTimeout& timeout) {
    const std::string& address = row.m_devicePath;
    // The library takes an address with a single colon for a host name.
    if (address.find(':') != std::string::npos && address.find("::") == std::string::npos) {
        throw usageError(row.m_name + ": server address '" + address + "' is not HOST or HOST::PORT");
    }
    try {
        return {address, timeout};
    } catch (const Failure& failure) {
        throw Failure(failure.status(), row.m_name + ": " + failure.what());
    }
}

Target remoteRow(const Rynvel::MemoryDevice& row, const DeviceKind& kind, const DeviceKind* type,
                 const CommandTimeout& timeout) {
    if (type != nullptr && type->width != kind.width) {
        throw usageError(row.m_name + ": type " + type->name + " has " + std::to_string(type->width) +
                         "-bit registers (this " + kind.name + " device needs " + std::to_string(kind.width) +
                         " bits)");
    }
    requireValidName(row.m_name);
    return {row, type == nullptr ? kind : *type, serverOf(row, timeout)};
}

} // namespace

const char* Target::backend() const { return kindOf(row).name; }

Target localTarget(const std::string& name, const DeviceKind* type, const CommandTimeout& timeout) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr) {
        throw usageError(name + ": no such device ('rynvelctl list' shows the names)");
    }
    const DeviceKind& kind = kindOf(*row);
    if (kind.access == Common::Access::Remote) {
        return remoteRow(*row, kind, type, timeout);
    }
    if (type != nullptr) {
        throw usageError(name + ": the device is on this machine (--type works only with remote devices)");
    }
    return {*row, kind, std::nullopt};
}

void requireValidName(const std::string& name) {
    if (name.size() > maxNameLength) {
        throw usageError(name + ": the name is longer than " + std::to_string(maxNameLength) + " characters");
    }
    if (std::any_of(name.begin(), name.end(), Common::isControl)) {
        throw usageError(name + ": the name contains a control character, which a server does not accept");
    }
}

Target remoteTarget(const std::string& name, const RemoteServer& server, const DeviceKind* type) {
    requireValidName(name);
    const DeviceKind& kind = type == nullptr ? kindOfLocalDevice(name) : *type;
    return {{name, server.name(), 0, remoteType(kind.width)}, kind, server};
}

std::vector<std::string> serverDeviceTypes() {
    std::vector<std::string> names;
    for (const DeviceKind* const kind : serverDeviceKinds()) {
        names.emplace_back(kind->name);
    }
    return names;
}

const DeviceKind& parseType(const std::string& text) {
    std::string names;
    for (const DeviceKind* const kind : serverDeviceKinds()) {
        if (text == kind->name) {
            return *kind;
        }
        names += (names.empty() ? "" : ", ") + std::string(kind->name);
    }
    throw usageError("--type: '" + text + "' is not a device type of a server (" + names + ")");
}

} // namespace Rynvelctl
