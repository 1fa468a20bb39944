#include "Session.h"

#include "Durations.h"
#include "Failure.h"
#include "Tracing.h"

namespace Rynvelctl {

namespace {

Format formatOf(const GeneralOptions& options) {
    if (options.isJson) {
        return Format::Json;
    }
    return options.isQuiet ? Format::Quiet : Format::Plain;
}

} // namespace

Session::Session(const GeneralOptions& options) : m_output(formatOf(options)) {
    const auto patience = parsePositiveDuration("timeout", options.timeout);
    if (!options.remote.empty()) {
        m_server.emplace(options.remote, patience);
    }
    if (!options.width.empty()) {
        m_width = parseWidth(options.width);
    }
    setUpTraces(options.traces);
}

Subject Session::subject(const std::string& name) const {
    return m_server ? remoteSubject(name, *m_server, m_width) : localSubject(name);
}

const Server& Session::server(const char* command) const {
    if (!m_server) {
        throw wrongUsage(std::string(command) + " needs --remote");
    }
    return *m_server;
}

void Session::requireLocal(const char* command) const {
    if (m_server) {
        throw wrongUsage(std::string(command) + " does not work with --remote");
    }
}

} // namespace Rynvelctl
