#include <stdexcept>

#include <gtest/gtest.h>
#include <rynvel.h>

#include "ChildProcess.h"
#include "Fault.h"
#include "ScriptedOs.h"
#include "TraceRecorder.h"

// Built with the device table of the tests. Opening fills a process-wide list, so what opens runs in a child.

namespace {

using namespace RynvelTest;

constexpr int handle8 = 0;
constexpr int handle16 = 1;
constexpr int handle32 = 2;
constexpr int handleOfUnsupported = 3;

/** Opens the three devices on a scripted machine, then runs the body with an empty event log. */
template <typename Body>
void withOpenDevices(Body body) {
    inChildProcess([&] {
        ScriptedOs os;
        ASSERT_EQ(Rynvel_open("lseek8"), handle8);
        ASSERT_EQ(Rynvel_open("lseek16"), handle16);
        ASSERT_EQ(Rynvel_open("lseek32"), handle32);
        os.log().clear();
        body(os);
    });
}

/** The entry that the operation leaves on the backend's channel. */
template <typename Operation>
std::string entryOf(Operation operation) {
    const TraceRecorder recorder(6, "Rynvel.Lseek");
    operation();
    const auto lines = recorder.lines();
    return lines.size() == 1 ? lines.front() : "not one entry";
}

TEST(CInterface, OpensADeviceByItsNameToItsHandleEveryTime) {
    inChildProcess([] {
        ScriptedOs os;
        EXPECT_EQ(Rynvel_open("lseek32"), handle32);
        EXPECT_EQ(Rynvel_open("lseek8"), handle8);
        EXPECT_EQ(Rynvel_open("lseek32"), handle32);
        EXPECT_EQ(Rynvel_open2("lseek32"), handle32);
        EXPECT_EQ(Rynvel_open2("lseek16"), handle16);
        EXPECT_EQ(os.log(), (EventLog{"open(/dev/lseek32, 2)", "open(/dev/lseek8, 2)", "open(/dev/lseek16, 2)"}));
    });
}

TEST(CInterface, GivesNoHandleForAnUnknownNameOrAnUnsupportedType) {
    const TraceRecorder recorder(3);
    EXPECT_EQ(Rynvel_open("unknown"), -1);
    EXPECT_EQ(Rynvel_open2("unknown"), -1);
    EXPECT_EQ(Rynvel_open(""), -1);
    EXPECT_EQ(Rynvel_open("unsupported"), -1);
    EXPECT_EQ(recorder.lines().back(), "Rynvel.Factory 1 createDevice: Unsupported device \"unsupported\"");
}

TEST(CInterface, LetsTheExceptionOfANullNamePass) {
    EXPECT_THROW(Rynvel_open(nullptr), std::logic_error);
    EXPECT_THROW(Rynvel_open2(nullptr), std::logic_error);
}

TEST(CInterface, ClosesNothing) {
    withOpenDevices([](ScriptedOs& os) {
        Rynvel_close(handle32);
        Rynvel_close(-1);
        Rynvel_close(1000);
        EXPECT_EQ(os.log(), EventLog{});
        std::uint32_t value = 0;
        EXPECT_EQ(Rynvel_read32(handle32, 0, &value), 0);
    });
}

TEST(CInterface, ForwardsARequestAndReturnsItsResultAsItIs) {
    withOpenDevices([](ScriptedOs& os) {
        os.script(Call::Ioctl, {answering(42), failing(ENOTTY), answering(-5)});
        EXPECT_EQ(Rynvel_ioctl(handle8, 0x5401, 0xBEEF), 42);
        EXPECT_EQ(Rynvel_ioctl(handle8, 0x5401, 0xBEEF), -1);
        EXPECT_EQ(Rynvel_ioctl(handle8, 0x5401, 0xBEEF), -5);
        EXPECT_EQ(os.log().front(), "ioctl(7, 0x5401, 0xbeef)");
    });
}

TEST(CInterface, ReportsTheMissingInterruptsOfADevice) {
    withOpenDevices([](ScriptedOs& os) {
        unsigned long info = 0x55;
        EXPECT_EQ(Rynvel_getInterruptType(handle8, &info), -1);
        EXPECT_EQ(Rynvel_enableInterrupts(handle8), -1);
        EXPECT_EQ(Rynvel_disableInterrupts(handle8), -1);
        EXPECT_EQ(Rynvel_receiveInterrupts(handle8, &info), -1);
        EXPECT_EQ(info, 0x55U);
        EXPECT_EQ(os.log(), EventLog{});
    });
}

TEST(CInterface, GivesTheDescriptorOfADevice) {
    withOpenDevices([](ScriptedOs&) { EXPECT_EQ(Rynvel_getFileDescriptor(handle16), ScriptedOs::descriptor); });
}

TEST(CInterface, GivesNoDescriptorAndNoRequestsOfADeviceThatHasNone) {
    inChildProcess([] {
        ScriptedOs os;
        const int handle = Rynvel_open("fpga");
        os.log().clear();
        EXPECT_EQ(Rynvel_getFileDescriptor(handle), -1);
        EXPECT_EQ(Rynvel_ioctl(handle, 1, 2), -1);
        EXPECT_EQ(os.log(), EventLog{});
    });
}

TEST(CInterface, GivesNoDescriptorAndNoRequestsOfAMappedDeviceThatIsAbsent) {
    inChildProcess([] {
        ScriptedOs os;
        const TraceRecorder recorder(0);
        os.script(Call::Open, {failing(ENODEV), failing(ENODEV), failing(ENODEV)});
        const int handle = Rynvel_open("uio32");
        std::uint32_t value = 7;
        EXPECT_GE(handle, 0);
        os.log().clear();
        EXPECT_EQ(Rynvel_getFileDescriptor(handle), -1);
        EXPECT_EQ(Rynvel_ioctl(handle, 1, 2), -1);
        EXPECT_EQ(Rynvel2_read32(handle, 0, &value), -1);
        EXPECT_EQ(value, 0U);
        EXPECT_EQ(os.log(), EventLog{});
    });
}

TEST(CInterface, ServesTheInterruptsOfADevice) {
    inChildProcess([] {
        ScriptedOs os;
        os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0"}, {"/sys/class/uio/uio0/maps/map0/size", "4096"}};
        const int handle = Rynvel_open("uio32");
        os.log().clear();
        os.script(Call::Write, {answering(4), answering(4), answering(4)});
        unsigned long type = 0;
        unsigned long info = 0;
        os.memory[0] = 5;
        EXPECT_EQ(Rynvel_getInterruptType(handle, &type), 0);
        EXPECT_EQ(type, 4U);
        EXPECT_EQ(Rynvel_enableInterrupts(handle), 0);
        EXPECT_EQ(Rynvel_disableInterrupts(handle), 0);
        os.script(Call::Read, {answering(4)});
        EXPECT_EQ(Rynvel_receiveInterrupts(handle, &info), 0);
        const std::string enabling = "write(7, " + inMemory(std::int32_t{1}) + ")";
        EXPECT_EQ(os.log(), (EventLog{enabling, "write(7, 00000000)", enabling, "read(7, 4)"}));
    });
}

TEST(CInterface, LetsTheExceptionOfAConstructionPass) {
    ScriptedOs os;
    os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "none"}};
    EXPECT_THROW(Rynvel_open("uio32"), std::invalid_argument);
    os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0xfffffffffffffffffff"}};
    EXPECT_THROW(Rynvel_open("uio32"), std::out_of_range);
}

