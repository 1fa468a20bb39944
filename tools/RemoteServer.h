/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The register server of a command.
 */
#ifndef RYNVELCTL_REMOTESERVER_H
#define RYNVELCTL_REMOTESERVER_H

#include <exception>
#include <string>

#include "CommandTimeout.h"
#include "Failure.h"
#include "RecordConnection.h"

namespace Rynvelctl {

/**
 * The address of a register server. The error message of a failed call names the server, unless the server has refused
 * a request.
 */
class RemoteServer {
public:
    /**
     * @param address HOST, HOST:PORT, HOST::PORT or unix:/PATH; the default port is 8888.
     * @param timeout the time-out of the command.
     * @throws Failure if the text is not an address.
     */
    RemoteServer(const std::string& address, const CommandTimeout& timeout);

    const Common::ServerAddress& address() const { return m_address; }

    /** Returns HOST::PORT or unix:/PATH. */
    std::string name() const;

    /** Returns a function that returns the deadline for an answer to a request that is sent now. */
    Common::DeadlineFactory deadlines() const;

    /**
     * Calls an operation that exchanges records with the server, and returns its result.
     *
     * @param refusal the error message if the server refuses a request.
     * @throws Failure if the server refuses a request.
     * @throws UnansweredRequest, a Failure, if the server does not answer a request, or the answer is invalid. No
     * ExchangeError leaves the function.
     */
    template <typename Operation>
    auto call(const Operation& operation, const std::string& refusal) const {
        try {
            const AnswerRecorder recorder(m_hasAnswered);
            return operation();
        } catch (const Common::ExchangeError& error) {
            if (isAnswer(error)) {
                throw failure(error, refusal);
            }
            throw UnansweredRequest(failure(error, refusal));
        }
    }

private:
    /** Records whether an operation has ended without an exception. */
    class AnswerRecorder {
    public:
        explicit AnswerRecorder(bool& hasAnswered) : m_hasAnswered(hasAnswered) {}
        AnswerRecorder(const AnswerRecorder&) = delete;
        AnswerRecorder& operator=(const AnswerRecorder&) = delete;
        ~AnswerRecorder() { m_hasAnswered = m_hasAnswered || std::uncaught_exceptions() == m_exceptions; }

    private:
        bool& m_hasAnswered;
        const int m_exceptions = std::uncaught_exceptions();
    };

    /** Returns whether the server has answered the request, with an error. */
    static bool isAnswer(const Common::ExchangeError& error);

    Failure failure(const Common::ExchangeError& error, const std::string& refusal) const;

    Common::ServerAddress m_address;
    CommandTimeout m_timeout;
    /**
     * Whether the server has answered. After an answer, the message about the time-out of the command says that the
     * command has taken too long. Otherwise, the message about a time-out says that the server does not answer.
     */
    mutable bool m_hasAnswered = false;
};

} // namespace Rynvelctl

#endif
