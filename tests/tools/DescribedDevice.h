/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_DESCRIBEDDEVICE_H
#define RYNVEL_TESTS_DESCRIBEDDEVICE_H

#include <string>

namespace RynvelTest {

/** Returns a register map with these peripherals, for devices with 32-bit registers. */
inline std::string mapOfPeripherals(const std::string& peripherals) {
    return "<device schemaVersion=\"1.3\"><name>Board</name><version>1.2</version><description>A board</description>\n"
           "<addressUnitBits>8</addressUnitBits><width>32</width><size>32</size><access>read-write</access>"
           "<resetValue>0</resetValue><resetMask>0xFFFFFFFF</resetMask>\n<peripherals>\n" +
           peripherals + "</peripherals></device>\n";
}

/** Returns the element of a peripheral. @param description may be empty. */
inline std::string peripheralOf(const std::string& name, const std::string& description, const std::string& contents) {
    return "<peripheral><name>" + name + "</name>" +
           (description.empty() ? "" : "<description>" + description + "</description>") +
           "<baseAddress>0</baseAddress>\n<registers>\n" + contents + "</registers></peripheral>\n";
}

/** Returns the element of a register with further elements. */
inline std::string registerAt(const std::string& name, const std::string& offset, const std::string& elements) {
    return "<register><name>" + name + "</name><addressOffset>" + offset + "</addressOffset>" + elements +
           "</register>\n";
}

/** Returns the element of a field with further elements. @param bits the bit range, such as 7:4. */
inline std::string fieldAt(const std::string& name, const std::string& bits, const std::string& elements = "") {
    return "<field><name>" + name + "</name><bitRange>[" + bits + "]</bitRange>" + elements + "</field>";
}

/** Returns the element that contains the fields of a register. */
inline std::string fieldsOf(const std::string& fields) { return "<fields>" + fields + "</fields>"; }

/**
 * Returns the map of a timer, the device map32. The map contains every element that a description of a device shows.
 */
inline std::string timerMap() {
    return mapOfPeripherals(peripheralOf(
        "map32", "A timer",
        registerAt("CTRL", "0",
                   "<description>Control</description><resetValue>0x21</resetValue><fields>"
                   "<field><name>RUN</name><description>Runs the timer</description><bitRange>[0:0]</bitRange>"
                   "<enumeratedValues><enumeratedValue><name>stopped</name><value>0</value></enumeratedValue>"
                   "<enumeratedValue><name>running</name><description>It counts</description><value>1</value>"
                   "</enumeratedValue></enumeratedValues></field>"
                   "<field><name>MODE</name><description>Clock mode</description><bitRange>[6:4]</bitRange>"
                   "<enumeratedValues><enumeratedValue><name>slow</name><value>#01x</value></enumeratedValue>"
                   "<enumeratedValue><name>fast</name><value>4</value></enumeratedValue>"
                   "<enumeratedValue><name>unknown</name><isDefault>true</isDefault></enumeratedValue>"
                   "</enumeratedValues></field>"
                   "<field><name>GAIN</name><bitRange>[15:8]</bitRange><writeConstraint><range><minimum>1</minimum>"
                   "<maximum>9</maximum></range></writeConstraint></field>"
                   "<field><name>PIN%s</name><dim>2</dim><dimIncrement>1</dimIncrement><dimIndex>A,B</dimIndex>"
                   "<lsb>16</lsb><msb>16</msb></field></fields>") +
            registerAt("STATUS", "4",
                       "<description>State</description><access>read-only</access><resetMask>0xFF</resetMask>"
                       "<readAction>clear</readAction><fields><field><name>DONE</name><bitRange>[31:31]</bitRange>"
                       "</field></fields>") +
            registerAt("ACK", "8",
                       "<access>write-only</access><modifiedWriteValues>oneToClear</modifiedWriteValues><fields>"
                       "<field><name>DONE</name><bitRange>[31:31]</bitRange></field></fields>") +
            registerAt("WIDE", "0x10", "<size>64</size><resetMask>0xFFFFFFFFFFFFFFFF</resetMask>") +
            registerAt("LEVEL%s", "0x18", "<dim>2</dim><dimIncrement>4</dimIncrement>") +
            "<cluster><name>CH[%s]</name><description>A channel</description><dim>2</dim>"
            "<dimIncrement>0x20</dimIncrement><addressOffset>0x20</addressOffset>\n" +
            registerAt("DATA%s", "0",
                       "<dim>2</dim><dimIncrement>4</dimIncrement><dimIndex>IN,OUT</dimIndex>"
                       "<description>Data</description>") +
            registerAt("LIMIT", "8", "") + "</cluster>\n"));
}

} // namespace RynvelTest

#endif
