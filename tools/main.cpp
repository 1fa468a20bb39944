// SPDX-License-Identifier: MIT
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

#include "CommandLine.h"
#include "Failure.h"
#include "FaultGuard.h"

namespace {

using namespace Rynvelctl;

// Opens the standard descriptors that are closed. Otherwise, a device or a connection could become standard output, and
// the program would print to the registers of the device.
void reserveStandardDescriptors() {
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (descriptor != -1 && descriptor <= STDERR_FILENO);
    if (descriptor != -1) {
        ::close(descriptor);
    }
}

} // namespace

int main(int argc, char** argv) {
    reserveStandardDescriptors();
    // Without SIGPIPE, a write to a closed connection or pipe fails instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    // Without SIGXFSZ, a write to a file that becomes too large fails as well.
    std::signal(SIGXFSZ, SIG_IGN);
    Common::FaultGuard::install();
    try {
        CommandLine().run(argc, argv);
    } catch (const OutputClosed&) {
        return static_cast<int>(ExitStatus::Done);
    } catch (const SilentEnd& end) {
        return static_cast<int>(end.status);
    } catch (...) {
        const Failure failure = caughtFailure();
        printError(failure.what());
        return static_cast<int>(failure.status());
    }
    return static_cast<int>(ExitStatus::Done);
}
