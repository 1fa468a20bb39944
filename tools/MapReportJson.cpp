// SPDX-License-Identifier: MIT
#include "FieldValues.h"
#include "Formats.h"
#include "Json.h"
#include "MapWords.h"

namespace Rynvelctl {

namespace {

template <typename Elements, typename Format>
std::string arrayOf(const Elements& elements, const Format& format) {
    std::vector<std::string> values;
    values.reserve(elements.size());
    for (const auto& element : elements) {
        values.push_back(format(element));
    }
    return jsonArray(values);
}

std::string numberOrNull(std::optional<std::uint64_t> number) { return number ? std::to_string(*number) : "null"; }

template <typename Value>
std::string wordOrNull(const std::optional<Value>& value) {
    return value ? jsonString(wordFor(*value)) : "null";
}

std::string jsonFor(const ListedPeripheral& peripheral) {
    return JsonObject()
        .add("name", peripheral.name)
        .add("registers", peripheral.registers)
        .addJson("devices", arrayOf(peripheral.devices, jsonString))
        .addJson("hiddenBy", peripheral.hiddenBy ? jsonString(*peripheral.hiddenBy) : "null")
        .text();
}

std::string jsonFor(const ListedMap& map) {
    return JsonObject()
        .add("file", map.file)
        .add("name", map.name)
        .add("version", map.version)
        .addJson("peripherals", arrayOf(map.peripherals, [](const auto& each) { return jsonFor(each); }))
        .text();
}

std::string jsonFor(const MapList& maps) {
    return arrayOf(maps, [](const ListedMap& map) { return jsonFor(map); });
}

std::string jsonFor(const Maps::Diagnostic& diagnostic) {
    return JsonObject()
        .addJson("line", diagnostic.line == 0 ? "null" : std::to_string(diagnostic.line))
        .add("severity", std::string(diagnostic.severity == Maps::Severity::Error ? "error" : "warning"))
        .add("text", diagnostic.text)
        .text();
}

std::string jsonFor(const CheckedMap& map) {
    return JsonObject()
        .add("file", map.file)
        .addFlag("usable", map.isUsable)
        .add("peripherals", map.peripherals)
        .add("registers", map.registers)
        .addJson("diagnostics", arrayOf(map.diagnostics, [](const auto& each) { return jsonFor(each); }))
        .text();
}

std::string jsonFor(const MapCheck& maps) {
    return arrayOf(maps, [](const CheckedMap& map) { return jsonFor(map); });
}

std::string jsonFor(const HeaderText& header) {
    return JsonObject().add("name", header.device).add("header", header.text).text();
}

std::string jsonFor(const DissectorNames& names) {
    return JsonObject().addJson("devices", arrayOf(names.devices, jsonString)).add("text", names.text).text();
}

std::string jsonFor(const Maps::EnumeratedValue& value, const Maps::Enumeration& enumeration,
                    const Maps::Field& field) {
    return JsonObject()
        .add("name", value.name)
        .addJson("value", value.isDefault ? "null" : std::to_string(value.value))
        .addJson("mask", value.isDefault ? "null" : std::to_string(value.mask & Maps::highestOf(field)))
        .add("usage", wordFor(enumeration.usage))
        .add("description", value.description.str())
        .text();
}

std::string valuesOf(const Maps::Field& field) {
    std::vector<std::string> values;
    for (const Maps::Enumeration& enumeration : field.enumerations) {
        for (const Maps::EnumeratedValue& value : enumeration.values) {
            values.push_back(jsonFor(value, enumeration, field));
        }
    }
    return jsonArray(values);
}

/** Adds the properties that registers and fields share. */
template <typename Element>
JsonObject& addBehavior(JsonObject& object, const Element& element) {
    return object.add("access", wordsFor(element.access))
        .addJson("readAction", wordOrNull(element.readAction))
        .add("modifiedWriteValues", wordFor(element.modifiedWrite))
        .addJson("writeConstraint", element.writeConstraint ? jsonString(wordsFor(*element.writeConstraint)) : "null");
}

JsonObject& addField(JsonObject& object, const Maps::Field& field) {
    object.add("lsb", field.lsb).add("msb", field.msb);
    return addBehavior(object, field).add("description", field.description.str()).addJson("values", valuesOf(field));
}

std::string jsonFor(const Maps::Field* field) {
    JsonObject object;
    return addField(object.add("name", field->name), *field).text();
}

JsonObject& addRegister(JsonObject& object, const Maps::LocatedRegister& located) {
    const Maps::Register& contents = *located.contents;
    object.add("register", located.name).add("offset", located.offset).add("width", contents.size);
    return addBehavior(object, contents)
        .addJson("resetValue", numberOrNull(contents.resetValue))
        .add("resetMask", contents.resetMask)
        .add("description", contents.description.str())
        .addJson("fields", arrayOf(Maps::fieldsFromTheTop(contents), [](const auto* field) { return jsonFor(field); }));
}

std::string jsonFor(const DescribedDevice& device) {
    return JsonObject()
        .add("name", device.device)
        .add("map", device.description.file)
        .add("peripheral", device.description.peripheral->name)
        .add("description", device.description.peripheral->description.str())
        .addJson("registers", arrayOf(device.registers,
                                      [](const Maps::LocatedRegister& located) {
                                          JsonObject object;
                                          return addRegister(object, located).text();
                                      }))
        .text();
}

std::string jsonFor(const DescribedRegister& described) {
    JsonObject object;
    object.add("name", described.device);
    if (described.named.field == nullptr) {
        return addRegister(object, described.named.located)
            .addJson("obstacle", described.obstacle.empty() ? "null" : jsonString(described.obstacle))
            .text();
    }
    object.add("register", described.named.located.name).add("field", described.named.field->name);
    return addField(object, *described.named.field).text();
}

} // namespace

std::string formatJson(const MapReport& report) {
    return std::visit([](const auto& value) { return jsonFor(value); }, report);
}

} // namespace Rynvelctl
