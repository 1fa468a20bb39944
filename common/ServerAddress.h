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

/** The port of an address that has none. The library's remote devices use the same default. */
constexpr std::uint16_t defaultPort = 8888;

struct ServerAddress {
    /** A host name, or an IPv4 address. */
    std::string host;
    /** In host byte order. */
    std::uint16_t port;
};

} // namespace Common

#endif
