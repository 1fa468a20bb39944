// SPDX-License-Identifier: MIT
#include <csignal>

#include "BusErrorGuard.h"
#include "CommandLine.h"
#include "Failure.h"
#include "StandardDescriptors.h"

int main(int argc, char** argv) {
    using namespace Rynvelctl;
    reserveStandardDescriptors();
    // Without SIGPIPE, a write to a closed connection or pipe fails instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    // Without SIGXFSZ, a write to a file that becomes too large fails as well.
    std::signal(SIGXFSZ, SIG_IGN);
    Common::BusErrorGuard::install();
    try {
        CommandLine(argc, argv).run(argc, argv);
    } catch (const OutputClosed&) {
        return static_cast<int>(ExitStatus::Done);
    } catch (const ExitWithStatus& end) {
        return static_cast<int>(end.status);
    } catch (...) {
        const Failure failure = caughtFailure();
        printError(failure.what());
        return static_cast<int>(failure.status());
    }
    return static_cast<int>(ExitStatus::Done);
}
