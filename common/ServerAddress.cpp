// SPDX-License-Identifier: MIT
#include "ServerAddress.h"

#include <algorithm>
#include <string_view>

#include "Number.h"

namespace Common {

namespace {

constexpr std::uint32_t largestPort = 65535;

/** Returns the separator of host and port; empty if there is no port, or if the address is malformed. */
std::string separatorIn(const std::string& address) {
    if (address.find("::") != std::string::npos) {
        return "::";
    }
    return std::count(address.begin(), address.end(), ':') == 1 ? ":" : "";
}

bool isLocal(const std::string& address) { return address.rfind(std::string(localPrefix) + '/', 0) == 0; }

ServerAddress parseLocal(const std::string& address) {
    const std::string path = address.substr(std::string(localPrefix).size());
    if (path.size() > longestLocalPath) {
        throw ServerAddressError("server address '" + address + "' is too long (the path of a socket has at most " +
                                 std::to_string(longestLocalPath) + " bytes)");
    }
    return {"", 0, path};
}

} // namespace

ServerAddress parseServerAddress(const std::string& text) {
    if (isLocal(text)) {
        return parseLocal(text);
    }
    const std::string separator = separatorIn(text);
    const std::size_t end = separator.empty() ? text.size() : text.find(separator);
    const std::string host = text.substr(0, end);
    if (host.empty() || host.find_first_of(": \t") != std::string::npos) {
        throw ServerAddressError("server address '" + text + "' is not HOST, HOST:PORT, HOST::PORT or unix:/PATH");
    }
    if (separator.empty()) {
        return {host, defaultPort};
    }
    const std::string portText = text.substr(end + separator.size());
    const auto port = parseNumber(portText, {}, largestPort);
    if (port.value_or(0) == 0) {
        if (host + ':' == localPrefix) {
            throw ServerAddressError("server address '" + text +
                                     "' is not a local socket (give the absolute path of the socket: unix:/PATH)");
        }
        throw ServerAddressError("port '" + portText + "' is not a decimal number from 1 to " +
                                 std::to_string(largestPort));
    }
    const std::string_view hint = withoutLeadingZeros(portText);
    if (!hint.empty()) {
        throw ServerAddressError("port '" + portText + "' has a leading zero (give " + std::string(hint) + ')');
    }
    return {host, static_cast<std::uint16_t>(*port)};
}

std::string textOf(const ServerAddress& address) {
    return address.path.empty() ? address.host + "::" + std::to_string(address.port) : localPrefix + address.path;
}

} // namespace Common
