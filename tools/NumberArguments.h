/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Numbers on the command line: decimal, hexadecimal with 0x or binary with 0b, without a sign or blanks. The functions
 * refuse a decimal number with a leading zero, because the user may mean an octal number.
 */
#ifndef RYNVELCTL_NUMBERARGUMENTS_H
#define RYNVELCTL_NUMBERARGUMENTS_H

#include <cstdint>
#include <string>

#include "Number.h"
#include "RegisterWord.h"

namespace Rynvelctl {

/**
 * Returns the number that the text gives.
 *
 * @param name the name of the number for the error message, for example "address".
 * @throws Failure if the text is not a number, if it has a leading zero, or if the number does not fit in 32 bits.
 */
std::uint32_t parseNumber(const std::string& name, const std::string& text);

/**
 * Returns the number that the text gives.
 *
 * @throws Failure as parseNumber() does, and if the number does not fit in `width` bits.
 */
std::uint32_t parseValue(const std::string& name, const std::string& text, unsigned int width);

/** Returns the mask that the text gives. @throws Failure as parseValue() does, and if the mask selects no bits. */
std::uint32_t parseMask(const std::string& text, unsigned int width);

/** Returns the number that the text gives. @throws Failure if the text is not a number from 1 to `max`. */
std::uint32_t parseCount(const std::string& name, const std::string& text, std::uint32_t max = UINT32_MAX);

using Common::hexadecimal;
using Common::hexadecimalDigits;
using Common::maxValue;

} // namespace Rynvelctl

#endif
