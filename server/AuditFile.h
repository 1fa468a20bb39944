/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A file that stores the audit lines.
 */
#ifndef RYNVELD_AUDITFILE_H
#define RYNVELD_AUDITFILE_H

#include <cstddef>
#include <string>

#include "AuditSink.h"
#include "Descriptor.h"

namespace Rynveld {

/**
 * A regular file to which the object appends lines, or a character device. The object locks a regular file, so that
 * only one server writes it.
 */
class AuditFile : public AuditSink {
public:
    /**
     * Opens the file, and makes it first if necessary. If the file ends in the middle of a line, because its server was
     * killed or its disk was full, ends that line.
     *
     * @throws std::runtime_error if the file cannot be written, is not a regular file or a character device, or is
     * locked by another server. what() begins with the path.
     */
    explicit AuditFile(std::string path);

    std::string name() const override { return m_path; }
    int write(const std::string& line) override;
    void reopen() override;

private:
    Common::Descriptor open() const;
    bool isOpenFile() const;
    bool removeEnd(std::size_t size) const;

    const std::string m_path;
    Common::Descriptor m_file;
    /** The number of bytes of an unfinished line that are already in the file. */
    std::size_t m_written = 0;
};

} // namespace Rynveld

#endif
