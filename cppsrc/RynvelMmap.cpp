// SPDX-License-Identifier: MIT
#include "RynvelMmap.h"

namespace Rynvel {

template class Mmap<std::uint16_t>;
template class Mmap<std::uint32_t>;

} // namespace Rynvel
