#include "StandardError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"

namespace Rynveld {

namespace {

// The mode would be that of every process which has the terminal or pipe from the same parent: it is opened anew.
void openAnew() {
    const Common::Descriptor own(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (own.isOpen()) {
        ::dup2(own.number(), STDERR_FILENO);
    }
}

// A socket cannot be opened anew. The one of a service manager is the service's alone.
void changeMode() { ::fcntl(STDERR_FILENO, F_SETFL, ::fcntl(STDERR_FILENO, F_GETFL) | O_NONBLOCK); }

} // namespace

void neverBlockOnStandardError() {
    struct stat status {};
    if (::fstat(STDERR_FILENO, &status) != 0) {
        return;
    }
    if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
        openAnew();
    } else if (S_ISSOCK(status.st_mode)) {
        changeMode();
    }
}

} // namespace Rynveld
