/**
 * @file
 * The device that a command is about, before it is opened.
 */
#ifndef RYNVELCTL_SUBJECT_H
#define RYNVELCTL_SUBJECT_H

#include <optional>
#include <string>

#include <rynvel.hpp>

#include "DeviceKind.h"
#include "Server.h"

namespace Rynvelctl {

struct Subject {
    Rynvel::MemoryDevice row;
    Inventory::DeviceKind kind;
    /** The server of a remote device. */
    std::optional<Server> server;

    const std::string& name() const { return row.m_name; }
    unsigned int width() const { return kind.width; }
};

/** @throws Failure when a name is longer than a request can take. */
void requireNameFits(const std::string& name);

/** A device of this machine. @throws Failure when there is no device of that name. */
Subject localSubject(const std::string& name);

/**
 * A device at a server.
 *
 * @param width bits of its registers; when there is none, those of the device of that name on this machine.
 * @throws Failure when the width is not known, or when no record can carry the name.
 */
Subject remoteSubject(const std::string& name, const Server& server, std::optional<unsigned int> width);

/** @throws Failure when the text is none of 8, 16 and 32. */
unsigned int parseWidth(const std::string& text);

} // namespace Rynvelctl

#endif
