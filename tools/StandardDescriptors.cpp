// SPDX-License-Identifier: MIT
#include "StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace Rynvelctl {

void reserveStandardDescriptors() {
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (descriptor != -1 && descriptor <= STDERR_FILENO);
    if (descriptor != -1) {
        ::close(descriptor);
    }
}

bool isStandardOutputOpen() {
    const int flags = ::fcntl(STDOUT_FILENO, F_GETFD);
    // If standard output has this flag, reserveStandardDescriptors() has opened it: a program does not inherit a
    // descriptor with the flag.
    return flags != -1 && (static_cast<unsigned int>(flags) & FD_CLOEXEC) == 0;
}

} // namespace Rynvelctl
