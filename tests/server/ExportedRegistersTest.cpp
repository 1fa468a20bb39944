// SPDX-License-Identifier: MIT
#include "ExportedRegisters.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

#include "BusErrorGuard.h"
#include "DescriptionText.h"
#include "HttpRequest.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::ExportedRegister;
using Rynveld::ExportedRegisters;
using Rynveld::MetricText;
using Rynveld::Policy;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;

/** Exported registers of devices whose files and map are in a folder of the test. */
class ExportedRegistersTest : public testing::Test {
protected:
    ExportedRegistersTest() {
        std::filesystem::create_directory("maps");
        writeMap("seek_16",
                 registerOf("STATUS", "0x4", fieldNamed("LOCK", "[1:1]") + fieldNamed("LEVEL", "[15:4]")) +
                     registerOf("COUNT", "0x6", "") + registerOf("NARROW", "0x8", "", "<size>8</size>") +
                     registerOf("CLEARS", "0xA", "", "<readAction>clear</readAction>") +
                     registerOf("HIDDEN", "0xC", "", "<access>write-only</access>") +
                     registerOf("PART", "0xE", fieldNamed("SECRET", "[0:0]", "<access>write-only</access>")) +
                     registerOf("WIDE", "0x10", "", "<size>32</size>") +
                     registerOf("SMALL", "0x12", fieldNamed("BEYOND", "[20:17]")) +
                     registerOf("PULSES", "0x14", fieldNamed("N", "[3:0]", "<readAction>clear</readAction>")));
        writeMap("seek_32", registerOf("ID", "0x4", "", "<size>32</size>"));
    }

