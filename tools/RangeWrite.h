/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Writes consecutive registers.
 */
#ifndef RYNVELCTL_RANGEWRITE_H
#define RYNVELCTL_RANGEWRITE_H

#include <cstdint>
#include <functional>

#include "OpenDevice.h"
#include "RegisterRange.h"

namespace Rynvelctl {

/**
 * Writes registers one after the other, and shows the progress on a terminal. A signal that ends the program also
 * prints the number of registers that were written.
 *
 * @param valueAt returns the value for the register at a position, counted from 0.
 * @param print prints the result after the last write.
 * @throws Failure if a write or `print` fails. The message contains the number of registers that were written.
 */
void writeRange(OpenDevice& device, const RegisterRange& range,
                const std::function<std::uint32_t(std::uint32_t)>& valueAt, const std::function<void()>& print);

} // namespace Rynvelctl

#endif
