// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

const std::string registers = R"(
<register><name>CTRL</name><addressOffset>0</addressOffset><fields>
  <field><name>START</name><bitRange>[0:0]</bitRange><enumeratedValues>
    <enumeratedValue><name>running</name><value>1</value></enumeratedValue></enumeratedValues></field>
  <field><name>MODE</name><bitRange>[6:4]</bitRange></field></fields></register>
<register><name>SECRET</name><addressOffset>4</addressOffset><access>write-only</access></register>
<register><name>RXDATA</name><alternateRegister>TX</alternateRegister><addressOffset>8</addressOffset></register>
<register><name>TX</name><addressOffset>8</addressOffset></register>
<register><name>FIFO</name><addressOffset>0xC</addressOffset><readAction>modify</readAction></register>
<register><name>PENDING</name><addressOffset>0x10</addressOffset><fields>
  <field><name>FLAG</name><bitRange>[0:0]</bitRange><readAction>clear</readAction></field></fields></register>)";

std::string mapOf(const std::string& name, const std::string& furtherRegisters = "") {
    return "<device schemaVersion=\"1.3\"><name>D</name><version>1</version><description>d</description>"
           "<addressUnitBits>8</addressUnitBits><width>32</width><size>32</size><access>read-write</access>"
           "<resetValue>0</resetValue><resetMask>0xFFFFFFFF</resetMask><peripherals><peripheral><name>" +
           name + "</name><baseAddress>0</baseAddress><registers>" + registers + furtherRegisters +
           "</registers></peripheral></peripherals></device>";
}

/** Runs the command show on a device whose bytes are 1 to 16. */
class Show : public testing::Test {
protected:
    Show() {
        std::string bytes(4096, '\0');
        for (char i = 0; i < 16; ++i) {
            bytes[static_cast<std::size_t>(i)] = static_cast<char>(i + 1);
        }
        m_folder.store("map", bytes);
        describe(mapOf("map32"));
    }

    void describe(const std::string& map) const { m_folder.store("m.svd", map); }

    Ending run(const std::string& line) const {
        return runProgram(RYNVELCTL_FOR_TESTS, words("--map m.svd " + line), m_folder.path());
    }

    void expect(const std::string& line, int status, const std::string& output, const std::string& problem = "") const {
        expectEnding(run(line), status, output, problem, line);
    }

    TestFolder m_folder;
};

TEST_F(Show, PrintsAQuestionMarkForAControlCharacterInAName) {
    describe(mapOf("map32", "<register><name>E&#27;[2J</name><addressOffset>0x14</addressOffset></register>"));
    EXPECT_EQ(run("show map32").output.find('\x1B'), std::string::npos);
    EXPECT_NE(run("show map32").output.find("E?[2J"), std::string::npos);
    EXPECT_EQ(run("--json show map32").output.find('\x1B'), std::string::npos);
}

TEST_F(Show, PrintsTheReadableRegistersWithTheirFields) {
    expect("show map32", 0,
           "0x00000000  CTRL        = 0x04030201\n"
           "              MODE[6:4] = 0\n"
           "              START[0]  = 1 (running)\n"
           "0x00000008  RXDATA      = 0x0c0b0a09\n"
           "0x00000008  TX          = 0x0c0b0a09\n"
           "0x0000000c  FIFO        (not read, because reading has a side effect)\n"
           "0x00000010  PENDING     (not read, because reading has a side effect)\n");
}

TEST_F(Show, PrintsValuesForScripts) {
    expect("show map32 --quiet", 0, "CTRL 0x04030201\nRXDATA 0x0c0b0a09\nTX 0x0c0b0a09\n");
}

TEST_F(Show, PrintsOneObjectForEachRegister) {
    expect("show map32 --json", 0,
           R"({"name":"map32","address":0,"register":"CTRL","value":67305985,"fields":[{"name":"MODE","value":0},)"
           R"({"name":"START","value":1,"meaning":"running"}]})"
           "\n"
           R"({"name":"map32","address":8,"register":"RXDATA","value":202050057,"fields":[]})"
           "\n"
           R"({"name":"map32","address":8,"register":"TX","value":202050057,"fields":[]})"
           "\n"
           R"({"name":"map32","address":12,"register":"FIFO","skipped":"reading has a side effect"})"
           "\n"
           R"({"name":"map32","address":16,"register":"PENDING","skipped":"reading has a side effect"})"
           "\n");
}

