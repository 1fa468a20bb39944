// SPDX-License-Identifier: MIT
#include "InputFile.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "Descriptor.h"

namespace Common {

namespace {

std::system_error lastError() { return {errno, std::generic_category()}; }

/** A file to read until a deadline. The file is non-blocking, unless it is standard input. */
class InputFile {
public:
    InputFile(const std::string& name, const Deadline& deadline)
        : m_name(name), m_deadline(deadline), m_file(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        if (!m_file.isOpen()) {
            throw lastError();
        }
        // A named pipe looks like an empty file until the first writer opens the pipe.
        if (isNamedPipe()) {
            waitUntilReadable();
        }
    }

    /**
     * Duplicates a descriptor. The file stays blocking, because other processes may share the open file description.
     */
    InputFile(int descriptor, const std::string& name, const Deadline& deadline)
        : m_name(name), m_deadline(deadline), m_file(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)), m_mayBlock(true) {
        if (!m_file.isOpen()) {
            throw lastError();
        }
    }

    std::string read(std::size_t most) const {
        constexpr std::size_t step = 65536;
        std::string bytes;
        std::size_t count = step;
        while (count != 0 && bytes.size() <= most) {
            const std::size_t size = bytes.size();
            bytes.resize(size + step);
            count = readSome(&bytes[size], step);
            bytes.resize(size + count);
        }
        return bytes;
    }

private:
    bool isNamedPipe() const {
        struct stat file {};
        struct statfs system {};
        return ::fstat(m_file.number(), &file) == 0 && S_ISFIFO(file.st_mode) &&
               ::fstatfs(m_file.number(), &system) == 0 && system.f_type != PIPEFS_MAGIC;
    }

    void waitUntilReadable() const {
        pollfd input{m_file.number(), POLLIN, 0};
        int ready = -1;
        do {
            ready = ::poll(&input, 1, m_deadline.pollTimeout());
        } while (ready == -1 && errno == EINTR);
        if (ready == 0) {
            throw ReadTimedOut{m_name};
        }
    }

    std::size_t readSome(char* bytes, std::size_t most) const {
        ssize_t count = -1;
        if (m_mayBlock) {
            waitUntilReadable();
        }
        while ((count = ::read(m_file.number(), bytes, most)) == -1) {
            if (errno == EAGAIN) {
                waitUntilReadable();
            } else if (errno != EINTR) {
                throw lastError();
            }
        }
        return static_cast<std::size_t>(count);
    }

    const std::string& m_name;
    const Deadline& m_deadline;
    const Descriptor m_file;
    const bool m_mayBlock = false;
};

} // namespace

std::string readFile(const std::string& name, std::size_t most, const Deadline& deadline) {
    return InputFile(name, deadline).read(most);
}

std::string readStandardInput(const std::string& name, std::size_t most, const Deadline& deadline) {
    return InputFile(STDIN_FILENO, name, deadline).read(most);
}

} // namespace Common
