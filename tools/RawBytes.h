/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The values of registers as the bytes of a file.
 */
#ifndef RYNVELCTL_RAWBYTES_H
#define RYNVELCTL_RAWBYTES_H

#include <cstdint>
#include <string>
#include <vector>

namespace Rynvelctl {

/** Returns the bytes of the values, in the byte order of this machine. @param width the register width in bits. */
std::string bytesOf(const std::vector<std::uint32_t>& values, unsigned int width);

/**
 * Returns the values that bytesOf() converted to `bytes`. The length of `bytes` must be a multiple of the register
 * size.
 */
std::vector<std::uint32_t> valuesOf(const std::string& bytes, unsigned int width);

} // namespace Rynvelctl

#endif
