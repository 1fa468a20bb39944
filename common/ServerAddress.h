/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The address of a register server.
 */
#ifndef RYNVEL_COMMON_SERVERADDRESS_H
#define RYNVEL_COMMON_SERVERADDRESS_H

#include <cstdint>
#include <string>

namespace Common {

/** The port if a server address does not contain one. The remote devices of the library use the same default. */
constexpr std::uint16_t defaultPort = 8888;

struct ServerAddress {
    /** A host name, or an IPv4 address. */
    std::string host;
    /** The port, in host byte order. */
    std::uint16_t port;
};

} // namespace Common

#endif
