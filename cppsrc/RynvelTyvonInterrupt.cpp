// SPDX-License-Identifier: MIT
#include "rynvel/TyvonInterrupt.h"

#include "RynvelTyvonControl.h"

namespace Rynvel {

template class TyvonControl<Lseek<std::uint16_t>>;
template class TyvonControl<Lseek<std::uint32_t>>;

template <typename T>
TyvonInterrupt<T>::~TyvonInterrupt() = default;

template class TyvonInterrupt<std::uint16_t>;
template class TyvonInterrupt<std::uint32_t>;

} // namespace Rynvel