TEST(CInterface, ReadsASingleRegisterAtTheDevicesAddress) {
    withOpenDevices([](ScriptedOs& os) {
        std::uint8_t value8 = 0;
        std::uint16_t value16 = 0;
        std::uint32_t value32 = 0;
        os.store(3, std::uint8_t{0x22});
        os.store(4, std::uint16_t{0x2211});
        os.store(8, std::uint32_t{0x44332211});
        EXPECT_EQ(Rynvel_read8(handle8, 3, &value8), 0);
        EXPECT_EQ(Rynvel2_read16(handle16, 4, &value16), 0);
        EXPECT_EQ(Rynvel2_read32(handle32, 8, &value32), 0);
        EXPECT_EQ(value8, 0x22);
        EXPECT_EQ(value16, 0x2211);
        EXPECT_EQ(value32, 0x44332211U);
        EXPECT_EQ(os.log(), (EventLog{"lseek(7, 3, 0)", "read(7, 1)", "lseek(7, 4, 0)", "read(7, 2)", "lseek(7, 8, 0)",
                                      "read(7, 4)"}));
    });
}

TEST(CInterface, WritesASingleRegisterAtTheDevicesAddress) {
    withOpenDevices([](ScriptedOs& os) {
        EXPECT_EQ(Rynvel_write8(handle8, 5, 0xAB), 0);
        EXPECT_EQ(Rynvel2_write16(handle16, 4, 0xABCD), 0);
        EXPECT_EQ(Rynvel2_write32(handle32, 4, 0x12345678), 0);
        EXPECT_EQ(os.log(), (EventLog{"lseek(7, 5, 0)", "write(7, ab)", "lseek(7, 4, 0)",
                                      "write(7, " + inMemory(std::uint16_t{0xABCD}) + ")", "lseek(7, 4, 0)",
                                      "write(7, " + inMemory(std::uint32_t{0x12345678}) + ")"}));
    });
}

