// SPDX-License-Identifier: MIT
#include "Target.h"

#include <algorithm>
#include <tuple>

#include "DeviceList.h"
#include "DeviceName.h"
#include "Failure.h"

namespace Rynvelctl {

namespace {

using Common::DeviceTypeInfo;

constexpr std::size_t maxNameLength = std::tuple_size_v<decltype(Rynvel::RequestData::deviceName)> - 1;

const DeviceTypeInfo& typeOf(const Rynvel::MemoryDevice& row) {
    const DeviceTypeInfo* const type = Common::findDeviceTypeInfo(row.m_type);
    if (type == nullptr) {
        throw usageError(row.m_name + ": no backend supports the type of the device");
    }
    return *type;
}

const DeviceTypeInfo& typeOfLocalDevice(const std::string& name) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr) {
        throw usageError(name + ": no device on this machine has this name (give the type of the server's device "
                                "with --type)");
    }
    return typeOf(*row);
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

/** Returns all device types except the remote ones, because a server does not serve the devices of another server. */
std::vector<const DeviceTypeInfo*> serverDeviceTypes() {
    std::vector<const DeviceTypeInfo*> types;
    for (std::uint32_t number = 0;; ++number) {
        const DeviceTypeInfo* const type = Common::findDeviceTypeInfo(static_cast<Rynvel::DeviceType>(number));
        if (type == nullptr) {
            return types;
        }
        if (type->access != Common::AccessMethod::Remote) {
            types.push_back(type);
        }
    }
}

RemoteServer serverOf(const Rynvel::MemoryDevice& row, const CommandTimeout& timeout) {
    const std::string& address = row.m_devicePath;
    // The library treats an address with a single colon as a host name.
    if (address.find(':') != std::string::npos && address.find("::") == std::string::npos) {
        throw usageError(row.m_name + ": server address '" + address + "' is not HOST or HOST::PORT");
    }
    try {
        return {address, timeout};
    } catch (const Failure& failure) {
        throw Failure(failure.status(), row.m_name + ": " + failure.what());
    }
}

Target remoteRow(const Rynvel::MemoryDevice& row, const DeviceTypeInfo& type, const DeviceTypeInfo* givenType,
                 const CommandTimeout& timeout) {
    if (givenType != nullptr && givenType->width != type.width) {
        throw usageError(row.m_name + ": type " + givenType->name + " has " + std::to_string(givenType->width) +
                         "-bit registers (this " + type.name + " device needs " + std::to_string(type.width) +
                         " bits)");
    }
    requireValidName(row.m_name);
    return {row, givenType == nullptr ? type : *givenType, serverOf(row, timeout)};
}

} // namespace

const char* Target::typeName() const { return typeOf(row).name; }

Target localTarget(const std::string& name, const DeviceTypeInfo* givenType, const CommandTimeout& timeout) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr) {
        throw usageError(name + ": not a device of this machine ('rynvelctl list' shows the names)");
    }
    const DeviceTypeInfo& type = typeOf(*row);
    if (type.access == Common::AccessMethod::Remote) {
        return remoteRow(*row, type, givenType, timeout);
    }
    if (givenType != nullptr) {
        throw usageError(name + ": the device is on this machine (--type works only with remote devices)");
    }
    return {*row, type, std::nullopt};
}

void requireValidName(const std::string& name) {
    if (name.size() > maxNameLength) {
        throw usageError(name + ": the name is longer than " + std::to_string(maxNameLength) + " bytes");
    }
    if (std::any_of(name.begin(), name.end(), Common::isControlCharacter)) {
        throw usageError(name + ": the name contains a control character, which a server does not accept");
    }
}

Target remoteTarget(const std::string& name, const RemoteServer& server, const DeviceTypeInfo* givenType) {
    requireValidName(name);
    const DeviceTypeInfo& type = givenType == nullptr ? typeOfLocalDevice(name) : *givenType;
    return {{name, server.name(), 0, remoteType(type.width)}, type, server};
}

std::vector<std::string> serverDeviceTypeNames() {
    std::vector<std::string> names;
    for (const DeviceTypeInfo* const type : serverDeviceTypes()) {
        names.emplace_back(type->name);
    }
    return names;
}

const DeviceTypeInfo& parseType(const std::string& text) {
    std::string names;
    for (const DeviceTypeInfo* const type : serverDeviceTypes()) {
        if (text == type->name) {
            return *type;
        }
        names += (names.empty() ? "" : ", ") + std::string(type->name);
    }
    throw usageError("--type: '" + text + "' is not a device type of a server (" + names + ")");
}

} // namespace Rynvelctl
