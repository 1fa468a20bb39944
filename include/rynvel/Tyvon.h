/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Mapped registers and interrupts of a device of the Tyvon driver.
 */
#ifndef RYNVEL_TYVON_H
#define RYNVEL_TYVON_H

#include "rynvel/Export.h"
#include "rynvel/Mmap.h"
#include "rynvel/TyvonControl.h"

#include <cstdint>

namespace Rynvel {

/**
 * A device of the Tyvon driver with mapped registers, for `T` = `std::uint16_t` and `std::uint32_t`. The class has the
 * constructor of Mmap and the interrupt functions of TyvonControl. It traces interrupt functions at level 6 and failed
 * waits at level 1, on the channel "Rynvel.Tyvon".
 */
template <typename T>
class RYNVEL_EXPORT Tyvon : public TyvonControl<Mmap<T>> {
public:
    using TyvonControl<Mmap<T>>::TyvonControl;
    ~Tyvon() override;
};

extern template class Tyvon<std::uint16_t>;
extern template class Tyvon<std::uint32_t>;

} // namespace Rynvel

#endif
