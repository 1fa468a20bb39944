// SPDX-License-Identifier: MIT
#include "Condition.h"

#include "Failure.h"
#include "NumberArguments.h"

namespace Rynvelctl {

void addCondition(const Common::Command& command, ConditionOptions& options, const std::string& value,
                  const std::string& negation) {
    command.addArgument("VALUE", options.value, value);
    command.addOption("--mask", "MASK", options.mask, "compare only the bits that are set in the mask");
    command.addFlag("--not", options.isNegated, negation);
}

Condition::Condition(const Addressed& addressed, const ConditionOptions& options)
    : m_addressed(addressed), m_options(options) {
    if (addressed.field() != nullptr) {
        requireNoMask("the field");
        m_field = allowed(addressed.named->whole, [&] {
            return Maps::parsePattern(addressed.named->whole.located, *addressed.field(), options.value);
        });
        return;
    }
    const unsigned int width = addressed.bits ? addressed.bits->width() : addressed.range.bits();
    m_number = parseValue("value", options.value, width);
    if (addressed.bits) {
        requireNoMask("the range");
        requireReadable(addressed.bits->mask());
    } else if (!options.mask.empty()) {
        m_mask = parseMask(options.mask, width);
        requireInsideMask();
        requireReadable(m_mask);
    }
}

std::string Condition::problem() const {
    const std::string masked = m_options.mask.empty() ? "" : " with mask " + m_options.mask;
    return comparedObject() + masked + (m_options.isNegated ? " is still " : " is not ") + m_options.value;
}

std::string Condition::comparedObject() const {
    if (m_addressed.field() != nullptr) {
        return "field " + m_addressed.named->name();
    }
    const std::string name = m_addressed.range.addressText();
    return m_addressed.bits ? name + m_addressed.bits->text() : "register " + name;
}

void Condition::requireNoMask(const std::string& selection) const {
    if (!m_options.mask.empty()) {
        throw usageError("--mask: " + selection + " already selects the bits to compare (leave out --mask)");
    }
}

void Condition::requireReadable(std::uint32_t bits) const {
    if (m_addressed.named) {
        requireBitsReadable(m_addressed.named->whole, bits);
    }
}

void Condition::requireInsideMask() const {
    if ((m_number & ~m_mask) == 0) {
        return;
    }
    const std::uint64_t lowestBit = m_mask & (~m_mask + 1);
    const std::uint64_t moved = m_number * lowestBit;
    const std::string hint = (moved & ~std::uint64_t{m_mask}) == 0
                                 ? "give " + hexadecimal(moved, m_addressed.range.bits()) +
                                       " to compare the bits of the mask with " + m_options.value
                                 : "leave out these bits, or select them with the mask";
    throw usageError("value " + m_options.value + " has bits outside the mask " + m_options.mask + " (" + hint + ')');
}

bool Condition::isEqual(const Reading& reading) const {
    const auto* const read = std::get_if<FieldReading>(&reading);
    return read != nullptr ? m_field.matches(read->field) : ((numberIn(reading) ^ m_number) & m_mask) == 0;
}

} // namespace Rynvelctl
