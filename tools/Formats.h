/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The formats of standard output. Each function returns the text of a report without the final line end.
 */
#ifndef RYNVELCTL_FORMATS_H
#define RYNVELCTL_FORMATS_H

#include <chrono>
#include <string>
#include <type_traits>
#include <vector>

#include "NumberBase.h"
#include "Report.h"

namespace Rynvelctl {

/** Formats a report for people. */
std::string formatText(const Report& report, GivenBase base = std::nullopt);

/** Formats only the values, for scripts. The text is empty for a command that returns no value. */
std::string formatValues(const Report& report, GivenBase base = std::nullopt);

/** Formats a report as one JSON value on one line. */
std::string formatJson(const Report& report);

/** The same functions for a report about register maps. @{ */
std::string formatText(const MapReport& report);
std::string formatValues(const MapReport& report);
std::string formatJson(const MapReport& report);
/** @} */

/** Returns the register, the field or the bits as the user gave them: a name or an address. */
std::string nameText(const Reading& reading);

/** Returns the value as formatValues() formats it. */
std::string plainValueText(const Reading& reading, GivenBase base);

/** Returns the value as formatText() formats it, with the name that it has in the register map. */
std::string valueText(const Reading& reading, GivenBase base);

/** Whether the text of a report has values of registers, fields or bits, which have a base. */
template <typename Value>
constexpr bool hasBase =
    std::disjunction_v<std::is_same<Value, RegisterValue>, std::is_same<Value, FieldReading>,
                       std::is_same<Value, BitsReading>, std::is_same<Value, RegisterListing>,
                       std::is_same<Value, WrittenValue>, std::is_same<Value, FilledRange>,
                       std::is_same<Value, RegisterDump>, std::is_same<Value, RegisterChange>,
                       std::is_same<Value, RegisterDifference>, std::is_same<Value, RestoredRegister>>;

/** Returns the time in milliseconds, with three decimals and without the unit. */
std::string inMilliseconds(std::chrono::nanoseconds time);

/** Returns the number as text, or "none". */
template <typename Number>
std::string orNone(const std::optional<Number>& number) {
    return number ? std::to_string(*number) : "none";
}

/** Returns the names as one text, with commas between them. */
std::string joinNames(const std::vector<std::string>& names);

/** Returns the lines as one text, without a line end after the last line. */
std::string joinLines(const std::vector<std::string>& lines);

} // namespace Rynvelctl

#endif
