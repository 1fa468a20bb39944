/**
 * @file
 * The register server that the user names.
 */
#ifndef RYNVELCTL_SERVER_H
#define RYNVELCTL_SERVER_H

#include <exception>
#include <string>

#include "CommandTime.h"
#include "Failure.h"
#include "RecordConnection.h"

namespace Rynvelctl {

class Server {
public:
    /**
     * @param address HOST, HOST:PORT or HOST::PORT; the port is 8888 when there is none.
     * @param time the command's.
     * @throws Failure when the text is no address.
     */
    Server(const std::string& address, const CommandTime& time);

    const Common::ServerAddress& address() const { return m_address; }

    /** HOST::PORT. */
    std::string name() const;

    /** When the server must have answered. */
    Common::DeadlineFactory deadlines() const;

    /**
     * Calls what exchanges records with the server.
     *
     * @param refused what the user reads when the server refuses a request.
     * @throws Failure in place of an ExchangeError.
     */
    template <typename Calls>
    auto ask(const Calls& calls, const std::string& refused) const {
        try {
            const AnswerMark mark(m_hasAnswered);
            return calls();
        } catch (const Common::ExchangeError& error) {
            throw failure(error, refused);
        }
    }

private:
    /** Notes that calls have ended without an exception. */
    class AnswerMark {
    public:
        explicit AnswerMark(bool& hasAnswered) : m_hasAnswered(hasAnswered) {}
        AnswerMark(const AnswerMark&) = delete;
        AnswerMark& operator=(const AnswerMark&) = delete;
        ~AnswerMark() { m_hasAnswered = m_hasAnswered || std::uncaught_exceptions() == m_exceptions; }

    private:
        bool& m_hasAnswered;
        const int m_exceptions = std::uncaught_exceptions();
    };

    Failure failure(const Common::ExchangeError& error, const std::string& refused) const;

    Common::ServerAddress m_address;
    CommandTime m_time;
    /** A server that has answered is not silent: the command takes too long. */
    mutable bool m_hasAnswered = false;
};

} // namespace Rynvelctl

#endif
