/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The interrupts of the devices of the Tyvon driver, both mapped and seekable.
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
 * Adds the interrupt functions of the Tyvon driver to a backend. They use the descriptor of the backend. Use the
 * derived classes Tyvon and TyvonInterrupt.
 *
 * No interrupt function locks the mutex: one thread may wait for interrupts while others use the registers.
 *
 * @tparam Base the backend that accesses the registers.
 */
template <typename Base>
class RYNVEL_EXPORT TyvonControl : public Base {
public:
    using Base::Base;
    ~TyvonControl() override;

    /** Passes `type` to the driver, which stores the interrupt type. @return whether the result is exactly 0. */
    bool getInterruptType(unsigned long* type) override;

    /** @return whether the result of the driver is exactly 0. */
    bool enableInterrupt() override;

    /** @return whether the result of the driver is exactly 0. */
    bool disableInterrupt() override;

    /**
     * Blocks until the driver delivers an interrupt. Call enableInterrupt() before.
     *
     * @param status is set to the 16-bit interrupt word of the driver, zero-extended; to 0 if the wait fails.
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
