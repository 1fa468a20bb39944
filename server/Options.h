/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The command line of the server.
 */
#ifndef RYNVELD_OPTIONS_H
#define RYNVELD_OPTIONS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <asio/ip/network_v4.hpp>
#include <asio/ip/tcp.hpp>
#include <sys/types.h>

#include "Audit.h"
#include "ExportedRegisters.h"
#include "Policy.h"

namespace Rynveld {

/** A local socket that the server creates. */
struct LocalAddress {
    std::string path;
    /** The permissions of the socket file. */
    mode_t mode = 0;
    /** The group of the socket file; none for the group of the server. */
    std::optional<gid_t> group;
};

struct Options {
    asio::ip::tcp::endpoint listen;
    /** The local socket on which the server listens, instead of the TCP address. */
    std::optional<LocalAddress> listenLocal;
    /** The networks from which clients may connect; empty for all networks. */
    std::vector<asio::ip::network_v4> allowed;
    std::size_t maxConnections = 256;
    /** The maximum number of connections of one host. docs/protocol.md defines a host. */
    std::size_t maxConnectionsPerHost = 0;
    /** The time without a request after which a connection ends, unless the connection is armed; 0 for never. */
    std::chrono::milliseconds idleTimeout{0};
    /** The interrupt periods of simulated devices, by device name. */
    std::map<std::string, std::chrono::milliseconds> interruptPeriods;
    Policy policy;
    /** The address on which the server serves its metrics; none for no metrics. */
    std::optional<asio::ip::tcp::endpoint> metrics;
    /** The registers that the metrics contain. */
    std::vector<ExportedRegister> exported;
    AuditOptions audit;
    /** The path of the file with further options; empty if there is none. */
    std::string file;
    /** The words of the command line. */
    std::vector<std::string> commandLine;
    /** The values of the options that cannot change while the server runs, as text, by the name of the option. */
    std::map<std::string, std::vector<std::string>> fixed;
};

/** Thrown if the user asks for help or the version. `text` is the text to print. */
struct InfoRequested {
    std::string text;
};

/**
 * Returns the options of a command line, and of the file that the command line names.
 *
 * @throws InfoRequested for --help and --version.
 * @throws std::invalid_argument if the command line or the file is wrong. what() says why, in one line. It begins with
 * FILE:LINE if a line of the file is wrong.
 */
Options parseOptions(int argc, const char* const* argv);

/**
 * Reads the options file of `running` again, and returns the new options.
 *
 * @throws std::invalid_argument as parseOptions() does, and if the file changes an option that cannot change while the
 * server runs.
 */
Options reloadedOptions(const Options& running);

} // namespace Rynveld

#endif