    static std::string fieldNamed(const std::string& name, const std::string& bits, const std::string& rest = "") {
        return "<field><name>" + name + "</name><bitRange>" + bits + "</bitRange>" + rest + "</field>";
    }
    static std::string registerOf(const std::string& name, const std::string& offset, const std::string& fields,
                                  const std::string& rest = "") {
        return "<register><name>" + name + "</name><addressOffset>" + offset + "</addressOffset>" +
               (rest.find("<size>") == std::string::npos ? "<size>16</size>" : "") + rest +
               (fields.empty() ? "" : "<fields>" + fields + "</fields>") + "</register>\n";
    }
    static void writeMap(const std::string& peripheral, const std::string& registers) {
        std::ofstream("maps/" + peripheral + ".svd") << mapWith(peripheral, registers);
    }
    /** Writes bytes into the file of the devices seek.8, seek.16 and seek.32. */
    static void writeDevice(const std::vector<char>& bytes) {
        std::ofstream("registers.seek", std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    std::vector<ExportedRegister> find(const Names& names) const {
        Maps::MapCatalog catalog({"maps"});
        return Rynveld::findExportedRegisters(names, catalog, m_policy);
    }
    std::string problemOf(const std::string& name) const {
        try {
            find({name});
        } catch (const std::invalid_argument& problem) {
            return problem.what();
        }
        return "";
    }
    void useExports(const Names& names) { m_exported = std::make_unique<ExportedRegisters>(find(names), m_devices); }
    std::string text() {
        MetricText text;
        m_exported->writeTo(text, m_now);
        return text.text();
    }

    const TemporaryWorkingFolder m_folder;
    Policy m_policy;
    const Rynveld::CurrentPolicy m_currentPolicy{m_policy};
    Rynveld::ServedDevices m_devices{m_currentPolicy};
    std::unique_ptr<ExportedRegisters> m_exported;
    ExportedRegisters::Time m_now{24h};
};

TEST_F(ExportedRegistersTest, ShowRegistersAndFields) {
    writeDevice({0, 0, 0, 0, 0x32, 0x54, 0x11, 0x22, 0x7F, 0x33});
    useExports({"seek.16.STATUS.LOCK", "seek.16.STATUS.LEVEL", "seek.16.COUNT", "seek.32.ID"});
    const std::string metrics = text();
    EXPECT_TRUE(hasSample(metrics, "rynveld_register_value{device=\"seek.16\",register=\"STATUS\",field=\"LOCK\"} 1"));
    EXPECT_TRUE(
        hasSample(metrics, "rynveld_register_value{device=\"seek.16\",register=\"STATUS\",field=\"LEVEL\"} 1347"));
    EXPECT_TRUE(hasSample(metrics, "rynveld_register_value{device=\"seek.16\",register=\"COUNT\"} 8721")) << metrics;
    EXPECT_TRUE(hasSample(metrics, "rynveld_register_value{device=\"seek.32\",register=\"ID\"} 571561010"));
    EXPECT_EQ(metrics.find("register=\"STATUS\"} 1347"), std::string::npos);
    EXPECT_TRUE(hasSample(metrics, "rynveld_register_reads_total{device=\"seek.16\",register=\"STATUS\"} 1"));
}

TEST_F(ExportedRegistersTest, LeaveOutTheBitsOutsideANarrowRegister) {
    writeDevice({0, 0, 0, 0, 0, 0, 0, 0, 0x7F, 0x33});
    useExports({"seek.16.NARROW"});
    EXPECT_TRUE(hasSample(text(), "rynveld_register_value{device=\"seek.16\",register=\"NARROW\"} 127"));
}

TEST_F(ExportedRegistersTest, ReadARegisterAtMostOncePerPeriod) {
    writeDevice({0, 0, 0, 0, 0, 0, 1, 0});
    useExports({"seek.16.COUNT"});
    text();
    writeDevice({0, 0, 0, 0, 0, 0, 2, 0});
    m_now += ExportedRegisters::period - 1ns;
    EXPECT_TRUE(hasSample(text(), "rynveld_register_value{device=\"seek.16\",register=\"COUNT\"} 1"));
    EXPECT_TRUE(hasSample(text(), "rynveld_register_reads_total{device=\"seek.16\",register=\"COUNT\"} 1"));
    m_now += 1ns;
    EXPECT_TRUE(hasSample(text(), "rynveld_register_value{device=\"seek.16\",register=\"COUNT\"} 2"));
    EXPECT_TRUE(hasSample(text(), "rynveld_register_reads_total{device=\"seek.16\",register=\"COUNT\"} 2"));
}

TEST_F(ExportedRegistersTest, HaveNoSampleAfterAFailedRead) {
    writeDevice({0, 0, 0, 0, 0, 0, 9, 0});
    useExports({"seek.16.COUNT"});
    EXPECT_NE(text().find("\nrynveld_register_value{"), std::string::npos);
    std::filesystem::remove("registers.seek");
    m_now += ExportedRegisters::period;
    const std::string failed = text();
    EXPECT_EQ(failed.find("\nrynveld_register_value{"), std::string::npos) << failed;
    EXPECT_TRUE(hasSample(failed, "rynveld_failed_register_reads_total{device=\"seek.16\",register=\"COUNT\"} 1"));
    // The server does not read the register again in the period of the failed read.
    EXPECT_EQ(text().find("\nrynveld_register_value{"), std::string::npos);
    EXPECT_TRUE(hasSample(text(), "rynveld_register_reads_total{device=\"seek.16\",register=\"COUNT\"} 2"));
    writeDevice({0, 0, 0, 0, 0, 0, 8, 0});
    m_now += ExportedRegisters::period;
    EXPECT_TRUE(hasSample(text(), "rynveld_register_value{device=\"seek.16\",register=\"COUNT\"} 8"));
}

TEST_F(ExportedRegistersTest, HaveNoSampleForARegisterBeyondTheEndOfTheDevice) {
    writeDevice({0, 0});
    useExports({"seek.16.COUNT"});
    EXPECT_EQ(text().find("\nrynveld_register_value{"), std::string::npos);
    EXPECT_TRUE(hasSample(text(), "rynveld_failed_register_reads_total{device=\"seek.16\",register=\"COUNT\"} 1"));
}

TEST_F(ExportedRegistersTest, HaveNoSampleAfterABusError) {
    Common::BusErrorGuard::install();
    TemporaryWorkingFolder::makeFile("registers.map", 0);
    writeMap("map_32", registerOf("ID", "0x4", "", "<size>32</size>"));
    useExports({"map.32.ID"});
    EXPECT_EQ(text().find("\nrynveld_register_value{"), std::string::npos);
    EXPECT_TRUE(hasSample(text(), "rynveld_failed_register_reads_total{device=\"map.32\",register=\"ID\"} 1"));
}

TEST_F(ExportedRegistersTest, HaveEachSampleOnlyOnce) {
    writeDevice({0, 0, 0, 0, 0x32, 0x54});
    useExports({"seek.16.STATUS", "seek.16.STATUS.LOCK", "seek.16.STATUS", "seek.16.STATUS.LOCK"});
    const std::string metrics = text();
    const std::string sample = "rynveld_register_value{device=\"seek.16\",register=\"STATUS\",field=\"LOCK\"}";
    EXPECT_EQ(metrics.find(sample), metrics.rfind(sample));
    EXPECT_TRUE(hasSample(metrics, "rynveld_register_value{device=\"seek.16\",register=\"STATUS\"} 21554"));
    EXPECT_TRUE(hasSample(metrics, "rynveld_register_reads_total{device=\"seek.16\",register=\"STATUS\"} 1"));
}

TEST_F(ExportedRegistersTest, AreRefusedIfReadingThemHasASideEffect) {
    for (const std::string name : {"CLEARS", "PULSES", "PULSES.N"}) {
        EXPECT_EQ(problemOf("seek.16." + name),
                  "--export: seek.16: reading register " + name.substr(0, name.find('.')) +
                      " has a side effect (the server reads an exported register repeatedly)");
    }
}

TEST_F(ExportedRegistersTest, AreRefusedIfTheyCannotBeRead) {
    EXPECT_EQ(problemOf("seek.16.HIDDEN"), "--export: seek.16: register HIDDEN is write-only");
    EXPECT_EQ(problemOf("seek.16.PART.SECRET"), "--export: seek.16: field PART.SECRET is write-only");
    EXPECT_EQ(problemOf("seek.16.SMALL.BEYOND"), "--export: seek.16: field SMALL.BEYOND is outside its register");
    EXPECT_EQ(problemOf("seek.16.WIDE"),
              "--export: seek.16: register WIDE has 32 bits (the device has 16-bit registers)");
}

TEST_F(ExportedRegistersTest, AreRefusedWithASuggestionIfTheNameIsUnknown) {
    EXPECT_EQ(problemOf("seek.16.STATSU"),
              "--export: seek.16: 'STATSU' is not a name in maps/seek_16.svd (did you mean 'STATUS'?)");
    EXPECT_EQ(problemOf("seek.16.STATUS.LOK"),
              "--export: seek.16: 'STATUS.LOK' is not a name in maps/seek_16.svd (did you mean 'STATUS.LOCK'?)");
    EXPECT_EQ(problemOf("seek.16.nothing like it"), "--export: seek.16: 'nothing like it' is not a name in "
                                                    "maps/seek_16.svd ('rynvelctl describe seek.16' shows the names)");
    EXPECT_EQ(problemOf("mxssing.STATUS"),
              "--export: 'mxssing.STATUS' does not begin with the name of a device and a dot "
              "(did you mean 'missing'?)");
    EXPECT_EQ(problemOf("STATUS"), "--export: 'STATUS' does not begin with the name of a device and a dot "
                                   "('rynvelctl list' shows all names)");
    EXPECT_EQ(problemOf(""), "--export: '' does not begin with the name of a device and a dot "
                             "('rynvelctl list' shows all names)");
}

TEST_F(ExportedRegistersTest, AreRefusedForDevicesThatTheServerDoesNotServe) {
    EXPECT_EQ(problemOf("far.STATUS"),
              "--export: device 'far' is remote (rynveld serves only devices of its own machine)");
    EXPECT_EQ(problemOf("missing.STATUS"),
              "--export: no register map describes device 'missing' (give the path of a register map with --map)");
    m_policy.devices = {"seek.8"};
    EXPECT_EQ(problemOf("seek.16.STATUS"), "--export: device 'seek.16' is not served (add --device seek.16)");
}

} // namespace
} // namespace RynvelTest
