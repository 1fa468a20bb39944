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
#include "NumberArguments.h"

namespace Rynvelctl {

namespace {

/** Returns the failure of a check; none if the register passes. */
std::optional<Failure> refusalBy(const std::function<void(const AddressedRegister&)>& check,
                                 const AddressedRegister& mapped) {
    try {
        check(mapped);
    } catch (const Failure& failure) {
        return failure;
    }
    return std::nullopt;
}

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

RegisterMap::RegisterMap(const Target& target, const Maps::DevicePeripheral& description)
    : m_target(&target), m_description(description), m_registers(*description.peripheral, target.width()) {
    Maps::requireByteAddresses(description);
}

std::vector<AddressedRegister> RegisterMap::registers() const {
    std::vector<AddressedRegister> registers;
    for (const Maps::LocatedRegister& located : m_registers.all()) {
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
                                  const std::function<void(const AddressedRegister&)>& check) const {
    const std::uint64_t bytes = Common::bytesOf(m_target->width());
    const std::size_t end = m_registers.countBefore((std::uint64_t{range.index()} + range.count()) * bytes);
    const std::vector<Maps::LocatedRegister>& registers = m_registers.all();
    std::map<std::uint64_t, std::optional<Failure>> refusals;
    for (std::size_t i = m_registers.countBefore((std::uint64_t{range.index()} + 1) * bytes); i < end; ++i) {
        const auto refusal = refusalBy(check, mapped(registers[i]));
        auto& known = refusals.try_emplace(registers[i].offset / bytes, refusal).first->second;
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
        const Maps::LocatedRegister* const earlier = m_registers.extendingBeyond(word);
        if (earlier != nullptr && m_registers.countBefore(word) == m_registers.countBefore(word + bytes)) {
            requireAccessible(*earlier);
        }
    }
}

std::vector<std::string> RegisterMap::inaccessible(const std::string& consequence) const {
    const std::string begin = m_target->name() + ": " + consequence;
    std::vector<std::string> messages;
    for (const Maps::LocatedRegister& located : m_registers.all()) {
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

AddressedRegister RegisterMap::mapped(const Maps::LocatedRegister& located) const {
    const auto index = static_cast<std::uint32_t>(located.offset / Common::bytesOf(m_target->width()));
    return {located, RegisterRange(*m_target, index, located.name, located.contents->size),
            m_registers.wordOf(located)};
}

Failure RegisterMap::unknownName(const std::string& name) const {
    return usageError(m_target->name() + ": '" + name + "' is not a name in " + m_description.file + " (" +
                      hintFor(name) + ')');
}

std::string RegisterMap::hintFor(const std::string& name) const {
    const auto bracketed = splitBrackets(name);
    if (bracketed && Common::isNumber(bracketed->inside, Common::anyNotation) &&
        Maps::findRegister(*m_description.peripheral, bracketed->before)) {
        return oneBitOf(*bracketed);
    }
    const std::string question = Common::didYouMean(Maps::namesLike(*m_description.peripheral, name));
    return question.empty() ? "'rynvelctl describe " + m_target->name() + "' shows the names" : question;
}

const AddressedRegister& wholeOf(const Selection& selection) {
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

void requireBitsReadable(const AddressedRegister& whole, std::uint64_t mask) {
    allowed(whole, [&] { Maps::requireBitsReadable(whole.located, mask); });
}

void requireAllowed(const AddressedRegister& whole, const Maps::MaskedValue& written) {
    if (!Maps::isWritable(whole.contents())) {
        throw refusal({whole, nullptr}, "read-only");
    }
    allowed(whole, [&] { Maps::requireAllowed(whole.located, written); });
}

void requireNoReadEffect(const AddressedRegister& whole, const std::string& option) {
    requireHarmlessRead(whole, "leave out " + option);
}

void requireHarmlessRead(const AddressedRegister& whole, const std::string& hint) {
    if (whole.word.hasReadSideEffect) {
        throw usageError(whole.range.device().name() + ": reading register " + whole.name() + " has a side effect (" +
                         hint + ')');
    }
}

} // namespace Rynvelctl
