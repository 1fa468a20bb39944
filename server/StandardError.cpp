#include "StandardError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"

namespace Rynveld {

namespace {

// The mode would be that of every process which has the terminal or pipe from the same parent: it is opened anew.
bool reopenNonBlocking() {
    const Common::Descriptor own(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!own.isOpen()) {
        return false;
    }
    ::dup2(own.number(), STDERR_FILENO);
    return true;
}

// For what cannot be opened anew: a socket, which a service manager makes for the service alone, and a terminal or pipe
// of another user. There the server's clients come first.
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

} // namespace Rynveld
