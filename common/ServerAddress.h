/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The address of a register server.
 */
#ifndef RYNVEL_COMMON_SERVERADDRESS_H
#define RYNVEL_COMMON_SERVERADDRESS_H

#include <cstddef>
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
    /** The absolute path of a local socket. If it is empty, the server has the host and the port. */
    std::string path = {};
};

/** The text that precedes the path of a local socket on command lines. */
constexpr const char* localPrefix = "unix:";

/** The length of the longest path of a local socket. */
constexpr std::size_t longestLocalPath = 107;

} // namespace Common

#endif
