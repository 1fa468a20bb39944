// SPDX-License-Identifier: MIT
#include "FieldValues.h"
#include "Formats.h"
#include "MapWords.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

using Lines = std::vector<std::string>;

template <typename Elements, typename TextOf>
std::string linesOf(const Elements& elements, const TextOf& textOf) {
    Lines lines;
    lines.reserve(elements.size());
    for (const auto& element : elements) {
        lines.push_back(textOf(element));
    }
    return joinLines(lines);
}

std::string plainFor(const MapList& maps) {
    return linesOf(maps, [](const ListedMap& map) { return map.file; });
}

std::string plainFor(const MapCheck& maps) {
    Lines lines;
    for (const CheckedMap& map : maps) {
        for (const Maps::Diagnostic& diagnostic : map.diagnostics) {
            lines.push_back(printable(Maps::render(map.file, diagnostic)));
        }
    }
    return joinLines(lines);
}

std::string plainFor(const HeaderText& header) { return header.text; }

std::string plainFor(const DissectorNames& names) { return names.text; }

std::string plainFor(const DescribedDevice& device) {
    return linesOf(device.registers, [](const Maps::LocatedRegister& located) { return printable(located.name); });
}

std::string plainFor(const DescribedRegister& described) {
    if (described.named.field == nullptr) {
        return linesOf(Maps::fieldsFromTheTop(*described.named.located.contents),
                       [](const Maps::Field* field) { return printable(field->name); });
    }
    Lines names;
    for (const Maps::Enumeration& enumeration : described.named.field->enumerations) {
        for (const Maps::EnumeratedValue& value : enumeration.values) {
            names.push_back(printable(value.name));
        }
    }
    return joinLines(names);
}

} // namespace

std::string formatValues(const MapReport& report) {
    return std::visit([](const auto& value) { return plainFor(value); }, report);
}

} // namespace Rynvelctl
