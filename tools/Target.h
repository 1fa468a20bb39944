/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The target device of a command, before the command opens it.
 */
#ifndef RYNVELCTL_TARGET_H
#define RYNVELCTL_TARGET_H

#include <rynvel.hpp>

#include <optional>
#include <string>
#include <vector>

#include "CommandTimeout.h"
#include "DeviceTypeInfo.h"
#include "RemoteServer.h"

namespace Rynvelctl {

struct Target {
    Rynvel::MemoryDevice row;
    /**
     * The properties of the device type. For a remote device, the properties are those of its type on the server, if
     * that type is known.
     */
    Common::DeviceTypeInfo type;
    /** The server of a remote device. */
    std::optional<RemoteServer> server;

    const std::string& name() const { return row.m_name; }
    unsigned int width() const { return type.width; }
    /** Returns the name of the device type in the row. */
    const char* typeName() const;
};

/** Checks a device name. @throws Failure if a request cannot contain the name. */
void requireValidName(const std::string& name);

/**
 * Finds a device in the device table of this machine.
 *
 * @param givenType the type that a remote device has on its server; null if the user has not given one.
 * @throws Failure if there is no device of that name, or if the type does not match the device.
 */
Target localTarget(const std::string& name, const Common::DeviceTypeInfo* givenType, const CommandTimeout& timeout);

/**
 * Returns the description of a device on a server.
 *
 * @param givenType the type on the server; null selects the type of the device with the same name on this machine.
 * @throws Failure if the type is unknown, or if a request cannot contain the name.
 */
Target remoteTarget(const std::string& name, const RemoteServer& server, const Common::DeviceTypeInfo* givenType);

/** Returns the names of the types that a device on a server can have. */
std::vector<std::string> serverDeviceTypeNames();

/** Returns the device type of this name. @throws Failure if the text is not one of serverDeviceTypeNames(). */
const Common::DeviceTypeInfo& parseType(const std::string& text);

} // namespace Rynvelctl

#endif