TEST(CInterface, WritesUnderAMask) {
    withOpenDevices([](ScriptedOs& os) {
        std::fill(os.memory.begin(), os.memory.end(), 0xFF);
        EXPECT_EQ(Rynvel_writeBitmask8(handle8, 0, 0x00, 0x0F), 0);
        EXPECT_EQ(Rynvel2_writeBitmask16(handle16, 2, 0x0000, 0x0FF0), 0);
        EXPECT_EQ(Rynvel2_writeBitmask32(handle32, 4, 0x00000000, 0x0000FF00), 0);
        EXPECT_EQ(os.memory[0], 0xF0);
        EXPECT_EQ(os.stored<std::uint16_t>(2), 0xF00F);
        EXPECT_EQ(os.stored<std::uint32_t>(4), 0xFFFF00FFU);
    });
}

TEST(CInterface, DividesTheByteAddressesOfTheOlderFunctionsAndDropsTheirLowBits) {
    withOpenDevices([](ScriptedOs& os) {
        std::uint16_t value16 = 0;
        std::uint32_t value32 = 0;
        const auto soughtBy = [&](auto call) {
            os.log().clear();
            EXPECT_EQ(call(), 0);
            return os.log().front();
        };
        EXPECT_EQ(soughtBy([&] { return Rynvel_read16(handle16, 6, &value16); }), "lseek(7, 3, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_read16(handle16, 7, &value16); }), "lseek(7, 3, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_read32(handle32, 0x10, &value32); }), "lseek(7, 4, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_read32(handle32, 0x13, &value32); }), "lseek(7, 4, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_write16(handle16, 0x21, 1); }), "lseek(7, 16, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_write32(handle32, 0x23, 1); }), "lseek(7, 8, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_writeBitmask16(handle16, 0x21, 1, 1); }), "lseek(7, 16, 0)");
        EXPECT_EQ(soughtBy([&] { return Rynvel_writeBitmask32(handle32, 0x23, 1, 1); }), "lseek(7, 8, 0)");
    });
}

TEST(CInterface, DividesTheHighestByteAddressAsAnUnsignedNumber) {
    withOpenDevices([](ScriptedOs& os) {
        os.script(Call::Lseek, {failing(EINVAL), failing(EINVAL)});
        std::uint16_t value16 = 0;
        std::uint32_t value32 = 0;
        EXPECT_EQ(Rynvel_read16(handle16, 0xFFFFFFFF, &value16), -1);
        EXPECT_EQ(Rynvel_read32(handle32, 0xFFFFFFFF, &value32), -1);
        EXPECT_EQ(os.log(), (EventLog{"lseek(7, 2147483647, 0)", "lseek(7, 1073741823, 0)"}));
    });
}

TEST(CInterface, WritesTheOlderFunctionsDataUnderTheirMasks) {
    withOpenDevices([](ScriptedOs& os) {
        EXPECT_EQ(Rynvel_write16(handle16, 0, 0xABCD), 0);
        EXPECT_EQ(Rynvel_write32(handle32, 16, 0x12345678), 0);
        EXPECT_EQ(os.stored<std::uint16_t>(0), 0xABCD);
        EXPECT_EQ(os.stored<std::uint32_t>(4), 0x12345678U);
        EXPECT_EQ(Rynvel_writeBitmask16(handle16, 0, 0x00EF, 0x00FF), 0);
        EXPECT_EQ(Rynvel_writeBitmask32(handle32, 16, 0x000000EF, 0x000000FF), 0);
        EXPECT_EQ(os.stored<std::uint16_t>(0), 0xABEF);
        EXPECT_EQ(os.stored<std::uint32_t>(4), 0x123456EFU);
    });
}

