/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Interrupts of mapped and seekable devices of the Tyvon driver.
 */
#ifndef RYNVEL_TYVONCONTROL_H
#define RYNVEL_TYVONCONTROL_H

#include "rynvel/Export.h"
#include "rynvel/Lseek.h"
#include "rynvel/Mmap.h"

#include <cstdint>

class ZilTrace;

namespace Rynvel {

/**
 * A backend with the interrupt functions of the Tyvon driver. The functions use the descriptor of the backend. Programs
 * create objects of the derived classes Tyvon and TyvonInterrupt.
 *
 * No interrupt function locks the mutex: one thread may wait for interrupts while other threads use the registers.
 *
 * @tparam Base the backend that accesses the registers.
 */
template <typename Base>
class RYNVEL_EXPORT TyvonControl : public Base {
public:
    using Base::Base;
    ~TyvonControl() override;

    /** Makes the driver store the interrupt type in `*type`. @return whether the result of the driver is 0. */
    bool getInterruptType(unsigned long* type) override;

    /** Enables the interrupts. @return whether the result of the driver is 0. */
    bool enableInterrupt() override;

    /** Disables the interrupts. @return whether the result of the driver is 0. */
    bool disableInterrupt() override;

    /**
     * Blocks until the driver reports an interrupt, and then stores the 16-bit interrupt word of the driver in
     * `*status`. Stores 0 if the wait fails. Call enableInterrupt() first.
     */
    bool waitForInterrupt(unsigned long* status) override;

private:
    RYNVEL_LOCAL static ZilTrace m_trace;
};

extern template class TyvonControl<Mmap<std::uint16_t>>;
extern template class TyvonControl<Mmap<std::uint32_t>>;
extern template class TyvonControl<Lseek<std::uint16_t>>;
extern template class TyvonControl<Lseek<std::uint32_t>>;

} // namespace Rynvel

#endif
