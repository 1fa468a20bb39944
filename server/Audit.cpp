// SPDX-License-Identifier: MIT
#include "Audit.h"

#include <rynvel.h>

#include <stdexcept>
#include <system_error>
#include <utility>

#include <time.h>

#include "AuditFile.h"
#include "AuditJournal.h"
#include "StandardError.h"

namespace Rynveld {

namespace {

const char* consequenceOf(Audit::OnError onError) {
    switch (onError) {
    case Audit::OnError::RefuseWrites:
        return "the server refuses writes";
    case Audit::OnError::Stop:
        return "the server stops";
    case Audit::OnError::Continue:
        break;
    }
    return "the server continues without it";
}

} // namespace

std::unique_ptr<AuditSink> openAuditSink(const std::string& target) {
    if (target == "journal") {
        return std::make_unique<AuditJournal>();
    }
    return std::make_unique<AuditFile>(target);
}

Audit::Audit(std::unique_ptr<AuditSink> sink, OnError onError, std::function<void()> stop)
    : m_sink(std::move(sink)), m_onError(onError), m_stop(std::move(stop)) {}

bool Audit::permitsChanges() {
    if (!m_hasFailed) {
        return true;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    return writeWaiting() || m_onError == OnError::Continue;
}

bool Audit::record(const AuditLine& line) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool isWorking = writeWaiting();
    const std::string& text = finished(line);
    if (isWorking && write(text)) {
        return true;
    }
    if (m_waiting.size() < maxWaiting) {
        m_waiting.push_back(text);
    } else {
        ++m_lost;
    }
    return m_onError == OnError::Continue;
}

void Audit::reopen() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    writeWaiting();
    try {
        m_sink->reopen();
    } catch (const std::runtime_error& error) {
        writeMessage(std::string(error.what()) + " (the server continues to write the old file)");
    }
}

const std::string& Audit::finished(const AuditLine& line) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    m_line = R"({"number":)";
    appendNumber(m_line, ++m_lines);
    m_line += R"(,"time":")";
    m_utc.append(m_line, now);
    m_line.append(R"(",)").append(line.members()).append("}\n");
    return m_line;
}

bool Audit::write(const std::string& line) {
    const int error = m_sink->write(line);
    if (error != 0) {
        fail(error);
    }
    return error == 0;
}

bool Audit::writeWaiting() {
    while (!m_waiting.empty() || m_lost > 0) {
        if (m_waiting.empty()) {
            m_waiting.push_back(finished(AuditLine().add("operation", "lost").add("count", std::exchange(m_lost, 0))));
        }
        if (!write(m_waiting.front())) {
            return false;
        }
        m_waiting.pop_front();
    }
    if (m_hasFailed.exchange(false)) {
        writeMessage(m_sink->name() + ": the audit can be written again");
    }
    return true;
}

void Audit::fail(int error) {
    if (!m_hasFailed.exchange(true)) {
        writeMessage(m_sink->name() + ": cannot write the audit: " + std::generic_category().message(error) + " (" +
                     consequenceOf(m_onError) + ')');
    }
    if (m_onError == OnError::Stop) {
        m_stop();
    }
}

std::unique_ptr<Audit> makeAudit(const AuditOptions& options, std::function<void()> stop) {
    if (options.target.empty()) {
        return nullptr;
    }
    auto audit = std::make_unique<Audit>(openAuditSink(options.target), options.onError, std::move(stop));
    audit->record(AuditLine().add("operation", "start").add("version", RYNVEL_VERSION));
    return audit;
}

} // namespace Rynveld
