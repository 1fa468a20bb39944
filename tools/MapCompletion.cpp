// SPDX-License-Identifier: MIT
#include "MapCompletion.h"

#include "FieldValues.h"
#include "RegisterName.h"

namespace Rynvelctl {

namespace {

using Words = std::vector<std::string>;

/** Returns the register that a name without a field selects; null for any other name. */
const Maps::Register* findWhole(const Maps::Peripheral& peripheral, const std::string& name) {
    const auto found = Maps::findRegister(peripheral, name);
    return found && found->field == nullptr ? found->located.contents : nullptr;
}

/** Returns the names of the values that can be written to a field. Each result begins with `before`. */
Words valuesOf(const Maps::Field& field, const std::string& before) {
    Words words = Maps::namesToWrite(field);
    for (std::string& word : words) {
        word.insert(0, before);
    }
    return words;
}

} // namespace

template <typename Accessed>
bool MapCompletion::isUsable(const Accessed& accessed) const {
    switch (m_use) {
    case RegisterUse::Read:
        return Maps::isReadable(accessed);
    case RegisterUse::Write:
        return Maps::isWritable(accessed);
    default:
        return true;
    }
}

std::vector<std::string> MapCompletion::registers() const {
    Words words;
    for (const Maps::LocatedRegister& located : Maps::registersOf(m_peripheral)) {
        if (isUsable(*located.contents)) {
            words.push_back(located.name);
        }
    }
    return words;
}

std::vector<std::string> MapCompletion::fields(const std::string& word) const {
    Words words;
    const std::size_t dot = word.rfind('.');
    const std::string before = dot == std::string::npos ? "" : word.substr(0, dot);
    if (const Maps::Register* const contents = findWhole(m_peripheral, before)) {
        for (const Maps::Field& field : contents->fields) {
            if (isUsable(field.access)) {
                words.push_back(before + '.' + field.name);
            }
        }
    }
    return words;
}

std::vector<std::string> MapCompletion::values(const std::string& name, const std::string& word) const {
    const auto found = Maps::findRegister(m_peripheral, name);
    if (!found || found->field != nullptr) {
        return found ? valuesOf(*found->field, "") : Words();
    }
    Words words;
    for (const Maps::Field& field : found->located.contents->fields) {
        const std::string assignment = field.name + '=';
        const bool isAssigned = word.compare(0, assignment.size(), assignment) == 0;
        const Words values = isAssigned ? valuesOf(field, assignment) : Words{assignment};
        if (isUsable(field.access)) {
            words.insert(words.end(), values.begin(), values.end());
        }
    }
    return words;
}

std::vector<std::string> MapCompletion::readValues(const std::string& name) const {
    const auto found = Maps::findRegister(m_peripheral, name);
    return found && found->field != nullptr ? Maps::namesToRead(*found->field) : Words();
}

std::vector<std::string> MapCompletion::assignments(const std::string& word) const {
    const std::size_t equalsSign = word.find('=');
    if (equalsSign != std::string::npos) {
        const auto found = Maps::findRegister(m_peripheral, word.substr(0, equalsSign));
        return found && found->field != nullptr ? valuesOf(*found->field, word.substr(0, equalsSign + 1)) : Words();
    }
    Words words = registers();
    const Words fieldNames = fields(word);
    words.insert(words.end(), fieldNames.begin(), fieldNames.end());
    for (std::string& each : words) {
        each += '=';
    }
    return words;
}

std::vector<std::string> MapCompletion::fieldLists(const std::string& name, const std::string& word) const {
    const std::size_t comma = word.rfind(',');
    const std::string before = comma == std::string::npos ? "" : word.substr(0, comma + 1);
    Words words;
    if (const Maps::Register* const contents = findWhole(m_peripheral, name)) {
        for (const Maps::Field& field : contents->fields) {
            const bool isListed = (',' + before).find(',' + field.name + ',') != std::string::npos;
            if (isUsable(field.access) && !isListed) {
                words.push_back(before + field.name);
            }
        }
    }
    return words;
}

} // namespace Rynvelctl
