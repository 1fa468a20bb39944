// SPDX-License-Identifier: MIT
#include "rynvel/HexU32Struct.h"

#include <iomanip>
#include <ostream>

std::ostream& operator<<(std::ostream& os, const HexU32Struct& hex) {
    const std::ios_base::fmtflags flags = os.flags(std::ios_base::hex | std::ios_base::internal);
    os << "0x" << std::setw(hex.width) << std::setfill('0') << hex.value;
    os.flags(flags);
    return os;
}
