// SPDX-License-Identifier: MIT
#include "FieldText.h"

#include <algorithm>
#include <utility>

#include "Formats.h"
#include "MapWords.h"
#include "TextTable.h"

namespace Rynvelctl {

std::string labelOf(const Maps::Field& field) { return field.name + '[' + bitRange(field.msb, field.lsb) + ']'; }

std::string pathOf(const RegisterRange& range, const Maps::FieldValue& value) {
    return range.name() + '.' + value.field->name;
}

std::string meaningOf(const Maps::FieldValue& value) { return value.name == nullptr ? "" : value.name->name; }

std::string numberOf(const Maps::FieldValue& value, GivenBase base) {
    return fieldText(value.value, value.field->msb - value.field->lsb + 1, base);
}

std::string textOf(const Maps::FieldValue& value, GivenBase base) {
    const std::string meaning = meaningOf(value);
    return numberOf(value, base) + (meaning.empty() ? "" : " (" + meaning + ')');
}

std::string AssignmentLines::text() const {
    std::size_t width = 0;
    for (const auto& [label, value] : m_lines) {
        width = std::max(width, characterCount(label));
    }
    std::vector<std::string> lines;
    for (const auto& [label, value] : m_lines) {
        std::string line = label;
        line.append(width + 1 - characterCount(label), ' ').append(value);
        lines.push_back(std::move(line));
    }
    return joinLines(lines);
}

} // namespace Rynvelctl
