// SPDX-License-Identifier: MIT
#include "Progress.h"

#include "Formats.h"

namespace Rynvelctl {

std::string namesOrNone(const std::vector<std::string>& names) { return names.empty() ? noNames : joinNames(names); }

Pieces piecesOf(const Progress& progress) {
    return {" (",
            progress.doneWord,
            ": ",
            progress.done,
            "; ",
            progress.outcome,
            ": ",
            progress.failed,
            "; not reached: ",
            progress.notReached,
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
