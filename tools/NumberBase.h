/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The base of the values that a command prints.
 */
#ifndef RYNVELCTL_NUMBERBASE_H
#define RYNVELCTL_NUMBERBASE_H

#include <cstdint>
#include <optional>
#include <string>

namespace Rynvelctl {

enum class NumberBase { Binary = 2, Decimal = 10, Hexadecimal = 16 };

/** The base that the user gives; none for the default: hexadecimal for registers and bits, decimal for fields. */
using GivenBase = std::optional<NumberBase>;

/** Returns the base that a text such as "16" gives. @throws Failure for any other text. */
NumberBase parseBase(const std::string& text);

/** Returns the value of a register of `bits` bits as text. A prefix shows the base, unless the base is 10. */
std::string registerText(std::uint64_t value, unsigned int bits, GivenBase base);

/** Returns the text of the value without a prefix. Blanks precede a decimal number, so that the values form columns. */
std::string registerColumn(std::uint64_t value, unsigned int bits, GivenBase base);

/** Returns the value of a field of `width` bits, or of bits that are not a field, as text. @{ */
std::string fieldText(std::uint64_t value, unsigned int width, GivenBase base);
std::string bitsText(std::uint64_t value, unsigned int width, GivenBase base);
/** @} */

} // namespace Rynvelctl

#endif
