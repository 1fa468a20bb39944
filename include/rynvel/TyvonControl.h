/**
 * @file
 * Interrupts of the Tyvon driver's devices, whatever their registers are reached by.
 */
#ifndef RYNVEL_TYVONCONTROL_H
#define RYNVEL_TYVONCONTROL_H

#include <cstdint>

#include "rynvel/Export.h"
#include "rynvel/Lseek.h"
#include "rynvel/Mmap.h"

class ZilTrace;

namespace Rynvel {

/**
 * Adds the interrupt operations of the Tyvon driver to a backend, on the backend's descriptor. Tyvon and TyvonInterrupt
 * are the classes to use.
 *
 * No interrupt operation takes the mutex, so that one thread may wait for interrupts while others use the registers.
 *
 * @tparam Base the backend that serves the registers.
 */
template <typename Base>
class RYNVEL_EXPORT TyvonControl : public Base {
public:
    using Base::Base;
    ~TyvonControl() override;

    /** Lets the driver store the interrupt type in `*type`, unchecked. `true` when it answers exactly 0. */
    bool getInterruptType(unsigned long* type) override;

    /** `true` when the driver answers exactly 0. */
    bool enableInterrupt() override;

    /** `true` when the driver answers exactly 0. */
    bool disableInterrupt() override;

    /**
     * Blocks until the driver delivers an interrupt. The interrupt must have been enabled before.
     *
     * @param status receives the driver's 16-bit status word, zero-extended; 0 when the wait fails.
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
