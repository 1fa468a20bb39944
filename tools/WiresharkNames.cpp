// SPDX-License-Identifier: MIT
#include "WiresharkNames.h"

#include <sstream>

#include "FieldValues.h"
#include "MapWords.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

std::string lineOf(const Maps::EnumeratedValue& value, const Maps::Enumeration& enumeration, const Maps::Field& field) {
    std::ostringstream line;
    line << "value 0x" << std::hex << (value.value & Maps::highestOf(field)) << " 0x"
         << (value.mask & Maps::highestOf(field)) << ' ' << wordFor(enumeration.usage) << ' ' << printable(value.name)
         << '\n';
    return line.str();
}

// The dissector shows the first name that matches. The name for all other values has the mask 0, which matches every
// value.
std::string valuesOf(const Maps::Field& field) {
    std::string lines;
    std::string lastLines;
    for (const Maps::Enumeration& enumeration : field.enumerations) {
        for (const Maps::EnumeratedValue& value : enumeration.values) {
            if (!value.name.empty()) {
                (value.isDefault ? lastLines : lines) += lineOf(value, enumeration, field);
            }
        }
    }
    return lines + lastLines;
}

std::string linesOf(const Maps::Field& field) {
    return "field " + std::to_string(field.msb) + ' ' + std::to_string(field.lsb) + ' ' + wordsFor(field.access) + ' ' +
           printable(field.name) + '\n' + valuesOf(field);
}

std::string linesOf(const AddressedRegister& mapped) {
    std::ostringstream line;
    line << "register 0x" << std::hex << mapped.range.deviceAddress() << ' ' << wordsFor(mapped.contents().access)
         << ' ' << printable(mapped.name()) << '\n';
    std::string lines = line.str();
    for (const Maps::Field* const field : Maps::fieldsFromTheTop(mapped.contents())) {
        if (Maps::isInside(*field, mapped.contents())) {
            lines += linesOf(*field);
        }
    }
    return lines;
}

} // namespace

std::string wiresharkNames(const RegisterMap& map) {
    const Target& device = map.device();
    std::string lines = "device " + std::to_string(device.width()) + ' ' + std::to_string(device.type.addressStride) +
                        ' ' + printable(device.name()) + '\n';
    for (const std::string& problem : map.inaccessible()) {
        lines += "# Left out: " + printable(problem) + '\n';
    }
    for (const AddressedRegister& mapped : map.registers()) {
        lines += linesOf(mapped);
    }
    return lines;
}

} // namespace Rynvelctl
