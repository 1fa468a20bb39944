/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The audit: who has changed what.
 */
#ifndef RYNVELD_AUDIT_H
#define RYNVELD_AUDIT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "AuditLine.h"
#include "AuditSink.h"

namespace Rynveld {

struct AuditOptions {
    /** What the server does while it cannot write the audit. */
    enum class OnError { RefuseWrites, Stop, Continue };

    /** The path of a file, or "journal"; empty for no audit. */
    std::string target;
    /** Whether the audit contains the values of registers before and after a write. */
    bool withOldValues = false;
    OnError onError = OnError::RefuseWrites;
};

/**
 * Writes the lines of the audit, one after the other. Each line has a number. If the sink fails, keeps a limited number
 * of lines until the sink works again, and counts the others. Reports the failure and its end on standard error.
 *
 * Threads: any number may use the object at once.
 */
class Audit {
public:
    using OnError = AuditOptions::OnError;

    /** The maximum number of lines that wait for the sink. */
    static constexpr std::size_t maxWaiting = 1000;

    /** @param stop is called when a line cannot be written and `onError` is Stop. It may be called more than once. */
    Audit(std::unique_ptr<AuditSink> sink, OnError onError, std::function<void()> stop);

    /** Tries to write the waiting lines. Returns whether operations that change a device may begin. */
    bool permitsChanges();

    /**
     * Writes a line with its number and its time.
     *
     * @return whether the server may report success to the client: the line was written, or the server may continue
     * without it.
     */
    bool record(const AuditLine& line);

    /** Opens the file again, after it was renamed. Reports a failure on standard error. */
    void reopen();

    /** Returns a new number for a connection. */
    std::uint64_t nextConnection() { return ++m_connections; }

private:
    /** Makes a line of members. The result is valid until the next call. */
    const std::string& finished(const AuditLine& line);
    bool write(const std::string& line);
    bool writeWaiting();
    void fail(int error);

    const std::unique_ptr<AuditSink> m_sink;
    const OnError m_onError;
    const std::function<void()> m_stop;
    std::atomic<std::uint64_t> m_connections{0};

    std::mutex m_mutex;
    std::uint64_t m_lines = 0;
    UtcText m_utc;
    std::string m_line;
    std::deque<std::string> m_waiting;
    /** The number of lines that were not kept. */
    std::uint64_t m_lost = 0;
    /** Changes under m_mutex. */
    std::atomic<bool> m_hasFailed{false};
};

/** Returns the audit of a server; null if the options select none. @throws std::runtime_error as openAuditSink() does.
 */
std::unique_ptr<Audit> makeAudit(const AuditOptions& options, std::function<void()> stop);

} // namespace Rynveld

#endif
