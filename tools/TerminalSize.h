/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The size of a terminal.
 */
#ifndef RYNVELCTL_TERMINALSIZE_H
#define RYNVELCTL_TERMINALSIZE_H

#include <cstddef>

namespace Rynvelctl {

struct TerminalSize {
    std::size_t columns;
    std::size_t rows;
};

/** Returns the size of the terminal that a descriptor refers to; 80 columns and 24 rows if the size is unknown. */
TerminalSize terminalSize(int descriptor);

} // namespace Rynvelctl

#endif
