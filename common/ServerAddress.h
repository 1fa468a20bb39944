/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The address of a register server.
 */
#ifndef RYNVEL_COMMON_SERVERADDRESS_H
#define RYNVEL_COMMON_SERVERADDRESS_H

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
};

/** Thrown if a text is not the address of a server. The text says why. */
class ServerAddressError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/**
 * Parses HOST, HOST:PORT or HOST::PORT.
 *
 * @throws ServerAddressError if the text is not an address.
 */
ServerAddress parseServerAddress(const std::string& text);

/** Returns HOST::PORT. */
std::string textOf(const ServerAddress& address);

} // namespace Common

#endif
