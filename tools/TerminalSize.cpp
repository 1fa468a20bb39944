// SPDX-License-Identifier: MIT
#include "TerminalSize.h"

#include <sys/ioctl.h>

namespace Rynvelctl {

TerminalSize terminalSize(int descriptor) {
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {80, 24};
    }
    return {size.ws_col, size.ws_row};
}

} // namespace Rynvelctl
