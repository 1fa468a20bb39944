// SPDX-License-Identifier: MIT
#include "RynvelRemote.h"

namespace Rynvel {

template class Remote<std::uint8_t>;
template class Remote<std::uint16_t>;
template class Remote<std::uint32_t>;

} // namespace Rynvel
