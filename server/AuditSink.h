/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The destination of the audit lines.
 */
#ifndef RYNVELD_AUDITSINK_H
#define RYNVELD_AUDITSINK_H

#include <memory>
#include <string>

namespace Rynveld {

/** A file, or the journal. Threads: one at a time. */
class AuditSink {
public:
    AuditSink() = default;
    AuditSink(const AuditSink&) = delete;
    AuditSink& operator=(const AuditSink&) = delete;
    virtual ~AuditSink() = default;

    /** Returns the name of the sink for messages: the path of the file, or "journal". */
    virtual std::string name() const = 0;

    /**
     * Writes a line. When the function returns 0, the kernel has the whole line. The line is therefore not lost if
     * this process is killed.
     *
     * @param line a line with its line end. After a failure, the next call must pass the same line again.
     * @return 0, or the error number.
     */
    virtual int write(const std::string& line) = 0;

    /**
     * Opens the sink again, after its file was renamed. If this fails, the sink continues to use the old file.
     *
     * @throws std::runtime_error if the sink cannot be opened. what() begins with the name of the sink.
     */
    virtual void reopen() {}
};

/**
 * Opens the file that `target` names, or the journal if `target` is "journal".
 *
 * @throws std::runtime_error as AuditFile does.
 */
std::unique_ptr<AuditSink> openAuditSink(const std::string& target);

} // namespace Rynveld

#endif
