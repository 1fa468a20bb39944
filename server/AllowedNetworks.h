/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The networks from which clients may connect.
 */
#ifndef RYNVELD_ALLOWEDNETWORKS_H
#define RYNVELD_ALLOWEDNETWORKS_H

#include <optional>
#include <vector>

#include <asio/ip/address.hpp>
#include <asio/ip/network_v4.hpp>

namespace Rynveld {

/**
 * Returns the IPv4 address, also if an IPv6 address contains it; empty for an IPv6 address that contains none. A socket
 * that the service manager has passed may accept IPv4 and IPv6 addresses.
 */
std::optional<asio::ip::address_v4> v4Of(const asio::ip::address& address);

/** Returns whether one of the networks contains the address. Without networks, every address is allowed. */
bool isAllowed(const std::vector<asio::ip::network_v4>& networks, const asio::ip::address& address);

} // namespace Rynveld

#endif
