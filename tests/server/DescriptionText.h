/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_DESCRIPTIONTEXT_H
#define RYNVEL_TESTS_DESCRIPTIONTEXT_H

#include <string>

namespace RynvelTest {

/** Returns a register map of one peripheral. A register without a size has 32 bits. */
inline std::string mapWith(const std::string& peripheral, const std::string& registers,
                           const std::string& addressUnitBits = "8") {
    return "<device schemaVersion=\"1.3\">\n"
           "<name>D</name><version>1</version><description>A device</description>\n"
           "<addressUnitBits>" +
           addressUnitBits +
           "</addressUnitBits><width>32</width><size>32</size><access>read-write</access>\n"
           "<peripherals><peripheral><name>" +
           peripheral + "</name><baseAddress>0</baseAddress><registers>\n" + registers +
           "</registers></peripheral></peripherals></device>\n";
}

/** @param elements the further elements of the register or field. */
inline std::string registerAt(const std::string& offset, const std::string& elements) {
    return "<register><name>R" + offset + "</name><addressOffset>" + offset + "</addressOffset>" + elements +
           "</register>\n";
}

inline std::string fieldIn(const std::string& bitRange, const std::string& elements) {
    return "<field><name>F" + bitRange.substr(1, 1) + "</name><bitRange>" + bitRange + "</bitRange>" + elements +
           "</field>";
}

} // namespace RynvelTest

#endif
