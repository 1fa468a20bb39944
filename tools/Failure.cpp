// SPDX-License-Identifier: MIT
#include "Failure.h"

#include <exception>
#include <new>

#include <unistd.h>

#include "MapCatalog.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

std::string& errorPrefix() {
    static std::string text;
    return text;
}

} // namespace

Failure caughtFailure() {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const Maps::UnusableMap& unusable) {
        return usageError(unusable.what());
    } catch (const std::bad_alloc&) {
        return {ExitStatus::Failed, "out of memory"};
    } catch (const std::exception& exception) {
        return {ExitStatus::Failed, exception.what()};
    }
}

std::string errorLine(const std::string& text) { return printable("rynvelctl: " + errorPrefix() + text) + '\n'; }

void printError(const std::string& text) {
    const std::string line = errorLine(text);
    // If this write fails, there is no other stream for an error message.
    [[maybe_unused]] const ssize_t count = ::write(STDERR_FILENO, line.data(), line.size());
}

ErrorPrefix::ErrorPrefix(const std::string& text) { errorPrefix() = text; }

ErrorPrefix::~ErrorPrefix() { errorPrefix().clear(); }

} // namespace Rynvelctl
