/**
 * @file
 * The register server that the user names.
 */
#ifndef RYNVELCTL_SERVER_H
#define RYNVELCTL_SERVER_H

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
    Common::Deadlines deadlines() const;

    /**
     * Calls what exchanges records with the server.
     *
     * @param refused what the user reads when the server refuses a request.
     * @throws Failure in place of an ExchangeError.
     */
    template <typename Calls>
    auto ask(const Calls& calls, const std::string& refused) const {
        try {
            return calls();
        } catch (const Common::ExchangeError& error) {
            throw failure(error, refused);
        }
    }

private:
    Failure failure(const Common::ExchangeError& error, const std::string& refused) const;

    Common::ServerAddress m_address;
    CommandTime m_time;
};

} // namespace Rynvelctl

#endif
