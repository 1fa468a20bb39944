/**
 * @file
 * What the general options say, which every command obeys.
 */
#ifndef RYNVELCTL_SESSION_H
#define RYNVELCTL_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include "CommandTime.h"
#include "Output.h"
#include "Server.h"
#include "Target.h"

namespace Rynvelctl {

/** The general options as they were given. */
struct GeneralOptions {
    bool isQuiet = false;
    bool isJson = false;
    std::string remote;
    std::string type;
    std::string timeout;
    std::vector<std::string> traces;
};

class Session {
public:
    /** Sets up the traces, too. @throws Failure when an option is wrong. */
    explicit Session(const GeneralOptions& options);

    const Output& output() const { return m_output; }

    const CommandTime& time() const { return m_time; }

    /** The device of that name, here or at the server. @throws Failure */
    Target target(const std::string& name) const;

    /** @throws Failure when no server is named. */
    const Server& server(const char* command) const;

    /** @throws Failure when a remote device is described. */
    void requireLocal(const char* command) const;

private:
    CommandTime m_time;
    Output m_output;
    std::optional<Server> m_server;
    const Common::DeviceTypeInfo* m_type = nullptr;
};

} // namespace Rynvelctl

#endif
