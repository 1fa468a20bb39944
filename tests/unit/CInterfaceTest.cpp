// SPDX-License-Identifier: MIT
#include <rynvel.h>

#include <numeric>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "CFunctions.h"
#include "ChildProcess.h"
#include "Fault.h"
#include "RegisterWidth.h"
#include "ScriptedOs.h"
#include "TraceRecorder.h"

// These tests use a library whose device table is TestDeviceRows.inc. A device stays open until its process ends, so
// tests that open devices run in child processes.

namespace {

using namespace RynvelTest;

constexpr int handle8 = 0;
constexpr int handle16 = 1;
constexpr int handle32 = 2;
constexpr int handleOfUnsupported = 3;

/** In a child process, opens three devices of a scripted operating system, empties the event log, and runs the body. */
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

/** Opens the three devices. Runs the body for each device with each set of functions for its width. */
template <typename Body>
void withAllCFunctions(Body body) {
    withOpenDevices([&body](ScriptedOs& os) {
        forAllCFunctions(handle8, [&](int handle, const auto& functions) { body(os, handle, functions); });
    });
}

/**
 * Returns the entry trace of the operation on the channel Rynvel.Lseek; "not one entry" if there is not exactly one.
 */
template <typename Operation>
std::string entryOf(Operation operation) {
    const TraceRecorder recorder(6, "Rynvel.Lseek");
    operation();
    const auto lines = recorder.lines();
    return lines.size() == 1 ? lines.front() : "not one entry";
}

TEST(CInterface, OpensADeviceByNameWithTheSameHandleEveryTime) {
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

TEST(CInterface, ReturnsNoHandleForAnUnknownNameOrAnUnsupportedType) {
    const TraceRecorder recorder(3);
    EXPECT_EQ(Rynvel_open("unknown"), -1);
    EXPECT_EQ(Rynvel_open2("unknown"), -1);
    EXPECT_EQ(Rynvel_open(""), -1);
    EXPECT_EQ(Rynvel_open("unsupported"), -1);
    EXPECT_EQ(recorder.lines().back(), "Rynvel.Factory 1 createDevice: Unsupported device \"unsupported\"");
}

TEST(CInterface, PropagatesTheExceptionOfANullName) {
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

TEST(CInterface, ForwardsARequestAndReturnsItsResultUnchanged) {
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

TEST(CInterface, ReturnsTheDescriptorOfADevice) {
    withOpenDevices([](ScriptedOs&) { EXPECT_EQ(Rynvel_getFileDescriptor(handle16), ScriptedOs::descriptor); });
}

TEST(CInterface, ReturnsMinusOneForTheDescriptorAndRequestsOfADeviceThatHasNone) {
    inChildProcess([] {
        ScriptedOs os;
        const int handle = Rynvel_open("fpga");
        os.log().clear();
        EXPECT_EQ(Rynvel_getFileDescriptor(handle), -1);
        EXPECT_EQ(Rynvel_ioctl(handle, 1, 2), -1);
        EXPECT_EQ(os.log(), EventLog{});
    });
}

TEST(CInterface, ReturnsMinusOneForTheDescriptorAndRequestsOfAMissingMappedDevice) {
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

TEST(CInterface, PropagatesTheExceptionOfAConstruction) {
    ScriptedOs os;
    os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "none"}};
    EXPECT_THROW(Rynvel_open("uio32"), std::invalid_argument);
    os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0xfffffffffffffffffff"}};
    EXPECT_THROW(Rynvel_open("uio32"), std::out_of_range);
}

/** Returns all addresses that a function with this divisor maps to one device address. */
std::vector<unsigned int> addressesOf(unsigned int deviceAddress, unsigned int divisor) {
    std::vector<unsigned int> addresses(divisor);
    std::iota(addresses.begin(), addresses.end(), deviceAddress * divisor);
    return addresses;
}

TEST(CInterface, AccessesARegisterAtTheDevicesAddressOrAtItsDividedByteAddress) {
    withAllCFunctions([](ScriptedOs& os, int handle, const auto& functions) {
        using T = RegisterOf<decltype(functions)>;
        constexpr T value = Width<T>::value;
        constexpr auto other = static_cast<T>(~value);
        constexpr auto merged = static_cast<T>((other & ~0x0FU) | (value & 0x0FU));
        const std::string seek = "lseek(7, 16, 0)";
        const std::string readCall = std::string("read(7, ") + Width<T>::bytes + ')';
        for (const unsigned int address : addressesOf(16, functions.divisor)) {
            os.store(16, value);
            os.log().clear();
            T result = 0;
            EXPECT_EQ(functions.read(handle, address, &result), 0);
            EXPECT_EQ(result, value);
            EXPECT_EQ(functions.write(handle, address, other), 0);
            EXPECT_EQ(functions.writeBitmask(handle, address, value, 0x0F), 0);
            EXPECT_EQ(os.stored<T>(16), merged);
            EXPECT_EQ(os.log(), (EventLog{seek, readCall, seek, "write(7, " + inMemory(other) + ')', seek, readCall,
                                          seek, "write(7, " + inMemory(merged) + ')'}));
        }
    });
}

TEST(CInterface, DividesTheHighestByteAddressAsAnUnsignedNumber) {
    withAllCFunctions([](ScriptedOs& os, int handle, const auto& functions) {
        RegisterOf<decltype(functions)> value = 0;
        os.script(Call::Lseek, {failing(EINVAL)});
        EXPECT_EQ(functions.read(handle, 0xFFFFFFFF, &value), -1);
        const auto sought = static_cast<long>(0xFFFFFFFF / functions.divisor);
        EXPECT_EQ(os.log().back(), "lseek(7, " + std::to_string(sought) + ", 0)");
    });
}

TEST(CInterface, TreatsAnyBurstFlagExceptZeroAsNetworkOrderAnd8BitBurstsAsHostOrder) {
    withAllCFunctions([](ScriptedOs& /*os*/, int handle, const auto& functions) {
        RegisterOf<decltype(functions)> values[2] = {};
        for (const int flag : {0, 1, 7, -1}) {
            const std::string rest = " ENTER Hex(address)=0x00000008, items=2, byteOrder=" +
                                     std::string(functions.isHostOrder(flag) ? "Host" : "Network");
            for (const unsigned int address : addressesOf(8, functions.divisor)) {
                EXPECT_EQ(entryOf([&] { functions.burstRead(handle, address, values, 2, flag); }),
                          "Rynvel.Lseek 6 read" + rest);
                EXPECT_EQ(entryOf([&] { functions.burstWrite(handle, address, values, 2, flag); }),
                          "Rynvel.Lseek 6 write" + rest);
            }
        }
    });
}

TEST(CInterface, MovesTheItemsOfTheCallerInBursts) {
    withAllCFunctions([](ScriptedOs& os, int handle, const auto& functions) {
        using T = RegisterOf<decltype(functions)>;
        const T written[2] = {Width<T>::value, 1};
        T values[2] = {};
        // A seekable device reports a complete burst as failed if the registers are wider than 8 bits.
        const int result = sizeof(T) == 1 ? 0 : -1;
        EXPECT_EQ(functions.burstWrite(handle, 16 * functions.divisor, written, 2, 1), result);
        EXPECT_EQ(os.stored<T>(16), Width<T>::reversed);
        EXPECT_EQ(functions.burstRead(handle, 16 * functions.divisor, values, 2, 0), result);
        EXPECT_EQ(values[0], Width<T>::reversed);
        EXPECT_EQ(functions.burstRead(handle, 16 * functions.divisor, values, 2, 1), result);
        EXPECT_EQ(values[0], written[0]);
        EXPECT_EQ(values[1], written[1]);
    });
}

TEST(CInterface, ReportsFailedOperationsWithMinusOne) {
    withAllCFunctions([](ScriptedOs& os, int handle, const auto& functions) {
        RegisterOf<decltype(functions)> value = 0;
        os.script(Call::Lseek, std::vector(5, failing(EIO)));
        EXPECT_EQ(functions.read(handle, 0, &value), -1);
        EXPECT_EQ(functions.write(handle, 0, 0), -1);
        EXPECT_EQ(functions.writeBitmask(handle, 0, 0, 1), -1);
        EXPECT_EQ(functions.burstRead(handle, 0, &value, 0, 0), -1);
        EXPECT_EQ(functions.burstWrite(handle, 0, &value, 0, 0), -1);
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
