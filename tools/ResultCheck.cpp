// SPDX-License-Identifier: MIT
#include "ResultCheck.h"

namespace Rynvelctl {

void requireResultAllowed(OpenDevice& device, const AddressedRegister& whole, const Maps::MaskedValue& written,
                          std::optional<std::uint32_t> before) {
    if (Maps::dependsOnOtherBits(whole.located, written.mask)) {
        const std::uint32_t value = before ? *before : device.read(whole.range);
        allowed(whole, [&] { Maps::requireResultAllowed(whole.located, written, value); });
    }
}

} // namespace Rynvelctl
