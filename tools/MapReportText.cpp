// SPDX-License-Identifier: MIT
#include <algorithm>

#include "BitDiagram.h"
#include "Count.h"
#include "FieldValues.h"
#include "Formats.h"
#include "MapWords.h"
#include "NumberArguments.h"
#include "Printable.h"
#include "TextTable.h"

namespace Rynvelctl {

namespace {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;
using Lines = std::vector<std::string>;

std::string usesOf(const ListedPeripheral& peripheral) {
    if (peripheral.hiddenBy) {
        return "hidden by " + printable(*peripheral.hiddenBy);
    }
    return peripheral.devices.empty() ? "-" : joinNames(peripheral.devices);
}

std::string textFor(const MapList& maps) {
    Rows rows{{"FILE", "PERIPHERAL", "REGISTERS", "DEVICES"}};
    for (const ListedMap& map : maps) {
        for (const ListedPeripheral& peripheral : map.peripherals) {
            rows.push_back({printable(map.file), printable(peripheral.name), std::to_string(peripheral.registers),
                            usesOf(peripheral)});
        }
    }
    return TextTable(rows).text();
}

std::string summaryOf(const CheckedMap& map) {
    const std::string contents =
        Common::counted(map.peripherals, "peripheral") + ", " + Common::counted(map.registers, "register");
    return printable(map.file) + ": " + (map.isUsable ? contents : "not usable") + ", " +
           Common::counted(map.diagnostics.size() - (map.isUsable ? 0 : 1), "warning");
}

std::string textFor(const MapCheck& maps) {
    Lines lines;
    for (const CheckedMap& map : maps) {
        if (!map.diagnostics.empty()) {
            lines.push_back(formatValues(MapReport(MapCheck{map})));
        }
        lines.push_back(summaryOf(map));
    }
    return joinLines(lines);
}

std::string textFor(const HeaderText& header) { return header.text; }

std::string textFor(const DissectorNames& names) { return names.text; }

/** Returns a heading that consists of a name and a description. */
std::string headingOf(const std::string& name, const std::string& description) {
    const Rows heading{{printable(name) + (description.empty() ? "" : ": " + printable(description))}};
    return TextTable(heading).text(widestLine);
}

std::string resetValueOf(const Maps::Register& contents) {
    return contents.resetValue ? hexadecimal(*contents.resetValue, contents.size) : "-";
}

std::string textFor(const DescribedDevice& device) {
    const Maps::Peripheral& peripheral = *device.description.peripheral;
    Rows rows{{"OFFSET", "REGISTER", "BITS", "ACCESS", "RESET", "DESCRIPTION"}};
    for (const Maps::LocatedRegister& located : device.registers) {
        const Maps::Register& contents = *located.contents;
        rows.push_back({hexadecimal(located.offset), printable(located.name), std::to_string(contents.size),
                        wordsFor(contents.access), resetValueOf(contents), printable(contents.description.str())});
    }
    return joinLines({headingOf(device.device, peripheral.description.str()),
                      "map: " + printable(device.description.file) + ", peripheral " + printable(peripheral.name), "",
                      TextTable(rows).text(widestLine)});
}

/** Adds the properties that registers and fields share. */
template <typename Element>
void addBehavior(Rows& rows, const Element& element) {
    rows.push_back({"access:", wordsFor(element.access)});
    if (element.readAction) {
        rows.push_back({"effect of a read:", wordFor(*element.readAction)});
    }
    if (element.modifiedWrite != Maps::ModifiedWrite::Modify) {
        rows.push_back({"effect of a write:", wordFor(element.modifiedWrite)});
    }
    if (element.writeConstraint) {
        rows.push_back({"may be written:", wordsFor(*element.writeConstraint)});
    }
}

Rows propertiesOf(const DescribedRegister& described) {
    const Maps::LocatedRegister& located = described.named.located;
    const Maps::Register& contents = *located.contents;
    Rows rows{{"offset:", hexadecimal(located.offset)}, {"width:", Common::counted(contents.size, "bit")}};
    addBehavior(rows, contents);
    if (contents.resetValue) {
        const std::string bits = contents.resetMask == Maps::bitsOf(contents)
                                     ? ""
                                     : " (mask " + hexadecimal(contents.resetMask, contents.size) + ')';
        rows.push_back({"reset value:", resetValueOf(contents) + bits});
    }
    if (!contents.alternateRegister.empty()) {
        rows.push_back({"alternative to:", printable(contents.alternateRegister)});
    }
    if (!contents.alternateGroup.empty()) {
        rows.push_back({"alternative group:", printable(contents.alternateGroup)});
    }
    if (!described.obstacle.empty()) {
        rows.push_back({"not accessible:", printable(described.obstacle)});
    }
    return rows;
}

/**
 * Returns the value of a field after a reset; "-" if the map does not give the reset values of all bits of the field.
 */
std::string resetValueOf(const Maps::Field& field, const Maps::Register& contents) {
    const bool isGiven = contents.resetValue && Maps::isInside(field, contents) &&
                         (contents.resetMask & Maps::maskOf(field)) == Maps::maskOf(field);
    return isGiven ? std::to_string(Maps::decode(field, *contents.resetValue).value) : "-";
}

/** Returns the effects of a read and of a write; empty if there is none. */
std::string effectsOf(const Maps::Field& field) {
    std::vector<std::string> effects;
    if (field.readAction) {
        effects.push_back("read: " + wordFor(*field.readAction));
    }
    if (field.modifiedWrite != Maps::ModifiedWrite::Modify) {
        effects.push_back("write: " + wordFor(field.modifiedWrite));
    }
    return joinNames(effects);
}

std::string tableOfFields(const Maps::Register& contents) {
    Rows rows{{"BITS", "FIELD", "ACCESS", "RESET", "EFFECTS", "DESCRIPTION"}};
    for (const Maps::Field* const field : Maps::fieldsFromTheTop(contents)) {
        rows.push_back({bitRange(field->msb, field->lsb), printable(field->name), wordsFor(field->access),
                        resetValueOf(*field, contents), effectsOf(*field), printable(field->description.str())});
    }
    constexpr std::size_t effects = 4;
    if (std::all_of(rows.begin() + 1, rows.end(), [](const Row& row) { return row[effects].empty(); })) {
        for (Row& row : rows) {
            row.erase(row.begin() + effects);
        }
    }
    return TextTable(rows).text(widestLine);
}

std::string valuesOf(const Maps::Enumeration& enumeration, const Maps::Field& field) {
    Rows rows;
    for (const Maps::EnumeratedValue& value : enumeration.values) {
        rows.push_back({"  " + textOf(value, field), printable(value.name), printable(value.description.str())});
    }
    return TextTable(rows).text(widestLine);
}

/** Adds a table of each enumeration of a field, after an empty line and a heading. */
void addValues(Lines& lines, const Maps::Field& field) {
    for (const Maps::Enumeration& enumeration : field.enumerations) {
        const std::string usage =
            enumeration.usage == Maps::Usage::ReadWrite ? "" : " (" + wordFor(enumeration.usage) + ')';
        lines.insert(lines.end(),
                     {"", "values of " + printable(field.name) + usage + ':', valuesOf(enumeration, field)});
    }
}

std::string formatRegister(const DescribedRegister& described) {
    const Maps::LocatedRegister& located = described.named.located;
    const Maps::Register& contents = *located.contents;
    Lines lines{headingOf(described.device + ' ' + located.name, contents.description.str()), "",
                TextTable(propertiesOf(described)).text()};
    if (!contents.fields.empty()) {
        lines.insert(lines.end(), {"", bitDiagram(contents), "", tableOfFields(contents)});
        for (const Maps::Field* const field : Maps::fieldsFromTheTop(contents)) {
            addValues(lines, *field);
        }
    }
    return joinLines(lines);
}

std::string formatField(const DescribedRegister& described) {
    const Maps::LocatedRegister& located = described.named.located;
    const Maps::Field& field = *described.named.field;
    Rows rows{{"register offset:", hexadecimal(located.offset)}, {"bits:", bitRange(field.msb, field.lsb)}};
    addBehavior(rows, field);
    rows.push_back({"reset value:", resetValueOf(field, *located.contents)});
    Lines lines{headingOf(described.device + ' ' + located.name + '.' + field.name, field.description.str()), "",
                TextTable(rows).text(widestLine)};
    addValues(lines, field);
    return joinLines(lines);
}

std::string textFor(const DescribedRegister& described) {
    return described.named.field == nullptr ? formatRegister(described) : formatField(described);
}

} // namespace

std::string formatText(const MapReport& report) {
    return std::visit([](const auto& value) { return textFor(value); }, report);
}

} // namespace Rynvelctl
