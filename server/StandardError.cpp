// SPDX-License-Identifier: MIT
#include "StandardError.h"

#include <iostream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"

namespace Rynveld {

namespace {

// Opens the terminal or pipe again. A new mode of the inherited descriptor would affect all processes that have
// inherited the descriptor from the same parent.
bool reopenNonBlocking() {
    const Common::Descriptor reopened(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!reopened.isOpen()) {
        return false;
    }
    ::dup2(reopened.number(), STDERR_FILENO);
    return true;
}

// Changes the mode of the inherited descriptor, for files that cannot be opened again: a socket, or a terminal or pipe
// of another user. A service manager creates a socket for this service alone. With a terminal or pipe, the clients of
// the server matter more than the processes that share the descriptor.
void setNonBlocking() { ::fcntl(STDERR_FILENO, F_SETFL, ::fcntl(STDERR_FILENO, F_GETFL) | O_NONBLOCK); }

} // namespace

void makeStandardErrorNonBlocking() {
    struct stat status {};
    if (::fstat(STDERR_FILENO, &status) != 0) {
        return;
    }
    const bool mayBlock = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode) || S_ISSOCK(status.st_mode);
    if (mayBlock && (S_ISSOCK(status.st_mode) || !reopenNonBlocking())) {
        setNonBlocking();
    }
}

void writeMessage(const std::string& text) { std::cerr << "rynveld: " + text + '\n' << std::flush; }

} // namespace Rynveld
