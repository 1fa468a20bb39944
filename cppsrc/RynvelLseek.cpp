// SPDX-License-Identifier: MIT
#include "RynvelLseek.h"

namespace Rynvel {

template class Lseek<std::uint8_t>;
template class Lseek<std::uint16_t>;
template class Lseek<std::uint32_t>;

} // namespace Rynvel
