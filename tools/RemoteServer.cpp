// SPDX-License-Identifier: MIT
#include "RemoteServer.h"

namespace Rynvelctl {

namespace {

Common::ServerAddress parse(const std::string& address) {
    try {
        return Common::parseServerAddress(address);
    } catch (const Common::ServerAddressError& error) {
        throw usageError(error.what());
    }
}

} // namespace

RemoteServer::RemoteServer(const std::string& address, const CommandTimeout& timeout)
    : m_address(parse(address)), m_timeout(timeout) {}

std::string RemoteServer::name() const { return Common::textOf(m_address); }

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
