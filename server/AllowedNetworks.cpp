// SPDX-License-Identifier: MIT
#include "AllowedNetworks.h"

#include <algorithm>

namespace Rynveld {

std::optional<asio::ip::address_v4> v4Of(const asio::ip::address& address) {
    if (address.is_v4()) {
        return address.to_v4();
    }
    if (!address.to_v6().is_v4_mapped()) {
        return std::nullopt;
    }
    return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
}

bool isAllowed(const std::vector<asio::ip::network_v4>& networks, const asio::ip::address& address) {
    if (networks.empty()) {
        return true;
    }
    const auto host = v4Of(address);
    return host && std::any_of(networks.begin(), networks.end(), [&](const auto& network) {
               return asio::ip::network_v4(*host, network.prefix_length()).canonical() == network;
           });
}

} // namespace Rynveld
