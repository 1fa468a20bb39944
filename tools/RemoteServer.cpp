// SPDX-License-Identifier: MIT
#include "RemoteServer.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "Number.h"

namespace Rynvelctl {

namespace {

constexpr std::uint32_t largestPort = 65535;

/** Returns the separator of host and port; empty if there is no port, or if the address is malformed. */
std::string separatorIn(const std::string& address) {
    if (address.find("::") != std::string::npos) {
        return "::";
    }
    return std::count(address.begin(), address.end(), ':') == 1 ? ":" : "";
}

bool isLocal(const std::string& address) { return address.rfind(std::string(Common::localPrefix) + '/', 0) == 0; }

Common::ServerAddress parseLocal(const std::string& address) {
    const std::string path = address.substr(std::string(Common::localPrefix).size());
    if (path.size() > Common::longestLocalPath) {
        throw usageError("server address '" + address + "' is too long (the path of a socket has at most " +
                         std::to_string(Common::longestLocalPath) + " bytes)");
    }
    return {"", 0, path};
}

Common::ServerAddress parse(const std::string& address) {
    if (isLocal(address)) {
        return parseLocal(address);
    }
    const std::string separator = separatorIn(address);
    const std::size_t end = separator.empty() ? address.size() : address.find(separator);
    const std::string host = address.substr(0, end);
    if (host.empty() || host.find_first_of(": \t") != std::string::npos) {
        throw usageError("server address '" + address + "' is not HOST, HOST:PORT, HOST::PORT or unix:/PATH");
    }
    if (separator.empty()) {
        return {host, Common::defaultPort};
    }
    const std::string text = address.substr(end + separator.size());
    const auto port = Common::parseNumber(text, {}, largestPort);
    if (port.value_or(0) == 0) {
        throw usageError("port '" + text + "' is not a decimal number from 1 to " + std::to_string(largestPort));
    }
    const std::string_view remedy = Common::withoutLeadingZeros(text);
    if (!remedy.empty()) {
        throw usageError("port '" + text + "' has a leading zero (give " + std::string(remedy) + ')');
    }
    return {host, static_cast<std::uint16_t>(*port)};
}

} // namespace

RemoteServer::RemoteServer(const std::string& address, const CommandTimeout& timeout)
    : m_address(parse(address)), m_timeout(timeout) {}

std::string RemoteServer::name() const {
    return m_address.path.empty() ? m_address.host + "::" + std::to_string(m_address.port)
                                  : Common::localPrefix + m_address.path;
}

Common::DeadlineFactory RemoteServer::deadlines() const {
    return [timeout = m_timeout] { return timeout.answerDeadline(); };
}

bool RemoteServer::isAnswer(const Common::ExchangeError& error) {
    using Cause = Common::ExchangeError::Cause;
    return error.cause() == Cause::Refused || error.cause() == Cause::NotServed;
}

Failure RemoteServer::failure(const Common::ExchangeError& error, const std::string& refusal) const {
    using Cause = Common::ExchangeError::Cause;
    switch (error.cause()) {
    case Cause::Refused:
        return {ExitStatus::Failed, refusal};
    case Cause::Malformed:
        return {ExitStatus::Failed, name() + ": " + error.what()};
    case Cause::TimedOut:
        return {ExitStatus::TimedOut,
                name() + (m_hasAnswered && m_timeout.isLimited() ? ": timed out after " : ": no answer within ") +
                    m_timeout.limitText()};
    default:
        return {ExitStatus::Unreachable, name() + ": " + error.what()};
    }
}

} // namespace Rynvelctl
