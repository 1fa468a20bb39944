/**
 * @file
 * The device that a command is about, before it is opened.
 */
#ifndef RYNVELCTL_TARGET_H
#define RYNVELCTL_TARGET_H

#include <optional>
#include <string>
#include <vector>

#include <rynvel.hpp>

#include "CommandTime.h"
#include "DeviceTypeInfo.h"
#include "Server.h"

namespace Rynvelctl {

struct Target {
    Rynvel::MemoryDevice row;
    /** What takes the addresses: for a remote device that of the server's device, where it is known. */
    Common::DeviceTypeInfo kind;
    /** The server of a remote device. */
    std::optional<Server> server;

    const std::string& name() const { return row.m_name; }
    unsigned int width() const { return kind.width; }
    /** How the device is reached from here. */
    const char* backend() const;
};

/** @throws Failure when a name is longer than a request can take. */
void requireNameFits(const std::string& name);

/**
 * A device of this machine's table.
 *
 * @param type that of the server's device, when the table has a remote device; null when it is not given.
 * @throws Failure when there is no device of that name, or when the type does not fit it.
 */
Target localTarget(const std::string& name, const Common::DeviceTypeInfo* type, const CommandTime& time);

/**
 * A device at a server.
 *
 * @param type of the device there; when it is null, that of the device of that name on this machine.
 * @throws Failure when the type is not known, or when no record can carry the name.
 */
Target remoteTarget(const std::string& name, const Server& server, const Common::DeviceTypeInfo* type);

/** The names of the types that a server's device may have. */
std::vector<std::string> servedTypes();

/** @throws Failure when the text is none of them. */
const Common::DeviceTypeInfo& parseType(const std::string& text);

} // namespace Rynvelctl

#endif
