/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Seekable registers and interrupts of a device of the Tyvon driver.
 */
#ifndef RYNVEL_TYVONINTERRUPT_H
#define RYNVEL_TYVONINTERRUPT_H

#include "rynvel/Export.h"
#include "rynvel/Lseek.h"
#include "rynvel/TyvonControl.h"

#include <cstdint>

namespace Rynvel {

/**
 * A seekable device of the Tyvon driver, for `T` = `std::uint16_t` and `std::uint32_t`. The class has the constructor
 * of Lseek and the interrupt functions of TyvonControl. It traces interrupt functions at level 6 and failed waits at
 * level 1, on the channel "Rynvel.TyvonInterrupt".
 */
template <typename T>
class RYNVEL_EXPORT TyvonInterrupt : public TyvonControl<Lseek<T>> {
public:
    using TyvonControl<Lseek<T>>::TyvonControl;
    ~TyvonInterrupt() override;
};

extern template class TyvonInterrupt<std::uint16_t>;
extern template class TyvonInterrupt<std::uint32_t>;

} // namespace Rynvel

#endif
