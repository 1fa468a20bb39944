// SPDX-License-Identifier: MIT
#include "WriteOutcome.h"

#include "Formats.h"

namespace Rynvelctl {

std::string namesOrNone(const std::vector<std::string>& names) { return names.empty() ? noNames : joinNames(names); }

Pieces piecesOf(const WriteOutcome& outcome) {
    return {" (",
            outcome.doneWord,
            ": ",
            outcome.done,
            "; ",
            outcome.failedWord,
            ": ",
            outcome.failed,
            "; not reached: ",
            outcome.notReached,
            ")"};
}

Failure extended(const Failure& failure, const Pieces& pieces) {
    std::string text = failure.what();
    for (const std::string_view piece : pieces) {
        text += piece;
    }
    return {failure.status(), text};
}

} // namespace Rynvelctl