TEST(CInterface, BurstsOf8BitsAreAlwaysInHostOrder) {
    withOpenDevices([](ScriptedOs&) {
        std::uint8_t values[3] = {};
        EXPECT_EQ(entryOf([&] { EXPECT_EQ(Rynvel_burstRead8(handle8, 9, values, 3), 0); }),
                  "Rynvel.Lseek 6 read ENTER Hex(address)=0x00000009, items=3, byteOrder=Host");
        EXPECT_EQ(entryOf([&] { EXPECT_EQ(Rynvel_burstWrite8(handle8, 9, values, 3), 0); }),
                  "Rynvel.Lseek 6 write ENTER Hex(address)=0x00000009, items=3, byteOrder=Host");
    });
}

TEST(CInterface, BurstsTakeAnyFlagButZeroForNetworkOrder) {
    withOpenDevices([](ScriptedOs&) {
        std::uint16_t values16[2] = {};
        std::uint32_t values32[2] = {};
        for (const int flag : {0, 1, 7, -1}) {
            const std::string rest =
                " ENTER Hex(address)=0x00000008, items=2, byteOrder=" + std::string(flag == 0 ? "Host" : "Network");
            const std::string read = "Rynvel.Lseek 6 read" + rest;
            const std::string write = "Rynvel.Lseek 6 write" + rest;
            EXPECT_EQ(entryOf([&] { Rynvel2_burstRead16(handle16, 8, values16, 2, flag); }), read);
            EXPECT_EQ(entryOf([&] { Rynvel2_burstRead32(handle32, 8, values32, 2, flag); }), read);
            EXPECT_EQ(entryOf([&] { Rynvel2_burstWrite16(handle16, 8, values16, 2, flag); }), write);
            EXPECT_EQ(entryOf([&] { Rynvel2_burstWrite32(handle32, 8, values32, 2, flag); }), write);
            EXPECT_EQ(entryOf([&] { Rynvel_burstRead16(handle16, 17, values16, 2, flag); }), read);
            EXPECT_EQ(entryOf([&] { Rynvel_burstRead32(handle32, 35, values32, 2, flag); }), read);
            EXPECT_EQ(entryOf([&] { Rynvel_burstWrite16(handle16, 17, values16, 2, flag); }), write);
            EXPECT_EQ(entryOf([&] { Rynvel_burstWrite32(handle32, 35, values32, 2, flag); }), write);
        }
    });
}

TEST(CInterface, BurstsMoveTheCallersItems) {
    withOpenDevices([](ScriptedOs& os) {
        const std::uint8_t out8[2] = {0x01, 0x02};
        const std::uint16_t out16[2] = {0x0102, 0x0304};
        const std::uint32_t out32[1] = {0x01020304};
        Rynvel_burstWrite8(handle8, 0, out8, 2);
        Rynvel2_burstWrite16(handle16, 16, out16, 2, 1);
        Rynvel2_burstWrite32(handle32, 32, out32, 1, 1);
        EXPECT_EQ(os.memory[1], 0x02);
        EXPECT_EQ(os.stored<std::uint16_t>(16), 0x0201);
        EXPECT_EQ(os.stored<std::uint16_t>(18), 0x0403);
        EXPECT_EQ(os.stored<std::uint32_t>(32), 0x04030201U);
        std::uint8_t in8[2] = {};
        std::uint16_t in16[2] = {};
        std::uint32_t in32[1] = {};
        Rynvel_burstRead8(handle8, 0, in8, 2);
        Rynvel_burstRead16(handle16, 32, in16, 2, 1);
        Rynvel_burstRead32(handle32, 128, in32, 1, 0);
        EXPECT_EQ(in8[0], 0x01);
        EXPECT_EQ(in16[1], 0x0304);
        EXPECT_EQ(in32[0], 0x04030201U);
    });
}

