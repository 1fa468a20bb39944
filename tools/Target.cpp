#include "Target.h"

#include <algorithm>
#include <tuple>

#include "DeviceList.h"
#include "DeviceName.h"
#include "Failure.h"

namespace Rynvelctl {

namespace {

using Common::DeviceTypeInfo;

constexpr std::size_t longestName = std::tuple_size_v<decltype(Rynvel::RequestData::deviceName)> - 1;

const DeviceTypeInfo& kindOf(const Rynvel::MemoryDevice& row) {
    const DeviceTypeInfo* const kind = Common::findDeviceTypeInfo(row.m_type);
    if (kind == nullptr) {
        throw wrongUsage(row.m_name + ": there is no backend for its type");
    }
    return *kind;
}

const DeviceTypeInfo& kindHere(const std::string& name) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr) {
        throw wrongUsage("--type is needed: no device '" + name + "' is known here");
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

/** The types that a server's device may have: one of yet another server is not served. */
std::vector<const DeviceTypeInfo*> servedKinds() {
    std::vector<const DeviceTypeInfo*> kinds;
    for (std::uint32_t type = 0;; ++type) {
        const DeviceTypeInfo* const kind = Common::findDeviceTypeInfo(static_cast<Rynvel::DeviceType>(type));
        if (kind == nullptr) {
            return kinds;
        }
        if (kind->access != Common::Access::Remote) {
            kinds.push_back(kind);
        }
    }
}

// The library takes what has a single colon for the name of a host.
Server serverOf(const Rynvel::MemoryDevice& row, const CommandTime& time) {
    const std::string& address = row.m_devicePath;
    if (address.find(':') != std::string::npos && address.find("::") == std::string::npos) {
        throw wrongUsage(row.m_name + ": server '" + address + "' is not HOST or HOST::PORT");
    }
    try {
        return {address, time};
    } catch (const Failure& failure) {
        throw Failure(failure.status(), row.m_name + ": " + failure.what());
    }
}

Target remoteRow(const Rynvel::MemoryDevice& row, const DeviceTypeInfo& kind, const DeviceTypeInfo* type,
                 const CommandTime& time) {
    if (type != nullptr && type->width != kind.width) {
        throw wrongUsage(row.m_name + ": the registers of a " + type->name + " device do not have the " +
                         std::to_string(kind.width) + " bits of this " + kind.name + " device");
    }
    requireNameFits(row.m_name);
    return {row, type == nullptr ? kind : *type, serverOf(row, time)};
}

} // namespace

const char* Target::backend() const { return kindOf(row).name; }

Target localTarget(const std::string& name, const DeviceTypeInfo* type, const CommandTime& time) {
    const Rynvel::MemoryDevice* const row = Common::findDevice(name);
    if (row == nullptr) {
        throw wrongUsage("no device '" + name + "' (rynvelctl list shows them)");
    }
    const DeviceTypeInfo& kind = kindOf(*row);
    if (kind.access == Common::Access::Remote) {
        return remoteRow(*row, kind, type, time);
    }
    if (type != nullptr) {
        throw wrongUsage(name + ": --type is for remote devices, and this one is of this machine");
    }
    return {*row, kind, std::nullopt};
}

void requireNameFits(const std::string& name) {
    if (name.size() > longestName) {
        throw wrongUsage("the name '" + name + "' is longer than " + std::to_string(longestName) + " characters");
    }
    if (std::any_of(name.begin(), name.end(), Common::isControlCharacter)) {
        throw wrongUsage("the name of the device has a control character, which a server does not accept");
    }
}

Target remoteTarget(const std::string& name, const Server& server, const DeviceTypeInfo* type) {
    requireNameFits(name);
    const DeviceTypeInfo& kind = type == nullptr ? kindHere(name) : *type;
    return {{name, server.name(), 0, remoteType(kind.width)}, kind, server};
}

std::vector<std::string> servedTypes() {
    std::vector<std::string> names;
    for (const DeviceTypeInfo* const kind : servedKinds()) {
        names.emplace_back(kind->name);
    }
    return names;
}

const DeviceTypeInfo& parseType(const std::string& text) {
    std::string names;
    for (const DeviceTypeInfo* const kind : servedKinds()) {
        if (text == kind->name) {
            return *kind;
        }
        names += (names.empty() ? "" : ", ") + std::string(kind->name);
    }
    throw wrongUsage("type '" + text + "' is none of " + names);
}

} // namespace Rynvelctl
