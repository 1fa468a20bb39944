#include "Server.h"

#include <algorithm>
#include <cstdint>

#include "Numbers.h"

namespace Rynvelctl {

namespace {

constexpr std::uint32_t largestPort = 65535;

/** The colons between host and port; none when there is no port, or when they are no separator. */
std::string separatorIn(const std::string& address) {
    if (address.find("::") != std::string::npos) {
        return "::";
    }
    return std::count(address.begin(), address.end(), ':') == 1 ? ":" : "";
}

Common::ServerAddress parse(const std::string& address) {
    const std::string separator = separatorIn(address);
    const std::size_t end = separator.empty() ? address.size() : address.find(separator);
    const std::string host = address.substr(0, end);
    if (host.empty() || host.find(':') != std::string::npos) {
        throw wrongUsage("server '" + address + "' is not HOST, HOST:PORT or HOST::PORT");
    }
    if (separator.empty()) {
        return {host, Common::defaultPort};
    }
    const std::string port = address.substr(end + separator.size());
    if (port.find_first_not_of("0123456789") != std::string::npos) {
        throw wrongUsage("port '" + port + "' is not a decimal number from 1 to " + std::to_string(largestPort));
    }
    return {host, static_cast<std::uint16_t>(parseCount("port", port, largestPort))};
}

} // namespace

Server::Server(const std::string& address, const CommandTime& time) : m_address(parse(address)), m_time(time) {}

std::string Server::name() const { return m_address.host + "::" + std::to_string(m_address.port); }

Common::DeadlineFactory Server::deadlines() const {
    return [time = m_time] { return time.answerDeadline(); };
}

Failure Server::failure(const Common::ExchangeError& error, const std::string& refused) const {
    using Cause = Common::ExchangeError::Cause;
    switch (error.cause()) {
    case Cause::Refused:
        return {ExitStatus::Failed, refused};
    case Cause::Malformed:
        return {ExitStatus::Failed, name() + ": " + error.what()};
    case Cause::TimedOut:
        return {ExitStatus::TimedOut, name() + (m_hasAnswered && m_time.isLimited() ? ": not done" : ": no answer") +
                                          " within " + m_time.limit()};
    default:
        return {ExitStatus::Unreachable, name() + ": " + error.what()};
    }
}

} // namespace Rynvelctl
