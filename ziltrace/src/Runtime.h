/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_RUNTIME_H
#define ZILTRACE_RUNTIME_H

#include "ZilTraceControl.h"

#include <mutex>
#include <string>

#include "Registry.h"
#include "SinkSwitch.h"

namespace ziltrace {

/** The channels, the configuration and the sinks of a process. You may call all functions from any thread. */
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
    // A thread locks this mutex before the mutexes of the registry and the sinks. Log functions lock only the mutex of
    // the sinks.
    std::mutex m_changes;
    Registry m_registry;
    SinkSwitch m_sinks;
};

/**
 * Returns the runtime of this process, configured from the environment. The runtime is never destroyed, because threads
 * and static objects may trace until the end of the process.
 */
Runtime& runtime();

} // namespace ziltrace

#endif
