// SPDX-License-Identifier: MIT
#include "Runtime.h"

#include <cstdlib>
#include <memory>
#include <utility>

#include <pthread.h>
#include <unistd.h>

#include "Configuration.h"
#include "Sinks.h"
#include "WriteLine.h"

namespace ziltrace {

namespace {

const char* const environmentVariable = "ZILTRACE";

void registerForkHandlers() {
    pthread_atfork([] { runtime().prepareFork(); }, [] { runtime().resumeParent(); }, [] { runtime().resumeChild(); });
}

Runtime& start() {
    auto started = std::make_unique<Runtime>();
    started->configureFromEnvironment();
    registerForkHandlers();
    return *started.release();
}

} // namespace

ZilTraceControl::Sink* Runtime::setSink(ZilTraceControl::Sink* sink) {
    const std::lock_guard<std::mutex> lock(m_changes);
    return m_sinks.setOverride(sink);
}

bool Runtime::configure(const std::string& specification, std::string& error) {
    const auto configuration = parseConfiguration(specification, error);
    if (!configuration) {
        return false;
    }
    std::unique_ptr<ZilTraceControl::Sink> sink;
    if (configuration->sink && !(sink = makeSink(*configuration->sink, error))) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(m_changes);
    m_registry.applyRules(configuration->rules);
    if (sink) {
        m_sinks.setConfigured(std::move(sink));
    }
    return true;
}

void Runtime::configureFromEnvironment() {
    // A set-user-ID program must not open a file that its caller names.
    const char* const value = secure_getenv(environmentVariable);
    std::string error;
    if (value != nullptr && !configure(value, error)) {
        writeLine(STDERR_FILENO, std::string("ziltrace: ") + environmentVariable + " ignored: " + error + '\n');
    }
}

void Runtime::prepareFork() {
    m_changes.lock();
    m_registry.mutex().lock();
}

void Runtime::resumeParent() {
    m_registry.mutex().unlock();
    m_changes.unlock();
}

void Runtime::resumeChild() {
    // The threads that used a sink in the parent do not exist in the child. prepareFork() cannot wait for these
    // threads, because a sink may block.
    m_sinks.resetAfterFork();
    resumeParent();
}

Runtime& runtime() {
    static Runtime& instance = start();
    return instance;
}

} // namespace ziltrace
