#ifndef ZILTRACE_RUNTIME_H
#define ZILTRACE_RUNTIME_H

#include "Registry.h"
#include "SinkSwitch.h"
#include "ZilTraceControl.h"

#include <mutex>
#include <string>

namespace ziltrace {

class Runtime {
public:
    Registry& registry() { return m_registry; }

    void write(const ZilTraceControl::Record& record) { m_sinks.write(record); }
    ZilTraceControl::Sink* setSink(ZilTraceControl::Sink* sink);

    bool configure(const std::string& specification, std::string& error);
    void configureFromEnvironment();

    void prepareFork();
    void resumeParent();
    void resumeChild();

private:
    // Taken before the mutexes of the registry and of the sinks. Tracing takes only the latter.
    std::mutex m_changes;
    Registry m_registry;
    SinkSwitch m_sinks;
};

/// The state of this process, configured from the environment. It is never destroyed: threads and static objects may
/// trace until the very end of the process.
Runtime& runtime();

} // namespace ziltrace

#endif
