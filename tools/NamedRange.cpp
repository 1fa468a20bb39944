// SPDX-License-Identifier: MIT
#include "NamedRange.h"

#include "NumberArguments.h"

namespace Rynvelctl {

RegisterRange NamedRange::sized(const std::string& count) const {
    return sized(parseCount("count", count, maxRegisters));
}

void NamedRange::requireReadable(const RegisterRange& range) const {
    check(range, [](const AddressedRegister& whole) { Rynvelctl::requireReadable({whole, nullptr}); });
}

void NamedRange::requireAllowed(const RegisterRange& range,
                                const std::function<std::uint32_t(std::uint32_t)>& valueAt) const {
    check(range, [&](const AddressedRegister& whole) {
        m_addresses.registerMap()->requireAccessible(whole.located);
        Rynvelctl::requireAllowed(whole, {valueAt(whole.range.index() - range.index()), UINT32_MAX});
    });
    if (m_first.named) {
        m_addresses.registerMap()->requireNoParts(range);
    }
}

void NamedRange::check(const RegisterRange& range, const std::function<void(const AddressedRegister&)>& check) const {
    if (m_first.named) {
        check(m_first.named->whole);
        m_addresses.registerMap()->checkAfterFirst(range, check);
    }
}

} // namespace Rynvelctl
