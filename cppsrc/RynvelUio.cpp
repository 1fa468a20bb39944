// SPDX-License-Identifier: MIT
#include "RynvelUio.h"

namespace Rynvel {

template class Uio<std::uint16_t>;
template class Uio<std::uint32_t>;

} // namespace Rynvel
