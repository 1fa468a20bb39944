// SPDX-License-Identifier: MIT
#include "RegisterMap.h"

#include <algorithm>
#include <map>
#include <optional>

#include "BitRange.h"
#include "Count.h"
#include "FieldValues.h"
#include "NearestName.h"
#include "Number.h"
#include "Numbers.h"

namespace Rynvelctl {

namespace {

constexpr unsigned int byteBits = 8;

/** Returns the failure of a check; none if the register passes. */
std::optional<Failure> refusalBy(const std::function<void(const MappedRegister&)>& check,
                                 const MappedRegister& mapped) {
    try {
        check(mapped);
    } catch (const Failure& failure) {
        return failure;
    }
    return std::nullopt;
}

/** Returns an offset in bits; the greatest number if the offset in bits does not fit in 64 bits. */
std::uint64_t bitsBefore(std::uint64_t offset) {
    return offset > UINT64_MAX / byteBits ? UINT64_MAX : offset * byteBits;
}

/** Returns the offset of the first bit after a register. */
std::uint64_t endOf(const Maps::LocatedRegister& located) {
    const std::uint64_t start = bitsBefore(located.offset);
    return start > UINT64_MAX - located.contents->size ? UINT64_MAX : start + located.contents->size;
}

std::string bitRegisters(unsigned int width) { return std::to_string(width) + "-bit registers"; }

bool isReadable(const Selection& selection) {
    return selection.field == nullptr ? Maps::isReadable(selection.whole.contents())
                                      : Maps::isReadable(selection.field->access);
}

Failure refusal(const Selection& selection, const std::string& problem) {
    return usageError(selection.whole.range.device().name() +
                      (selection.field == nullptr ? ": register " : ": field ") + selection.name() + " is " + problem);
}

} // namespace

std::string Selection::name() const { return field == nullptr ? whole.name() : whole.name() + '.' + field->name; }

RegisterMap::RegisterMap(const Target& target, const Maps::DeviceDescription& description)
    : m_target(&target), m_description(description), m_registers(Maps::registersOf(*description.peripheral)) {
    Maps::requireByteAddresses(description);
    Extent extent{0, 0};
    for (std::size_t i = 0; i < m_registers.size(); ++i) {
        const std::uint64_t end = endOf(m_registers[i]);
        extent.furthest = end > endOf(m_registers[extent.furthest]) ? i : extent.furthest;
        extent.readEffectEnd =
            Maps::hasReadEffect(*m_registers[i].contents) ? std::max(extent.readEffectEnd, end) : extent.readEffectEnd;
        m_extents.push_back(extent);
        Maps::ModifiedBits& modified = m_modifiedBits[m_registers[i].offset];
        modified = modified | Maps::modifiedBitsOf(*m_registers[i].contents);
    }
}

std::vector<MappedRegister> RegisterMap::registers() const {
    std::vector<MappedRegister> registers;
    for (const Maps::LocatedRegister& located : m_registers) {
        if (obstacleTo(located).empty()) {
            registers.push_back(mapped(located));
        }
    }
    return registers;
}

void RegisterMap::requireAccessible(const Maps::LocatedRegister& located) const {
    const std::string obstacle = obstacleTo(located);
    if (!obstacle.empty()) {
        throw usageError(m_target->name() + ": " + obstacle);
    }
}

void RegisterMap::checkAfterFirst(const RegisterRange& range,
                                  const std::function<void(const MappedRegister&)>& check) const {
    const std::uint64_t bytes = Common::bytesOf(m_target->width());
    const std::size_t end = countBefore((std::uint64_t{range.index()} + range.count()) * bytes);
    std::map<std::uint64_t, std::optional<Failure>> refusals;
    for (std::size_t i = countBefore((std::uint64_t{range.index()} + 1) * bytes); i < end; ++i) {
        const auto refusal = refusalBy(check, mapped(m_registers[i]));
        auto& known = refusals.try_emplace(m_registers[i].offset / bytes, refusal).first->second;
        known = refusal ? known : std::nullopt;
    }
    for (const auto& [word, refusal] : refusals) {
        if (refusal) {
            throw Failure(*refusal);
        }
    }
}

void RegisterMap::requireNoParts(const RegisterRange& range) const {
    const std::uint64_t bytes = Common::bytesOf(m_target->width());
    for (std::uint64_t position = 1; position < range.count(); ++position) {
        const std::uint64_t word = (range.index() + position) * bytes;
        const Maps::LocatedRegister* const earlier = extendingBeyond(word);
        if (earlier != nullptr && countBefore(word) == countBefore(word + bytes)) {
            requireAccessible(*earlier);
        }
    }
}

std::vector<std::string> RegisterMap::inaccessible(const std::string& consequence) const {
    const std::string begin = m_target->name() + ": " + consequence;
    std::vector<std::string> messages;
    for (const Maps::LocatedRegister& located : m_registers) {
        const std::string obstacle = obstacleTo(located);
        if (!obstacle.empty()) {
            messages.push_back(begin + obstacle);
        }
    }
    return messages;
}

Maps::NamedRegister RegisterMap::named(const std::string& name) const {
    const auto found = Maps::findRegister(*m_description.peripheral, name);
    if (!found) {
        throw unknownName(name);
    }
    return *found;
}

Selection RegisterMap::find(const std::string& name) const {
    const Maps::NamedRegister found = named(name);
    requireAccessible(found.located);
    Selection selection{mapped(found.located), found.field};
    if (selection.field != nullptr && !Maps::isInside(*selection.field, selection.whole.contents())) {
        throw refusal(selection,
                      "outside the " + Common::counted(selection.whole.contents().size, "bit") + " of its register");
    }
    return selection;
}

std::string RegisterMap::obstacleTo(const Maps::LocatedRegister& located) const {
    const unsigned int width = m_target->width();
    const unsigned int bytes = Common::bytesOf(width);
    const std::string subject = "register " + located.name;
    if (located.contents->size > width) {
        return subject + " has " + std::to_string(located.contents->size) + " bits (the device has " +
               bitRegisters(width) + ")";
    }
    if (located.offset > UINT32_MAX) {
        return subject + " is outside the 32-bit address range";
    }
    if (located.offset % bytes != 0) {
        return subject + ": offset " + hexadecimal(static_cast<std::uint32_t>(located.offset)) +
               " is not a multiple of " + std::to_string(bytes) + " (" + bitRegisters(width) + ")";
    }
    if (const Maps::LocatedRegister* const neighbor = neighborOf(located)) {
        return subject + " has " + Common::counted(located.contents->size, "bit") +
               " and lies in the same register of the device as register " + neighbor->name + " (the device has " +
               bitRegisters(width) + ")";
    }
    return "";
}

const Maps::LocatedRegister* RegisterMap::neighborOf(const Maps::LocatedRegister& located) const {
    if (located.contents->size >= m_target->width()) {
        return nullptr;
    }
    if (const Maps::LocatedRegister* const earlier = extendingBeyond(located.offset)) {
        return earlier;
    }
    const std::size_t next = countBefore(located.offset + 1);
    const Maps::LocatedRegister* const wider = furthestOf(next);
    if (wider != nullptr && endOf(*wider) > endOf(located)) {
        return wider;
    }
    const bool isInWord =
        next < m_registers.size() && m_registers[next].offset - located.offset < Common::bytesOf(m_target->width());
    return isInWord ? &m_registers[next] : nullptr;
}

std::size_t RegisterMap::countBefore(std::uint64_t offset) const {
    const auto end = std::lower_bound(
        m_registers.begin(), m_registers.end(), offset,
        [](const Maps::LocatedRegister& located, std::uint64_t limit) { return located.offset < limit; });
    return static_cast<std::size_t>(end - m_registers.begin());
}

const Maps::LocatedRegister* RegisterMap::furthestOf(std::size_t count) const {
    return count == 0 ? nullptr : &m_registers[m_extents[count - 1].furthest];
}

const Maps::LocatedRegister* RegisterMap::extendingBeyond(std::uint64_t offset) const {
    const Maps::LocatedRegister* const furthest = furthestOf(countBefore(offset));
    return furthest != nullptr && endOf(*furthest) > bitsBefore(offset) ? furthest : nullptr;
}

bool RegisterMap::hasReadEffect(const Maps::LocatedRegister& located) const {
    const unsigned int bytes = Common::bytesOf(m_target->width());
    const std::uint64_t word = located.offset - located.offset % bytes;
    const std::size_t count = countBefore(word + bytes);
    return count != 0 && m_extents[count - 1].readEffectEnd > bitsBefore(word);
}

MappedRegister RegisterMap::mapped(const Maps::LocatedRegister& located) const {
    const auto index = static_cast<std::uint32_t>(located.offset / Common::bytesOf(m_target->width()));
    return {located, RegisterRange(*m_target, index, located.name, located.contents->size), hasReadEffect(located),
            m_modifiedBits.at(located.offset)};
}

Failure RegisterMap::unknownName(const std::string& name) const {
    return usageError(m_target->name() + ": '" + name + "' is not a name in " + m_description.file + " (" +
                      remedyFor(name) + ')');
}

std::string RegisterMap::remedyFor(const std::string& name) const {
    const auto bracketed = splitBrackets(name);
    if (bracketed && Common::isNumber(bracketed->inside, Common::anyNotation) &&
        Maps::findRegister(*m_description.peripheral, bracketed->before)) {
        return oneBitOf(*bracketed);
    }
    const std::string question = Common::didYouMean(Maps::namesLike(*m_description.peripheral, name));
    return question.empty() ? "'rynvelctl describe " + m_target->name() + "' shows the names" : question;
}

const MappedRegister& wholeOf(const Selection& selection) {
    if (selection.field != nullptr) {
        throw usageError(selection.whole.range.device().name() + ": " + selection.name() +
                         " is a field (give a register)");
    }
    return selection.whole;
}

void requireReadable(const Selection& selection) {
    if (!isReadable(selection)) {
        throw refusal(selection, "write-only");
    }
}

void requireBitsReadable(const MappedRegister& whole, std::uint64_t mask) {
    allowed(whole, [&] { Maps::requireBitsReadable(whole.located, mask); });
}

void requireAllowed(const MappedRegister& whole, const Maps::MaskedValue& written) {
    if (!Maps::isWritable(whole.contents())) {
        throw refusal({whole, nullptr}, "read-only");
    }
    allowed(whole, [&] { Maps::requireAllowed(whole.located, written); });
}

void requireNoReadEffect(const MappedRegister& whole, const std::string& option) {
    requireHarmlessRead(whole, "leave out " + option);
}

void requireHarmlessRead(const MappedRegister& whole, const std::string& remedy) {
    if (whole.hasReadEffect) {
        throw usageError(whole.range.device().name() + ": reading register " + whole.name() + " has a side effect (" +
                         remedy + ')');
    }
}

} // namespace Rynvelctl
