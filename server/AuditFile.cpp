// SPDX-License-Identifier: MIT
#include "AuditFile.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Rynveld {

namespace {

[[noreturn]] void failToWrite(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path + ": cannot write the audit");
}

void requireFile(const std::string& path, mode_t mode) {
    if (S_ISDIR(mode)) {
        errno = EISDIR;
        failToWrite(path);
    }
    if (!S_ISREG(mode) && !S_ISCHR(mode)) {
        throw std::runtime_error(path +
                                 ": cannot write the audit: not a regular file (give a regular file or 'journal')");
    }
}

/** Returns whether the file has a last line without a line end. */
bool endsInALine(int file, off_t size) {
    char last = '\n';
    return size > 0 && ::pread(file, &last, 1, size - 1) == 1 && last != '\n';
}

ssize_t writeOnce(int file, const char* bytes, std::size_t size) {
    ssize_t written = 0;
    do {
        written = ::write(file, bytes, size);
    } while (written < 0 && errno == EINTR);
    return written;
}

} // namespace

AuditFile::AuditFile(std::string path) : m_path(std::move(path)), m_file(open()) {}

// Checks the type before it opens the file, because opening a named pipe could wake up the reader of the pipe, and a
// socket cannot be opened. Checks the type of the open file again, because the path may have changed in between.
Common::Descriptor AuditFile::open() const {
    struct stat status {};
    if (::stat(m_path.c_str(), &status) == 0) {
        requireFile(m_path, status.st_mode);
    }
    constexpr mode_t readableByTheGroup = 0640;
    Common::Descriptor file(
        ::open(m_path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, readableByTheGroup));
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0) {
        failToWrite(m_path);
    }
    requireFile(m_path, status.st_mode);
    if (S_ISREG(status.st_mode) && ::flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error(
            m_path + ": cannot write the audit: another server writes this file (give each server a file of its own)");
    }
    if (S_ISREG(status.st_mode) && endsInALine(file.number(), status.st_size) &&
        writeOnce(file.number(), "\n", 1) != 1) {
        failToWrite(m_path);
    }
    return file;
}

int AuditFile::write(const std::string& line) {
    const std::size_t before = m_written;
    while (m_written < line.size()) {
        const ssize_t written = writeOnce(m_file.number(), line.data() + m_written, line.size() - m_written);
        if (written <= 0) {
            const int error = written == 0 ? ENOSPC : errno;
            if (m_written > before && removeEnd(m_written - before)) {
                m_written = before;
            }
            return error;
        }
        m_written += static_cast<std::size_t>(written);
    }
    m_written = 0;
    return 0;
}

// The lock keeps other servers from appending after the bytes that this function removes.
bool AuditFile::removeEnd(std::size_t size) const {
    struct stat status {};
    return ::fstat(m_file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size >= static_cast<off_t>(size) &&
           ::ftruncate(m_file.number(), status.st_size - static_cast<off_t>(size)) == 0;
}

bool AuditFile::isOpenFile() const {
    struct stat opened {};
    struct stat named {};
    return ::fstat(m_file.number(), &opened) == 0 && ::stat(m_path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// If the path still names the open file, a second descriptor of the file could not get the lock.
void AuditFile::reopen() {
    if (!isOpenFile()) {
        m_file = open();
        m_written = 0;
    }
}

} // namespace Rynveld
