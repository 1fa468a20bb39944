// SPDX-License-Identifier: MIT
#include <chrono>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "MacroNames.h"
#include "Program.h"

namespace RynvelTest {
namespace {

using Constants = std::map<std::string, unsigned long long>;

TEST(MacroName, IsInUpperCaseWithoutDoubledUnderscores) {
    using Rynvelctl::macroName;
    EXPECT_EQ(macroName({"traf.top", "cr", "en_1"}), "TRAF_TOP_CR_EN_1");
    EXPECT_EQ(macroName({"_a..b__", "DATA[3]", "_", "x"}), "A_B_DATA_3_X");
    EXPECT_EQ(macroName({"\xC3\xA4rger", "R"}), "RGER_R");
}

TEST(MacroName, BeginsWithALetter) {
    EXPECT_EQ(Rynvelctl::macroName({"8bit", "R"}), "DEVICE_8BIT_R");
    EXPECT_EQ(Rynvelctl::macroName({"..", ""}), "DEVICE_");
}

TEST(MacroNames, AreUnique) {
    Rynvelctl::MacroNames names;
    EXPECT_EQ(names.add("A", "1"), "A");
    EXPECT_EQ(names.add("A", "2"), "A_2");
    EXPECT_EQ(names.add("A", "3"), "A_3");
    EXPECT_EQ(names.add("A_2", "4"), "A_2_2");
}

TEST(MacroNames, DoNotUseReservedNamesForOtherMacros) {
    Rynvelctl::MacroNames names;
    names.reserve("A_2");
    EXPECT_EQ(names.add("A", "1"), "A");
    EXPECT_EQ(names.add("A", "2"), "A_3");
    EXPECT_EQ(names.add("A_2", "3"), "A_2");
}

TEST(MacroNames, AreFoundQuickly) {
    Rynvelctl::MacroNames names;
    const auto start = std::chrono::steady_clock::now();
    constexpr int count = 30000;
    for (int i = 1; i < count; ++i) {
        names.add("A", std::to_string(i));
    }
    EXPECT_EQ(names.add("A", "last"), "A_" + std::to_string(count));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
}

TEST(MacroNames, AreAddedOnceForTheSameMacro) {
    Rynvelctl::MacroNames names;
    EXPECT_EQ(names.add("A", "1"), "A");
    EXPECT_EQ(names.add("A", "1"), "");
    EXPECT_EQ(names.add("A", "2"), "A_2");
    EXPECT_EQ(names.add("A", "2"), "");
}

/** Returns the names of the macros that a header defines, without their parameters. */
std::set<std::string> macrosOf(const std::string& header) {
    std::set<std::string> names;
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        const std::string define = "#define ";
        if (line.compare(0, define.size(), define) == 0) {
            names.insert(line.substr(define.size(), line.find_first_of(" (", define.size()) - define.size()));
        }
    }
    return names;
}

std::set<std::string> macrosOf(const Constants& constants) {
    std::set<std::string> names;
    for (const auto& constant : constants) {
        names.insert(constant.first.substr(0, constant.first.find('(')));
    }
    return names;
}

/** A header that rynvelctl has written, and programs that use it. */
class Headers : public testing::Test {
protected:
    /** Writes the header of a device of a map. */
    void write(const std::string& map, const std::string& device) {
        m_folder.store("m.svd", map);
        const Ending ending =
            runProgram(RYNVELCTL_FOR_TESTS, words("--map m.svd maps header " + device), m_folder.path());
        EXPECT_EQ(ending.status, 0);
        EXPECT_EQ(ending.error, "");
        m_header = ending.output;
        m_folder.store("registers.h", m_header);
    }

    /**
     * Expects a compiler to accept the header in a language without a warning, and the constants to have these values.
     */
    void expectConstants(const Constants& constants, const std::string& compiler, const std::string& language) {
        std::string source =
            "#include \"registers.h\"\n#include \"registers.h\"\n#include <stdio.h>\n"
            "#define SHOW(X) printf(#X \" %llu\\n\", (unsigned long long)(X))\n"
            "int main(int argc, char** argv) {\n    int i = argc - 1;\n    (void)argv;\n    (void)i;\n";
        std::string expected;
        for (const auto& [name, value] : constants) {
            source += "    SHOW(" + name + ");\n";
            expected += name + ' ' + std::to_string(value) + '\n';
        }
        const std::string file = language == "c" ? "use.c" : "use.cpp";
        m_folder.store(file, source + "    return 0;\n}\n");
        compile({compiler, language == "c" ? "-std=c99" : "-std=c++17", "-Wall", "-Wextra", "-pedantic", "-Wconversion",
                 "-Werror", file, "-o", "use"});
        EXPECT_EQ(runProgram("./use", {}, m_folder.path()).output, expected) << language << '\n' << m_header;
    }

