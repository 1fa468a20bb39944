/* SPDX-License-Identifier: MIT */
/**
 * @file
 * TCP ports on which the server listens.
 */
#ifndef RYNVELD_TCPLISTENER_H
#define RYNVELD_TCPLISTENER_H

#include <sstream>
#include <string>
#include <system_error>

#include <asio/ip/tcp.hpp>

namespace Rynveld {

/** Returns the text ADDRESS:PORT. */
inline std::string textOf(const asio::ip::tcp::endpoint& endpoint) {
    std::ostringstream text;
    text << endpoint;
    return text.str();
}

/**
 * Opens an acceptor, and makes it listen on an address.
 *
 * @throws std::system_error if the acceptor cannot listen. what() begins with the address.
 */
template <typename Acceptor>
void listenOn(Acceptor& acceptor, const asio::ip::tcp::endpoint& endpoint) {
    try {
        acceptor.open(endpoint.protocol());
        acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), textOf(endpoint) + ": cannot listen");
    }
}

} // namespace Rynveld

#endif
