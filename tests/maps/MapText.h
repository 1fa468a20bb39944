// SPDX-License-Identifier: MIT
#ifndef RYNVEL_TESTS_MAPS_MAPTEXT_H
#define RYNVEL_TESTS_MAPS_MAPTEXT_H

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MapReader.h"

namespace RynvelTest {

/** Returns an element with a tag and a content. */
inline std::string element(const std::string& tag, const std::string& content) {
    return "<" + tag + ">" + content + "</" + tag + ">";
}

/**
 * Returns the elements of a device that precede its peripherals, on one line. These elements include the properties
 * that registers inherit.
 */
inline std::string deviceHead() {
    return "<name>D</name><version>1</version><description>A device</description>"
           "<addressUnitBits>8</addressUnitBits><width>32</width>"
           "<size>32</size><access>read-write</access><resetValue>0</resetValue><resetMask>0xFFFFFFFF</resetMask>";
}

inline std::string deviceOf(const std::string& peripherals) {
    return "<device schemaVersion=\"1.3\">" + deviceHead() + element("peripherals", peripherals) + "</device>";
}

/** Returns a peripheral P at 0x1000 with registers and clusters. */
inline std::string peripheralOf(const std::string& registers) {
    return element("peripheral", "<name>P</name><baseAddress>0x1000</baseAddress>" + element("registers", registers));
}

inline std::string mapOf(const std::string& registers) { return deviceOf(peripheralOf(registers)); }

/** Returns a register R at offset 0 with further elements. */
inline std::string registerOf(const std::string& elements) {
    return element("register", "<name>R</name><addressOffset>0</addressOffset>" + elements);
}

/** Returns a map of one register with fields. */
inline std::string mapOfFields(const std::string& fields) { return mapOf(registerOf(element("fields", fields))); }

/** Returns a field F in bits 7 to 4 with further elements. */
inline std::string fieldOf(const std::string& elements) {
    return element("field", "<name>F</name><bitRange>[7:4]</bitRange>" + elements);
}

/** Returns the diagnostics of a map as a program prints them, one on each line. */
inline std::string diagnosticsOf(const Maps::ReadMap& map) {
    std::string lines;
    for (const Maps::Diagnostic& diagnostic : map.diagnostics) {
        lines += Maps::render("m.svd", diagnostic) + "\n";
    }
    return lines;
}

/** Returns the device of a map, which must be usable. */
inline Maps::Device deviceIn(const Maps::ReadMap& map) {
    EXPECT_TRUE(map.device) << diagnosticsOf(map);
    return map.device.value_or(Maps::Device());
}

/** Returns the device of a map, which must have neither warnings nor errors. */
inline Maps::Device read(const std::string& text) {
    const Maps::ReadMap map = Maps::readMap(text);
    EXPECT_EQ(diagnosticsOf(map), "");
    return deviceIn(map);
}

/** Returns the device of a map, which must be usable and have these warnings. */
inline Maps::Device readWithWarnings(const std::string& text, const std::string& warnings) {
    const Maps::ReadMap map = Maps::readMap(text);
    EXPECT_EQ(diagnosticsOf(map), warnings);
    return deviceIn(map);
}

/** Expects the reader to refuse a map. The error must be the last diagnostic. */
inline void expectError(const std::string& text, const std::string& error, const Maps::Limits& limits = {}) {
    const Maps::ReadMap map = Maps::readMap(text, limits);
    EXPECT_FALSE(map.device);
    ASSERT_FALSE(map.diagnostics.empty());
    EXPECT_EQ(Maps::render("m.svd", map.diagnostics.back()), error);
}

/** Returns the names of elements, with a space after each name. */
template <typename Elements>
std::string namesOf(const Elements& elements) {
    std::string names;
    for (const auto& each : elements) {
        names += each.name + " ";
    }
    return names;
}

/** Returns the element with a name. Ends the test program if there is none. */
template <typename T>
const T& named(const Maps::SharedList<T>& elements, const std::string& name) {
    const T* const found =
        std::find_if(elements.begin(), elements.end(), [&name](const T& each) { return each.name == name; });
    if (found == elements.end()) {
        ADD_FAILURE() << "no element '" << name << "' among " << namesOf(elements);
        std::abort();
    }
    return *found;
}

inline Maps::Peripheral onlyPeripheral(const Maps::Device& device) {
    EXPECT_EQ(device.peripherals.size(), 1U);
    return device.peripherals.empty() ? Maps::Peripheral() : device.peripherals[0];
}

inline Maps::Register onlyRegister(const Maps::Device& device) {
    const Maps::Peripheral peripheral = onlyPeripheral(device);
    EXPECT_EQ(peripheral.registers.size(), 1U);
    return peripheral.registers.empty() ? Maps::Register() : peripheral.registers[0];
}

inline Maps::Field onlyField(const Maps::Device& device) {
    const Maps::Register aRegister = onlyRegister(device);
    EXPECT_EQ(aRegister.fields.size(), 1U);
    return aRegister.fields.empty() ? Maps::Field() : aRegister.fields[0];
}

} // namespace RynvelTest

#endif
