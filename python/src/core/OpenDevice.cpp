// SPDX-License-Identifier: MIT
#include "OpenDevice.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "DeviceList.h"
#include "DeviceName.h"
#include "Errors.h"
#include "NearestName.h"
#include "RegisterWord.h"
#include "ServerAddress.h"

namespace RynvelPython {

namespace {

using Common::DeviceTypeInfo;

constexpr std::size_t maxNameLength = 127;

/** Returns the name with an escape sequence in place of each character that is not printable. */
std::string quoted(const std::string& name) {
    std::string text = "'";
    for (const char character : name) {
        constexpr const char* digits = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(character);
        if (Common::isControlCharacter(character)) {
            text += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
        } else {
            text += character;
        }
    }
    return text + "'";
}

std::vector<std::string> namesOfDevices() {
    std::vector<std::string> names;
    for (const auto& row : Common::devices()) {
        names.push_back(row.m_name);
    }
    return names;
}

OperationError unknownDevice(const std::string& name, const std::string& hint) {
    const std::string question = Common::didYouMean(Common::nearestNames(name, namesOfDevices()));
    return {ErrorKind::UnknownDevice,
            quoted(name) + ": no device has this name (" + (question.empty() ? hint : question) + ')'};
}

const Rynvel::MemoryDevice* findRow(const std::string& name) {
    try {
        return Common::findDevice(name);
    } catch (const Common::DeviceTableMismatch& mismatch) {
        throw OperationError(ErrorKind::Error, mismatch.what());
    }
}

const DeviceTypeInfo& typeOf(const Rynvel::MemoryDevice& row) {
    const DeviceTypeInfo* const type = Common::findDeviceTypeInfo(row.m_type);
    if (type == nullptr) {
        throw OperationError(ErrorKind::Unsupported, row.m_name + ": no backend supports the type of the device");
    }
    return *type;
}

const DeviceTypeInfo& parseType(const std::string& name) {
    std::string names;
    for (std::uint32_t number = 0;; ++number) {
        const DeviceTypeInfo* const type = Common::findDeviceTypeInfo(static_cast<Rynvel::DeviceType>(number));
        if (type == nullptr) {
            throw OperationError(ErrorKind::Value,
                                 "type: " + quoted(name) + " is not a device type of a server (" + names + ')');
        }
        if (type->access == Common::AccessMethod::Remote) {
            continue;
        }
        if (name == type->name) {
            return *type;
        }
        names += (names.empty() ? "" : ", ") + std::string(type->name);
    }
}

void requireValidName(const std::string& name) {
    if (name.size() > maxNameLength) {
        throw OperationError(ErrorKind::UnknownDevice,
                             quoted(name) + ": the name is longer than " + std::to_string(maxNameLength) + " bytes");
    }
    if (std::any_of(name.begin(), name.end(), Common::isControlCharacter)) {
        throw OperationError(ErrorKind::UnknownDevice,
                             quoted(name) + ": the name contains a control character, which no server accepts");
    }
}

std::shared_ptr<OpenDevice> openOnServer(const OpenRequest& request, const std::string& server) {
    requireValidName(request.name);
    if (request.type) {
        return openRemote(request.name, server, parseType(*request.type), true, request.timeout);
    }
    const Rynvel::MemoryDevice* const row = findRow(request.name);
    if (row == nullptr) {
        throw unknownDevice(request.name, "give the type of the server's device with type=");
    }
    const DeviceTypeInfo& type = typeOf(*row);
    return openRemote(request.name, server, type, type.access != Common::AccessMethod::Remote, request.timeout);
}

// The library treats an address with a single colon as a host name.
void requireAddressOfRow(const Rynvel::MemoryDevice& row) {
    const std::string& address = row.m_devicePath;
    if (address.find(':') != std::string::npos && address.find("::") == std::string::npos) {
        throw OperationError(ErrorKind::Value,
                             row.m_name + ": server address '" + address + "' is not HOST or HOST::PORT");
    }
}

std::shared_ptr<OpenDevice> openRemoteRow(const Rynvel::MemoryDevice& row, const DeviceTypeInfo& rowType,
                                          const OpenRequest& request) {
    requireAddressOfRow(row);
    if (!request.type) {
        return openRemote(row.m_name, row.m_devicePath, rowType, false, request.timeout);
    }
    const DeviceTypeInfo& type = parseType(*request.type);
    if (type.width != rowType.width) {
        throw OperationError(ErrorKind::Width, row.m_name + ": type " + type.name + " has " +
                                                   std::to_string(type.width) + "-bit registers (this " + rowType.name +
                                                   " device needs " + std::to_string(rowType.width) + " bits)");
    }
    return openRemote(row.m_name, row.m_devicePath, type, true, request.timeout);
}

} // namespace

std::shared_ptr<OpenDevice> openDevice(const OpenRequest& request) {
    if (request.server) {
        return openOnServer(request, *request.server);
    }
    const Rynvel::MemoryDevice* const row = findRow(request.name);
    if (row == nullptr) {
        throw unknownDevice(request.name, "rynvel.devices() lists the names");
    }
    const DeviceTypeInfo& type = typeOf(*row);
    if (type.access == Common::AccessMethod::Remote) {
        return openRemoteRow(*row, type, request);
    }
    if (request.type) {
        throw OperationError(ErrorKind::Value,
                             row->m_name + ": the device is on this machine (type= works only with remote devices)");
    }
    return openLocal(*row, type);
}

void storeRegister(void* registers, std::uint32_t index, unsigned int width, std::uint32_t value, bool isReversed) {
    const auto order = isReversed ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
    Common::withRegisterType(width, [&](auto zero) {
        const auto item = static_cast<decltype(zero)>(Common::inByteOrder(value, width, order));
        std::memcpy(static_cast<char*>(registers) + std::size_t{index} * sizeof(item), &item, sizeof(item));
    });
}

std::uint32_t loadRegister(const void* registers, std::uint32_t index, unsigned int width, bool isReversed) {
    const auto order = isReversed ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
    return Common::withRegisterType(width, [&](auto item) {
        std::memcpy(&item, static_cast<const char*>(registers) + std::size_t{index} * sizeof(item), sizeof(item));
        return Common::inByteOrder(item, width, order);
    });
}

} // namespace RynvelPython
