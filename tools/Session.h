/**
 * @file
 * What the general options say, which every command obeys.
 */
#ifndef RYNVELCTL_SESSION_H
#define RYNVELCTL_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include "Output.h"
#include "Server.h"
#include "Subject.h"

namespace Rynvelctl {

/** The general options as they were given. */
struct GeneralOptions {
    bool isQuiet = false;
    bool isJson = false;
    std::string remote;
    std::string width;
    std::string timeout = "5s";
    std::vector<std::string> traces;
};

class Session {
public:
    /** Sets up the traces, too. @throws Failure when an option is wrong. */
    explicit Session(const GeneralOptions& options);

    const Output& output() const { return m_output; }

    /** The device of that name, here or at the server. @throws Failure */
    Subject subject(const std::string& name) const;

    /** @throws Failure when no server is named. */
    const Server& server(const char* command) const;

    /** @throws Failure when a server is named. */
    void requireLocal(const char* command) const;

private:
    Output m_output;
    std::optional<Server> m_server;
    std::optional<unsigned int> m_width;
};

} // namespace Rynvelctl

#endif