TEST(CInterface, ReportsFailedOperationsWithMinusOne) {
    withOpenDevices([](ScriptedOs& os) {
        std::uint8_t value8 = 0;
        std::uint16_t value16 = 0;
        std::uint32_t value32 = 0;
        const auto failed = [&](auto call) {
            os.script(Call::Lseek, {failing(EIO)});
            EXPECT_EQ(call(), -1);
        };
        failed([&] { return Rynvel_read8(handle8, 0, &value8); });
        failed([&] { return Rynvel_read16(handle16, 0, &value16); });
        failed([&] { return Rynvel_read32(handle32, 0, &value32); });
        failed([&] { return Rynvel2_read16(handle16, 0, &value16); });
        failed([&] { return Rynvel2_read32(handle32, 0, &value32); });
        failed([&] { return Rynvel_write8(handle8, 0, 0); });
        failed([&] { return Rynvel_write16(handle16, 0, 0); });
        failed([&] { return Rynvel_write32(handle32, 0, 0); });
        failed([&] { return Rynvel2_write16(handle16, 0, 0); });
        failed([&] { return Rynvel2_write32(handle32, 0, 0); });
        failed([&] { return Rynvel_writeBitmask8(handle8, 0, 0, 1); });
        failed([&] { return Rynvel_writeBitmask16(handle16, 0, 0, 1); });
        failed([&] { return Rynvel_writeBitmask32(handle32, 0, 0, 1); });
        failed([&] { return Rynvel2_writeBitmask16(handle16, 0, 0, 1); });
        failed([&] { return Rynvel2_writeBitmask32(handle32, 0, 0, 1); });
        failed([&] { return Rynvel_burstRead8(handle8, 0, &value8, 0); });
        failed([&] { return Rynvel_burstRead16(handle16, 0, &value16, 0, 0); });
        failed([&] { return Rynvel_burstRead32(handle32, 0, &value32, 0, 0); });
        failed([&] { return Rynvel2_burstRead16(handle16, 0, &value16, 0, 0); });
        failed([&] { return Rynvel2_burstRead32(handle32, 0, &value32, 0, 0); });
        failed([&] { return Rynvel_burstWrite8(handle8, 0, &value8, 0); });
        failed([&] { return Rynvel_burstWrite16(handle16, 0, &value16, 0, 0); });
        failed([&] { return Rynvel_burstWrite32(handle32, 0, &value32, 0, 0); });
        failed([&] { return Rynvel2_burstWrite16(handle16, 0, &value16, 0, 0); });
        failed([&] { return Rynvel2_burstWrite32(handle32, 0, &value32, 0, 0); });
    });
}

TEST(CInterface, EndsTheProcessOnAHandleOutsideTheTable) {
    unsigned long info = 0;
    std::uint8_t value8 = 0;
    std::uint16_t value16 = 0;
    std::uint32_t value32 = 0;
    EXPECT_DEATH(Rynvel_ioctl(-1, 0, 0), "getBackend\\(int\\): Assertion `handle >= 0' failed");
    EXPECT_DEATH(Rynvel_receiveInterrupts(1000, &info), "getBackend\\(int\\): Assertion `static_cast<size_t>");
    EXPECT_DEATH(Rynvel_read8(-1, 0, &value8), "getBackend8\\(int\\): Assertion `handle >= 0' failed");
    EXPECT_DEATH(Rynvel_read16(-1, 0, &value16), "getBackend16\\(int\\): Assertion `handle >= 0' failed");
    EXPECT_DEATH(Rynvel_read32(1000, 0, &value32), "getBackend32\\(int\\): Assertion `static_cast<size_t>");
}

TEST(CInterface, FaultsOnAHandleThatWasNotOpened) {
    std::uint8_t value = 0;
    EXPECT_FAULT(Rynvel_read8(handle8, 0, &value));
    EXPECT_FAULT(Rynvel_getFileDescriptor(handle8));
    EXPECT_FAULT(Rynvel_getFileDescriptor(handleOfUnsupported));
}

TEST(CInterface, FaultsOnTheFunctionsOfAnotherWidth) {
    const auto readWithTheWrongWidth = [] {
        {
            const ScriptedOs os;
            Rynvel_open("lseek32");
        }
        std::uint8_t value = 0;
        Rynvel_read8(handle32, 0, &value);
    };
    EXPECT_FAULT(readWithTheWrongWidth());
}

} // namespace
