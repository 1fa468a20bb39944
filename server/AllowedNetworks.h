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
 * Returns the IPv4 address, even of an IPv4-mapped IPv6 address; empty for any other IPv6 address. A socket that the
 * service manager has passed may accept connections from IPv4 and IPv6 addresses.
 */
std::optional<asio::ip::address_v4> v4Of(const asio::ip::address& address);

/** Returns whether one of the networks contains the address. Without networks, every address is allowed. */
bool isAllowed(const std::vector<asio::ip::network_v4>& networks, const asio::ip::address& address);

} // namespace Rynveld

#endif
