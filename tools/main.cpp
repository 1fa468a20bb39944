// SPDX-License-Identifier: MIT
#include <csignal>
#include <exception>
#include <new>

#include "CommandLine.h"
#include "Failure.h"
#include "FaultGuard.h"
#include "MapCatalog.h"
#include "StandardDescriptors.h"

namespace {

using namespace Rynvelctl;

int report(ExitStatus status, const std::string& text) {
    printError(text);
    return static_cast<int>(status);
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
        CommandLine(argc, argv).run(argc, argv);
    } catch (const OutputClosed&) {
        return static_cast<int>(ExitStatus::Done);
    } catch (const SilentEnd& end) {
        return static_cast<int>(end.status);
    } catch (const Failure& failure) {
        return report(failure.status(), failure.what());
    } catch (const Maps::UnusableMap& unusable) {
        return report(ExitStatus::UsageError, unusable.what());
    } catch (const std::bad_alloc&) {
        return report(ExitStatus::Failed, "out of memory");
    } catch (const std::exception& exception) {
        return report(ExitStatus::Failed, exception.what());
    }
    return static_cast<int>(ExitStatus::Done);
}