TEST_F(Show, DoesNotReadAWordIfThatHasASideEffectOnAnotherRegister) {
    describe(mapOf("map32", "<register><name>OTHER</name><alternateRegister>FIFO</alternateRegister>"
                            "<addressOffset>0xC</addressOffset></register>"
                            "<register><name>WIDE</name><addressOffset>0x20</addressOffset><size>64</size>"
                            "<readAction>clear</readAction></register>"
                            "<register><name>HIGH</name><alternateRegister>WIDE</alternateRegister>"
                            "<addressOffset>0x24</addressOffset></register>"));
    for (const std::string name : {"OTHER", "HIGH"}) {
        expect("show map32 --quiet " + name, 2, "",
               "map32: register " + name +
                   " was not read, because reading has a side effect (--with-side-effects reads it)");
    }
}

TEST_F(Show, ReadsRegistersWithSideEffectsOnRequest) {
    expect("show map32 --with-side-effects FIFO PENDING", 0,
           "0x0000000c  FIFO      = 0x100f0e0d\n"
           "0x00000010  PENDING   = 0x00000000\n"
           "              FLAG[0] = 0\n");
}

TEST_F(Show, PrintsTheNamedRegisters) {
    expect("show map32 TX CTRL", 0,
           "0x00000008  TX          = 0x0c0b0a09\n"
           "0x00000000  CTRL        = 0x04030201\n"
           "              MODE[6:4] = 0\n"
           "              START[0]  = 1 (running)\n");
}

TEST_F(Show, FailsForANamedRegisterThatItDoesNotRead) {
    expect("show map32 FIFO TX", 2,
           "0x0000000c  FIFO (not read, because reading has a side effect)\n"
           "0x00000008  TX   = 0x0c0b0a09\n",
           "map32: register FIFO was not read, because reading has a side effect (--with-side-effects reads it)");
}

TEST_F(Show, RefusesNamesThatItCannotShow) {
    expect("show map32 TX SECRET", 2, "", "map32: register SECRET is write-only");
    expect("show map32 CTRL.MODE", 2, "", "map32: CTRL.MODE is a field (give a register)");
    expect("show map32 TXX", 2, "", "map32: 'TXX' is not a name in m.svd (did you mean 'TX'?)");
    expect("show file8", 2, "", "file8: no register map describes the device (give a map with --map)");
}

TEST_F(Show, SaysWhichRegistersTheDeviceCannotAccess) {
    describe(mapOf("map32", "<register><name>WIDE</name><addressOffset>0x20</addressOffset><size>64</size></register>"
                            "<register><name>OUT</name><addressOffset>0x1000</addressOffset></register>"));
    const std::string wide = "map32: register WIDE has 64 bits (the device has 32-bit registers)";
    const std::string outside = "map32: register OUT is outside the map of 4096 bytes";
    const std::string output = run("show map32").output;
    const std::string end = wide + '\n' + outside + '\n';
    ASSERT_GT(output.size(), end.size());
    EXPECT_EQ(output.substr(output.size() - end.size()), end);
    const std::string json = run("show map32 --json").output;
    EXPECT_NE(json.find("{\"skipped\":\"" + wide + "\"}\n{\"skipped\":\"" + outside + "\"}\n"), std::string::npos)
        << json;
    expect("show map32 TX OUT", 2, "", outside);
}

TEST_F(Show, PrintsWhatItHasReadBeforeAFailure) {
    describe(mapOf("remote"));
    TestPeer peer;
    peer.script({success(), success({1}), refusal()});
    expect("--remote " + peer.address() + " --type Uio32 show remote CTRL TX", 1,
           "0x00000000  CTRL        = 0x00000001\n"
           "              MODE[6:4] = 0\n"
           "              START[0]  = 1 (running)\n",
           "remote: reading TX failed: the server refused the request");
}

TEST_F(Show, DoesNotReadARegisterOfAServerWithASideEffect) {
    describe(mapOf("remote"));
    TestPeer peer;
    peer.script({success(), success({1}), success({2}), success({3})});
    EXPECT_EQ(run("--remote " + peer.address() + " --type Uio32 show remote").status, 0);
    const auto requests = peer.requests(4);
    ASSERT_EQ(requests.size(), 4U);
    for (const auto& [position, address] : {std::pair<std::size_t, std::uint32_t>{1, 0}, {2, 2}, {3, 2}}) {
        EXPECT_EQ(asRequest(requests[position].bytes).getAddress(), address);
    }
}

} // namespace
} // namespace RynvelTest
