/**
 * @file
 * The command line of the server.
 */
#ifndef RYNVELD_OPTIONS_H
#define RYNVELD_OPTIONS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <asio/ip/network_v4.hpp>
#include <asio/ip/tcp.hpp>

#include "Policy.h"

namespace Rynveld {

struct Options {
    asio::ip::tcp::endpoint listen;
    /** The networks that clients may come from; any when it is empty. */
    std::vector<asio::ip::network_v4> allowed;
    std::size_t maxConnections = 256;
    /** Those from one address. */
    std::size_t maxConnectionsPerHost = 0;
    /** 0 for never. */
    std::chrono::milliseconds idleTimeout{0};
    /** The period of the interrupts of simulated devices, by name. */
    std::map<std::string, std::chrono::milliseconds> interruptPeriods;
    Policy policy;
};

/** The command line asks for no server: the text to print is in what(). */
struct InfoRequested {
    std::string text;
};

/**
 * @throws InfoRequested for --help and --version.
 * @throws std::invalid_argument for a wrong command line, with one line that says what is wrong.
 */
Options parseOptions(int argc, const char* const* argv);

} // namespace Rynveld

#endif
