/**
 * @file
 * Where a register server is.
 */
#ifndef RYNVEL_COMMON_SERVERADDRESS_H
#define RYNVEL_COMMON_SERVERADDRESS_H

#include <cstdint>
#include <string>

namespace Common {

/** The port of a server that is named without one; that of the library's remote devices, too. */
constexpr std::uint16_t defaultPort = 8888;

struct ServerAddress {
    /** A name, or an IPv4 address. */
    std::string host;
    /** In host byte order. */
    std::uint16_t port;
};

} // namespace Common

#endif