    void expectConstants(const Constants& constants) {
        expectConstants(constants, RYNVEL_C_COMPILER, "c");
        expectConstants(constants, RYNVEL_CXX_COMPILER, "c++");
    }

    void compile(const Arguments& command) const {
        const Ending ending = Process(command, {"cd '" + m_folder.path() + "' && ", {}, Process::toTheTest}).wait();
        EXPECT_EQ(ending.error, "");
        EXPECT_EQ(ending.status, 0) << m_header;
    }

    TestFolder m_folder;
    std::string m_header;
};

TEST_F(Headers, HaveTheConstantsOfTheMap) {
    write(timerMap(), "map32");
    const Constants constants{
        {"MAP32_CTRL_ADDRESS", 0},
        {"MAP32_CTRL_OFFSET", 0},
        {"MAP32_CTRL_RESET", 0x21},
        {"MAP32_CTRL_RUN_MASK", 1},
        {"MAP32_CTRL_RUN_SHIFT", 0},
        {"MAP32_CTRL_RUN_STOPPED", 0},
        {"MAP32_CTRL_RUN_RUNNING", 1},
        {"MAP32_CTRL_MODE_MASK", 0x70},
        {"MAP32_CTRL_MODE_SHIFT", 4},
        {"MAP32_CTRL_MODE_SLOW", 2},
        {"MAP32_CTRL_MODE_FAST", 4},
        {"MAP32_CTRL_GAIN_MASK", 0xFF00},
        {"MAP32_CTRL_GAIN_SHIFT", 8},
        {"MAP32_CTRL_PINA_MASK", 0x10000},
        {"MAP32_CTRL_PINA_SHIFT", 16},
        {"MAP32_CTRL_PINB_MASK", 0x20000},
        {"MAP32_CTRL_PINB_SHIFT", 17},
        {"MAP32_CTRL_PIN_MASK(0)", 0x10000},
        {"MAP32_CTRL_PIN_MASK(i + 1)", 0x20000},
        {"MAP32_CTRL_PIN_SHIFT(1)", 17},
        {"MAP32_CTRL_PIN_COUNT", 2},
        {"MAP32_STATUS_ADDRESS", 1},
        {"MAP32_STATUS_OFFSET", 4},
        {"MAP32_STATUS_RESET", 0},
        {"MAP32_STATUS_DONE_MASK", 0x80000000},
        {"MAP32_STATUS_DONE_SHIFT", 31},
        {"MAP32_ACK_ADDRESS", 2},
        {"MAP32_ACK_OFFSET", 8},
        {"MAP32_ACK_RESET", 0},
        {"MAP32_ACK_DONE_MASK", 0x80000000},
        {"MAP32_ACK_DONE_SHIFT", 31},
        {"MAP32_LEVEL_ADDRESS(0)", 6},
        {"MAP32_LEVEL_ADDRESS(i + 1)", 7},
        {"MAP32_LEVEL_OFFSET(i + 1)", 0x1C},
        {"MAP32_LEVEL_COUNT", 2},
        {"MAP32_LEVEL_RESET", 0},
        {"MAP32_CH_COUNT", 2},
        {"MAP32_CH_DATA_ADDRESS(0, 0)", 8},
        {"MAP32_CH_DATA_ADDRESS(1, i + 1)", 17},
        {"MAP32_CH_DATA_OFFSET(1, 1)", 0x44},
        {"MAP32_CH_DATA_COUNT", 2},
        {"MAP32_CH_DATA_RESET", 0},
        {"MAP32_CH_0_DATAIN_ADDRESS", 8},
        {"MAP32_CH_0_DATAIN_OFFSET", 0x20},
        {"MAP32_CH_0_DATAOUT_ADDRESS", 9},
        {"MAP32_CH_0_DATAOUT_OFFSET", 0x24},
        {"MAP32_CH_1_DATAIN_ADDRESS", 16},
        {"MAP32_CH_1_DATAIN_OFFSET", 0x40},
        {"MAP32_CH_1_DATAOUT_ADDRESS", 17},
        {"MAP32_CH_1_DATAOUT_OFFSET", 0x44},
        {"MAP32_CH_LIMIT_ADDRESS(i + 1)", 18},
        {"MAP32_CH_LIMIT_OFFSET(1)", 0x48},
        {"MAP32_CH_LIMIT_RESET", 0},
    };
    expectConstants(constants);
    std::set<std::string> expected = macrosOf(constants);
    expected.insert("MAP32_REGISTERS_H");
    EXPECT_EQ(macrosOf(m_header), expected);
}

TEST_F(Headers, DescribeThemselvesAndWhatTheyLeaveOut) {
    write(timerMap(), "map32");
    EXPECT_EQ(m_header.rfind(
                  "/* map32: A timer */\n"
                  "/* Made by 'rynvelctl maps header' from m.svd, version 1.2 */\n"
                  "/*\n * REGISTER_ADDRESS: the address to pass to Rynvel2_read32 and the other Rynvel2_ functions "
                  "for 32-bit\n *                   registers of a device of the type Tyvon32\n",
                  0),
              0U)
        << m_header;
    EXPECT_NE(m_header.find("/* Left out: map32: register WIDE has 64 bits (the device has 32-bit registers) */\n"),
              std::string::npos)
        << m_header;
    EXPECT_NE(m_header.find("\n/* CTRL: Control */\n#define MAP32_CTRL_ADDRESS 0x0U\n"), std::string::npos) << m_header;
}

TEST_F(Headers, HaveTheAddressesOfTheDeviceType) {
    const std::string registers = registerAt("A", "4", "<size>16</size>") +
                                  registerAt("B%s", "8", "<dim>3</dim><dimIncrement>2</dimIncrement><size>16</size>");
    const std::string map =
        mapOfPeripherals(peripheralOf("file16", "", registers) + peripheralOf("map16", "", registers));
    write(map, "file16");
    expectConstants({{"FILE16_A_ADDRESS", 4}, {"FILE16_A_OFFSET", 4}, {"FILE16_B_ADDRESS(i + 2)", 12}});
    write(map, "map16");
    expectConstants({{"MAP16_A_ADDRESS", 2}, {"MAP16_A_OFFSET", 4}, {"MAP16_B_ADDRESS(i + 2)", 6}});
    EXPECT_NE(m_header.find("the address to pass to Rynvel2_read16 and the other Rynvel2_ functions for 16-bit\n"),
              std::string::npos)
        << m_header;
}

TEST_F(Headers, HaveSeparateFunctionsForNarrowRegisters) {
    write(mapOfPeripherals(peripheralOf("file8", "", registerAt("A", "3", "<size>8</size>"))), "file8");
    expectConstants({{"FILE8_A_ADDRESS", 3}, {"FILE8_A_OFFSET", 3}});
    EXPECT_NE(m_header.find("the address to pass to Rynvel_read8 and the other Rynvel_ functions for 8-bit\n"),
              std::string::npos)
        << m_header;
}

TEST_F(Headers, NameTheElementsOfAnArrayOfWhichTheDeviceCannotAccessAll) {
    write(mapOfPeripherals(peripheralOf(
              "map32", "", registerAt("A%s", "0", "<dim>4</dim><dimIncrement>2</dimIncrement><size>32</size>"))),
          "map32");
    EXPECT_EQ(macrosOf(m_header),
              (std::set<std::string>{"MAP32_REGISTERS_H", "MAP32_A0_ADDRESS", "MAP32_A0_OFFSET", "MAP32_A0_RESET",
                                     "MAP32_A2_ADDRESS", "MAP32_A2_OFFSET", "MAP32_A2_RESET"}));
}

TEST_F(Headers, KeepNamesApart) {
    const auto fields = [](const std::string& name, const std::string& values) {
        return "<fields><field><name>" + name + "</name><bitRange>[0:0]</bitRange>" + values + "</field></fields>";
    };
    const std::string mask =
        "<enumeratedValues><enumeratedValue><name>MASK</name><value>0</value></enumeratedValue></enumeratedValues>";
    write(mapOfPeripherals(peripheralOf("map32", "",
                                        registerAt("A_B", "0", fields("C", mask)) +
                                            registerAt("A", "4", fields("B_C", "")) + registerAt("a", "8", "") +
                                            registerAt("REGISTERS", "12", ""))),
          "map32");
    expectConstants({{"MAP32_A_B_ADDRESS", 0},
                     {"MAP32_A_ADDRESS", 1},
                     {"MAP32_A_2_ADDRESS", 2},
                     {"MAP32_A_OFFSET", 4},
                     {"MAP32_A_2_OFFSET", 8},
                     {"MAP32_A_B_C_MASK", 1},
                     {"MAP32_A_B_C_MASK_2", 0},
                     {"MAP32_A_B_C_SHIFT", 0},
                     {"MAP32_A_B_C_2_MASK", 1},
                     {"MAP32_REGISTERS_ADDRESS", 3}});
}

std::string fieldAt(const std::string& name, const std::string& bits, const std::string& further = "") {
    return "<field><name>" + name + "</name><bitRange>" + bits + "</bitRange>" + further + "</field>";
}

std::string valueOf(const std::string& name, const std::string& value) {
    return "<enumeratedValues><enumeratedValue><name>" + name + "</name><value>" + value +
           "</value></enumeratedValue></enumeratedValues>";
}

TEST_F(Headers, HaveTheSameMacrosOnlyOnce) {
    write(mapOfPeripherals(peripheralOf(
              "map32", "",
              registerAt("A_B", "4", "") + registerAt("A.B", "4", "<alternateRegister>A_B</alternateRegister>") +
                  registerAt("C", "8", fieldsOf(fieldAt("F_G", "[3:2]") + fieldAt("F.G", "[3:2]"))))),
          "map32");
    EXPECT_NE(m_header.find("\n/* A.B */\n\n"), std::string::npos) << m_header;
    expectConstants({{"MAP32_A_B_ADDRESS", 1}, {"MAP32_C_F_G_MASK", 12}, {"MAP32_C_F_G_SHIFT", 2}});
    for (const std::string name : {"MAP32_A_B_ADDRESS", "MAP32_C_F_G_MASK"}) {
        EXPECT_EQ(m_header.find("#define " + name), m_header.rfind("#define " + name)) << name;
    }
}

TEST_F(Headers, GiveAllMacrosOfARegisterTheSameNumber) {
    const auto fields = [](const std::string& content) { return "<fields>" + content + "</fields>"; };
    write(
        mapOfPeripherals(peripheralOf(
            "map32", "",
            registerAt("R-1", "0", fields(fieldAt("F", "[3:0]"))) +
                registerAt("R.1", "4", fields(fieldAt("F", "[3:0]"))) +
                registerAt("R_1", "8", "<resetValue>5</resetValue>" + fields(fieldAt("F", "[7:4]"))) +
                registerAt("R_1_2", "12", "") +
                registerAt("S", "16", fields(fieldAt("F-1", "[3:0]") + fieldAt("F.1", "[4:4]", valueOf("ON", "1")))))),
        "map32");
    const Constants constants{{"MAP32_R_1_ADDRESS", 0},   {"MAP32_R_1_OFFSET", 0},      {"MAP32_R_1_RESET", 0},
                              {"MAP32_R_1_F_MASK", 0xF},  {"MAP32_R_1_F_SHIFT", 0},     {"MAP32_R_1_2_ADDRESS", 3},
                              {"MAP32_R_1_2_OFFSET", 12}, {"MAP32_R_1_2_RESET", 0},     {"MAP32_R_1_3_ADDRESS", 1},
                              {"MAP32_R_1_3_OFFSET", 4},  {"MAP32_R_1_3_RESET", 0},     {"MAP32_R_1_3_F_MASK", 0xF},
                              {"MAP32_R_1_3_F_SHIFT", 0}, {"MAP32_R_1_4_ADDRESS", 2},   {"MAP32_R_1_4_OFFSET", 8},
                              {"MAP32_R_1_4_RESET", 5},   {"MAP32_R_1_4_F_MASK", 0xF0}, {"MAP32_R_1_4_F_SHIFT", 4},
                              {"MAP32_S_ADDRESS", 4},     {"MAP32_S_OFFSET", 16},       {"MAP32_S_RESET", 0},
                              {"MAP32_S_F_1_MASK", 0xF},  {"MAP32_S_F_1_SHIFT", 0},     {"MAP32_S_F_1_2_MASK", 0x10},
                              {"MAP32_S_F_1_2_SHIFT", 4}, {"MAP32_S_F_1_2_ON", 1}};
    expectConstants(constants);
    std::set<std::string> expected = macrosOf(constants);
    expected.insert("MAP32_REGISTERS_H");
    EXPECT_EQ(macrosOf(m_header), expected);
}

TEST_F(Headers, NameTheElementsOfAnArrayThatLeavesItsRegister) {
    const std::string array = "<field><dim>4</dim><dimIncrement>8</dimIncrement><name>P%s</name>"
                              "<bitRange>[15:8]</bitRange>" +
                              valueOf("ON", "1") + "</field>";
    write(mapOfPeripherals(peripheralOf("map32", "", registerAt("A", "0", "<fields>" + array + "</fields>"))), "map32");
    expectConstants({{"MAP32_A_P0_MASK", 0xFF00}, {"MAP32_A_P2_MASK", 0xFF000000}, {"MAP32_A_P2_SHIFT", 24}});
    EXPECT_EQ(macrosOf(m_header),
              (std::set<std::string>{"MAP32_REGISTERS_H", "MAP32_A_ADDRESS", "MAP32_A_OFFSET", "MAP32_A_RESET",
                                     "MAP32_A_P0_MASK", "MAP32_A_P0_SHIFT", "MAP32_A_P0_ON", "MAP32_A_P1_MASK",
                                     "MAP32_A_P1_SHIFT", "MAP32_A_P1_ON", "MAP32_A_P2_MASK", "MAP32_A_P2_SHIFT",
                                     "MAP32_A_P2_ON"}));
}

TEST_F(Headers, LeaveOutValuesThatDoNotFitTheirField) {
    const auto value = [](const std::string& name, const std::string& number) {
        return "<enumeratedValue><name>" + name + "</name><value>" + number + "</value></enumeratedValue>";
    };
    write(mapOfPeripherals(peripheralOf("map32", "",
                                        registerAt("A", "0",
                                                   "<fields>" +
                                                       fieldAt("F", "[7:4]",
                                                               "<enumeratedValues>" + value("FITS", "15") +
                                                                   value("WIDE", "16") + "</enumeratedValues>") +
                                                       "</fields>"))),
          "map32");
    EXPECT_EQ(macrosOf(m_header),
              (std::set<std::string>{"MAP32_REGISTERS_H", "MAP32_A_ADDRESS", "MAP32_A_OFFSET", "MAP32_A_RESET",
                                     "MAP32_A_F_MASK", "MAP32_A_F_SHIFT", "MAP32_A_F_FITS"}));
}

TEST_F(Headers, AreValidWhateverTheMapSays) {
    const std::string text =
        "<description>a */ #error /* */*/*/ \\ ?\?/ \xE2\x80\xAE \xE2\x81\xA6 \xC2\xB5s // \"</description>";
    write(mapOfPeripherals(peripheralOf("map32", "*/ int x; /*",
                                        registerAt("int", "0",
                                                   text + "<fields><field><name>R-1 (x)</name>" + text +
                                                       "<bitRange>[31:0]</bitRange></field></fields>") +
                                            registerAt("*/ int y; /*", "4", text) + registerAt("\xC3\xA4", "8", ""))),
          "map32");
    expectConstants({{"MAP32_INT_ADDRESS", 0},
                     {"MAP32_INT_R_1_X_MASK", 0xFFFFFFFF},
                     {"MAP32_INT_Y_ADDRESS", 1},
                     {"MAP32_ADDRESS", 2}});
    for (const std::string mark : {"\xE2\x80\xAE", "\xE2\x81\xA6"}) {
        EXPECT_EQ(m_header.find(mark), std::string::npos);
    }
    EXPECT_NE(m_header.find("\xC2\xB5s"), std::string::npos);
}

TEST_F(Headers, KeepThePunctuationOfDescriptions) {
    const std::string punctuation = "\xE2\x80\x94 \xE2\x80\x98 \xE2\x80\xA6 \xE2\x80\xA7";
    write(mapOfPeripherals(
              peripheralOf("map32", "", registerAt("A", "0", "<description>" + punctuation + "</description>"))),
          "map32");
    EXPECT_NE(m_header.find(punctuation), std::string::npos) << m_header;
}

TEST_F(Headers, AreAStringInJson) {
    m_folder.store("m.svd", mapOfPeripherals(peripheralOf("map32", "", registerAt("A", "0", ""))));
    const Ending ending =
        runProgram(RYNVELCTL_FOR_TESTS, words("--map m.svd --json maps header map32"), m_folder.path());
    EXPECT_EQ(ending.output.rfind("{\"name\":\"map32\",\"header\":\"/* map32 */\\u000a", 0), 0U) << ending.output;
    const std::string end = "\\u000a#endif\"}\n";
    EXPECT_EQ(ending.output.substr(ending.output.size() - end.size()), end);
}

} // namespace
} // namespace RynvelTest
