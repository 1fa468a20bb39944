/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The audit, which records who has changed which device, and which requests the server has refused.
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
    /** Whether the line of a write contains the values of the registers before and after the write. */
    bool withOldValues = false;
    OnError onError = OnError::RefuseWrites;
};

/**
 * Numbers the lines of the audit and writes them to the sink. While the sink fails, keeps up to `maxWaiting` lines, and
 * counts the lines that it drops. Reports on standard error when the sink begins to fail, and when it works again.
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
     * @return true if the line was written, or if `onError` is Continue. Otherwise, the server must report an error to
     * the client.
     */
    bool record(const AuditLine& line);

    /** Opens the file of the audit again, after it was renamed. Reports a failure on standard error. */
    void reopen();

    /** Returns the number of a new connection, counted from 1. */
    std::uint64_t nextConnection() { return ++m_connections; }

private:
    /** Returns a line with its number, the time and the members of `line`. The result is valid until the next call. */
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
    /** The number of lines that were dropped and that no "lost" line has reported. */
    std::uint64_t m_lost = 0;
    /** Changes only while m_mutex is locked; permitsChanges() reads it without the mutex. */
    std::atomic<bool> m_hasFailed{false};
};

/**
 * Returns the audit of a server; null if the options select none.
 *
 * @throws std::runtime_error as openAuditSink() does.
 */
std::unique_ptr<Audit> makeAudit(const AuditOptions& options, std::function<void()> stop);

} // namespace Rynveld

#endif
