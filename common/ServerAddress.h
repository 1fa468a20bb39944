/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The address of a register server.
 */
#ifndef RYNVEL_COMMON_SERVERADDRESS_H
#define RYNVEL_COMMON_SERVERADDRESS_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace Common {

/** The port if a server address does not contain one. The remote devices of the library use the same default. */
constexpr std::uint16_t defaultPort = 8888;

struct ServerAddress {
    /** A host name, or an IPv4 address. */
    std::string host;
    /** The port, in host byte order. */
    std::uint16_t port;
    /** The absolute path of a local socket; empty for a server with a host and a port. */
    std::string path = {};
};

/** The text that precedes the path of a local socket on command lines. */
constexpr const char* localPrefix = "unix:";

/** The length in bytes of the longest path of a local socket. */
constexpr std::size_t longestLocalPath = 107;

/** Thrown if a text is not the address of a server. The text says why. */
class ServerAddressError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/**
 * Parses HOST, HOST:PORT, HOST::PORT or unix:/PATH.
 *
 * @throws ServerAddressError if the text is not an address.
 */
ServerAddress parseServerAddress(const std::string& text);

/** Returns HOST::PORT or unix:/PATH. */
std::string textOf(const ServerAddress& address);

} // namespace Common

#endif
