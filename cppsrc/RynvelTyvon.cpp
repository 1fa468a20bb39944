// SPDX-License-Identifier: MIT
#include "rynvel/Tyvon.h"

#include "RynvelTyvonControl.h"

namespace Rynvel {

template class TyvonControl<Mmap<std::uint16_t>>;
template class TyvonControl<Mmap<std::uint32_t>>;

template <typename T>
Tyvon<T>::~Tyvon() = default;

template class Tyvon<std::uint16_t>;
template class Tyvon<std::uint32_t>;

} // namespace Rynvel
