/**
 * @file
 * Numbers as users write them: decimal, hexadecimal after 0x or binary after 0b, and nothing else beside the digits.
 */
#ifndef RYNVELCTL_NUMBERS_H
#define RYNVELCTL_NUMBERS_H

#include <cstdint>
#include <string>

#include "RegisterWord.h"

namespace Rynvelctl {

/**
 * @param what names the number in the failure, for instance "address".
 * @throws Failure when the text is no number of up to 32 bits.
 */
std::uint32_t parseNumber(const std::string& what, const std::string& text);

/** @throws Failure when the text is no number that fits in a register of `width` bits. */
std::uint32_t parseValue(const std::string& what, const std::string& text, unsigned int width);

/** @throws Failure when the text is no number from 1 to `most`. */
std::uint32_t parseCount(const std::string& what, const std::string& text, std::uint32_t most = UINT32_MAX);

using Common::maxValue;

/** A value as `width` bits of hexadecimal digits after 0x. */
std::string hexadecimal(std::uint32_t value, unsigned int width = 32);

/** The same without 0x. */
std::string hexadecimalDigits(std::uint32_t value, unsigned int width);

} // namespace Rynvelctl

#endif
