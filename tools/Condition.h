/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Conditions on the value of a register.
 */
#ifndef RYNVELCTL_CONDITION_H
#define RYNVELCTL_CONDITION_H

#include <cstdint>
#include <string>

#include "Addresses.h"
#include "ArgumentParser.h"
#include "FieldValues.h"
#include "Report.h"

namespace Rynvelctl {

/** A condition as the user typed it. */
struct ConditionOptions {
    std::string value;
    std::string mask;
    bool isNegated = false;
};

/**
 * Adds the argument and the options of a condition.
 *
 * @param value describes the argument VALUE. @param negation describes the option --not.
 */
void addCondition(const Common::Command& command, ConditionOptions& options, const std::string& value,
                  const std::string& negation);

/** Compares a register, a field or bits with a value. */
class Condition {
public:
    /**
     * Both arguments must outlive this object.
     *
     * @throws Failure if the condition does not depend on the value that is read, or if it is not valid for the
     * register, field or bits.
     */
    Condition(const Addressed& addressed, const ConditionOptions& options);

    bool holds(const Reading& reading) const { return isEqual(reading) != m_options.isNegated; }

    /** Returns why the condition does not hold, for an error message. */
    std::string problem() const;

private:
    /** Returns what the condition compares, for example "register CTRL". */
    std::string comparedObject() const;
    void requireNoMask(const std::string& selection) const;
    /** @throws Failure if the register map says that one of the bits cannot be read. */
    void requireReadable(std::uint32_t bits) const;
    /** @throws Failure if the value has bits that the mask does not select. */
    void requireInsideMask() const;
    bool isEqual(const Reading& reading) const;

    const Addressed& m_addressed;
    const ConditionOptions& m_options;
    Maps::FieldPattern m_field;
    std::uint32_t m_number = 0;
    std::uint32_t m_mask = UINT32_MAX;
};

} // namespace Rynvelctl

#endif
