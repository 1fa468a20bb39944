#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>

#include "CommandLine.h"
#include "Failure.h"
#include "FaultGuard.h"

namespace {

using namespace Rynvelctl;

int report(ExitStatus status, const std::string& text) {
    complain(text);
    return static_cast<int>(status);
}

// A device or a server must not be opened as standard output: what is printed would go to its registers.
void occupyStandardDescriptors() {
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
    occupyStandardDescriptors();
    // A peer that is gone makes an operation fail.
    std::signal(SIGPIPE, SIG_IGN);
    Common::FaultGuard::install();
    try {
        CommandLine().run(argc, argv);
    } catch (const OutputClosed&) {
        return static_cast<int>(ExitStatus::Done);
    } catch (const Failure& failure) {
        return report(failure.status(), failure.what());
    } catch (const std::bad_alloc&) {
        return report(ExitStatus::Failed, "out of memory");
    } catch (const std::exception& exception) {
        return report(ExitStatus::Failed, exception.what());
    }
    return static_cast<int>(ExitStatus::Done);
}
