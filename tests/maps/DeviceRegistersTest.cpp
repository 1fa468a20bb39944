// SPDX-License-Identifier: MIT
#include "DeviceRegisters.h"

#include "MapText.h"

namespace RynvelTest {
namespace {

std::string sized(const std::string& name, unsigned int offset, unsigned int bits, const std::string& further = "") {
    return element("register", element("name", name) + element("addressOffset", std::to_string(offset)) +
                                   element("size", std::to_string(bits)) + further);
}

/** The registers of a map for a device with 16-bit registers. */
class Registers {
public:
    explicit Registers(const std::string& registers)
        : m_map(read(mapOf(registers))), m_registers(m_map.peripherals[0], 16) {}

    std::string obstacleTo(std::size_t position) const { return m_registers.obstacleTo(m_registers.all()[position]); }
    Maps::Word wordOf(std::size_t position) const { return m_registers.wordOf(m_registers.all()[position]); }

private:
    Maps::Device m_map;
    Maps::DeviceRegisters m_registers;
};

TEST(DeviceRegisters, CanBeAccessedUpToTheWidthOfTheDevice) {
    const Registers registers(sized("A", 0, 16) + sized("B", 2, 8) + sized("C", 4, 32));
    EXPECT_EQ(registers.obstacleTo(0), "");
    EXPECT_EQ(registers.obstacleTo(1), "");
    EXPECT_EQ(registers.obstacleTo(2), "register C has 32 bits (the device has 16-bit registers)");
}

TEST(DeviceRegisters, CannotShareAWordOfTheDevice) {
    const Registers registers(sized("A", 0, 8) + sized("B", 1, 8));
    EXPECT_EQ(registers.obstacleTo(0), "register A has 8 bits and shares a register of the device with register "
                                       "B (the device has 16-bit registers)");
    EXPECT_EQ(registers.obstacleTo(1), "register B: offset 0x00000001 is not a multiple of 2 (16-bit registers)");
}

TEST(DeviceRegisters, HaveTheReadSideEffectsOfAllRegistersInTheWord) {
    const Registers registers(sized("A", 0, 16) + sized("B", 2, 8) +
                              sized("C", 3, 8, "<readAction>clear</readAction>"));
    EXPECT_FALSE(registers.wordOf(0).hasReadSideEffect);
    EXPECT_TRUE(registers.wordOf(1).hasReadSideEffect);
    EXPECT_EQ(registers.wordOf(1).width, 16U);
}

} // namespace
} // namespace RynvelTest
