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
    return options.isQuiet ? Format::Bare : Format::Text;
}

CommandTime timeOf(const GeneralOptions& options) {
    if (options.timeout.empty()) {
        return CommandTime(std::nullopt);
    }
    return CommandTime(parsePositiveDuration("timeout", options.timeout));
}

} // namespace

Session::Session(const GeneralOptions& options) : m_time(timeOf(options)), m_output(formatOf(options), m_time) {
    if (!options.remote.empty()) {
        m_server.emplace(options.remote, m_time);
    }
    if (!options.type.empty()) {
        m_type = &parseType(options.type);
    }
    setUpTraces(options.traces);
}

Target Session::target(const std::string& name) const {
    return m_server ? remoteTarget(name, *m_server, m_type) : localTarget(name, m_type, m_time);
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
    if (m_type != nullptr) {
        throw wrongUsage(std::string(command) + " does not work with --type");
    }
}

} // namespace Rynvelctl
