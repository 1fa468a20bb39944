// SPDX-License-Identifier: MIT
#include "Progress.h"

#include "Formats.h"

namespace Rynvelctl {

namespace {

std::string listOrNone(const std::vector<std::string>& names) { return names.empty() ? "none" : joinNames(names); }

} // namespace

Failure withProgress(const Failure& failure, const Progress& progress) {
    return {failure.status(), std::string(failure.what()) + " (" + progress.doneWord + ": " +
                                  listOrNone(progress.done) + "; " + progress.outcome + ": " + progress.failed +
                                  "; not reached: " + listOrNone(progress.notReached) + ')'};
}

} // namespace Rynvelctl
