// SPDX-License-Identifier: MIT
#include "RegisterMap.h"

#include <algorithm>

#include "FieldValues.h"
#include "NearestName.h"
#include "Numbers.h"

namespace Rynvelctl {

namespace {

std::string bitRegisters(unsigned int width) { return std::to_string(width) + "-bit registers"; }

Maps::Access accessOf(const Selection& selection) {
    return selection.field == nullptr ? selection.whole.contents().access : selection.field->access;
}

Failure refusal(const Selection& selection, const std::string& problem) {
    return usageError(selection.whole.range.device().name() +
                      (selection.field == nullptr ? ": register " : ": field ") + selection.name() + " is " + problem);
}

} // namespace

std::string Selection::name() const { return field == nullptr ? whole.name() : whole.name() + '.' + field->name; }

RegisterMap::RegisterMap(const Target& target, const Maps::DeviceDescription& description)
    : m_target(&target), m_description(description), m_places(Maps::registersOf(*description.peripheral)) {
    Maps::requireByteAddresses(description);
}

std::vector<MappedRegister> RegisterMap::registers() const {
    std::vector<MappedRegister> registers;
    for (const Maps::LocatedRegister& place : m_places) {
        if (obstacleTo(place).empty()) {
            registers.push_back(mapped(place));
        }
    }
    return registers;
}

std::vector<std::string> RegisterMap::inaccessible() const {
    std::vector<std::string> messages;
    for (const Maps::LocatedRegister& place : m_places) {
        const std::string obstacle = obstacleTo(place);
        if (!obstacle.empty()) {
            messages.push_back(m_target->name() + ": " + obstacle);
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
    const std::string obstacle = obstacleTo(found.place);
    if (!obstacle.empty()) {
        throw usageError(m_target->name() + ": " + obstacle);
    }
    Selection selection{mapped(found.place), found.field};
    if (selection.field != nullptr && !Maps::isInside(*selection.field, selection.whole.contents())) {
        throw refusal(selection,
                      "outside the " + std::to_string(selection.whole.contents().size) + " bits of its register");
    }
    return selection;
}

std::string RegisterMap::obstacleTo(const Maps::LocatedRegister& place) const {
    const unsigned int width = m_target->width();
    const unsigned int bytes = Common::bytesOf(width);
    const std::string subject = "register " + place.name;
    if (place.contents->size > width) {
        return subject + " has " + std::to_string(place.contents->size) + " bits (the device has " +
               bitRegisters(width) + ")";
    }
    if (place.offset > UINT32_MAX) {
        return subject + " is outside the 32-bit address range";
    }
    if (place.offset % bytes != 0) {
        return subject + ": offset " + hexadecimal(static_cast<std::uint32_t>(place.offset)) +
               " is not a multiple of " + std::to_string(bytes) + " (" + bitRegisters(width) + ")";
    }
    if (const Maps::LocatedRegister* const neighbour = neighbourOf(place)) {
        return subject + " has " + std::to_string(place.contents->size) + " bits and shares its word with register " +
               neighbour->name + " (the device has " + bitRegisters(width) + ")";
    }
    return "";
}

const Maps::LocatedRegister* RegisterMap::neighbourOf(const Maps::LocatedRegister& place) const {
    if (place.contents->size >= m_target->width()) {
        return nullptr;
    }
    const auto next = std::upper_bound(
        m_places.begin(), m_places.end(), place.offset,
        [](std::uint64_t offset, const Maps::LocatedRegister& other) { return offset < other.offset; });
    const bool isInWord = next != m_places.end() && next->offset - place.offset < Common::bytesOf(m_target->width());
    return isInWord ? &*next : nullptr;
}

MappedRegister RegisterMap::mapped(const Maps::LocatedRegister& place) const {
    const auto index = static_cast<std::uint32_t>(place.offset / Common::bytesOf(m_target->width()));
    return {place, RegisterRange(*m_target, index, place.name)};
}

Failure RegisterMap::unknownName(const std::string& name) const {
    const std::string question = Common::didYouMean(Maps::namesLike(*m_description.peripheral, name));
    const std::string remedy =
        question.empty() ? "'rynvelctl describe " + m_target->name() + "' shows the names" : question;
    return usageError(m_target->name() + ": '" + name + "' is not a name in " + m_description.file + " (" + remedy +
                      ')');
}

const MappedRegister& wholeOf(const Selection& selection) {
    if (selection.field != nullptr) {
        throw usageError(selection.whole.range.device().name() + ": " + selection.name() +
                         " is a field (give a register)");
    }
    return selection.whole;
}

void requireReadable(const Selection& selection) {
    if (!Maps::isReadable(accessOf(selection))) {
        throw refusal(selection, "write-only");
    }
}

void requireWritable(const Selection& selection) {
    if (!Maps::isWritable(accessOf(selection))) {
        throw refusal(selection, "read-only");
    }
}

} // namespace Rynvelctl
