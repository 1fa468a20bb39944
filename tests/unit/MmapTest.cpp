// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numeric>
#include <sstream>

#include <sys/mman.h>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "Fault.h"
#include "NothingTraced.h"
#include "PlainMutex.h"
#include "RecordingMutex.h"
#include "RegisterWidth.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

namespace {

using Rynvel::ByteOrder;
using Rynvel::Mmap;
using namespace RynvelTest;

constexpr auto path = "/dev/tomkar_registers";
constexpr std::size_t pageSize = 4096;
const std::string opening = "open(/dev/tomkar_registers, 2)";

std::string unmapCall(const void* address, unsigned int length) {
    std::ostringstream text;
    text << "munmap(" << address << ", " << length << ')';
    return text.str();
}

template <typename T>
class MmapTest : public testing::Test {
protected:
    static constexpr T pattern = Width<T>::value;

    std::unique_ptr<Mmap<T>> make(std::size_t offset, std::size_t size, bool fake = false) {
        return std::make_unique<Mmap<T>>(path, offset, size, std::make_unique<RecordingMutex>(m_os.log()), fake);
    }

    std::unique_ptr<Mmap<T>> mapped(std::size_t offset = 0) {
        auto device = make(offset, 0x1000);
        m_os.log().clear();
        return device;
    }

    /** Returns a device whose file could not be opened. */
    std::unique_ptr<Mmap<T>> absent() {
        m_os.script(Call::Open, {failing(ENODEV)});
        auto device = make(0, 0x1000);
        m_os.log().clear();
        return device;
    }

    void store(std::size_t address, T value) { m_os.store(address, value); }
    T stored(std::size_t address) const { return m_os.stored<T>(address); }

    ScriptedOs m_os;
};

using Widths = testing::Types<std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(MmapTest, Widths);

TYPED_TEST(MmapTest, OpensTheFileAndMapsItFromItsBeginningSharedForReadingAndWriting) {
    const auto device = this->make(0x100, 0x1000);
    EXPECT_EQ(this->m_os.log(), (EventLog{opening, "mmap(0, 4096, 3, 1, 7, 0)"}));
    EXPECT_EQ(device->getNativeHandle(), ScriptedOs::descriptor);
    EXPECT_EQ(device->getDevName(), path);
}

TYPED_TEST(MmapTest, MapsAnonymousMemoryForAFakeAndNeitherOpensNorCloses) {
    auto device = this->make(0, 0x1000, true);
    EXPECT_EQ(this->m_os.takeLog(), EventLog{"mmap(0, 4096, 3, 33, -1, 0)"});
    EXPECT_EQ(device->getNativeHandle(), -1);
    EXPECT_EQ(device->ioctl(1, 2), -1);
    device.reset();
    EXPECT_EQ(this->m_os.log(), (EventLog{unmapCall(this->m_os.memory.data(), 0x1000), "mutex destroyed"}));
}

TYPED_TEST(MmapTest, UnmapsAtItsFirstRegisterThenClosesThenDestroysTheMutex) {
    for (const std::size_t offset : {0x100U, 0x1000U}) {
        auto device = this->mapped(offset);
        device.reset();
        EXPECT_EQ(this->m_os.log(),
                  (EventLog{unmapCall(this->m_os.memory.data() + offset, 0x1000), "close(7)", "mutex destroyed"}));
    }
}

/** Returns whether the real system has a mapping of the file for this process. */
bool isMapped(const std::string& file) {
    std::ifstream maps("/proc/self/maps");
    const std::string text((std::istreambuf_iterator<char>(maps)), std::istreambuf_iterator<char>());
    EXPECT_FALSE(text.empty());
    return text.find(file) != std::string::npos;
}

TEST(Mmap, StaysMappedSilentlyIfItsOffsetIsNotAMultipleOfThePageSize) {
    inChildProcess([] {
        const NothingTraced nothingTraced(4);
        for (const std::size_t offset : {0x0U, 0x100U}) {
            const std::string file = "mapped" + std::to_string(offset);
            std::ofstream(file) << std::string(0x1000, '0');
            EXPECT_FALSE(isMapped(file));
            auto device = std::make_unique<Mmap<std::uint32_t>>(file, offset, 0x1000, plainMutex(), false);
            EXPECT_TRUE(isMapped(file));
            device.reset();
            EXPECT_EQ(isMapped(file), offset != 0);
        }
    });
}

TYPED_TEST(MmapTest, TouchesOtherMemoryOfTheProcessBeyondItsMapping) {
    const auto device = this->make(0, 16);
    this->store(64, this->pattern);
    EXPECT_EQ(readFrom(*device, 64 / sizeof(TypeParam)), std::pair(true, this->pattern));
    EXPECT_TRUE(device->write(128 / sizeof(TypeParam), this->pattern));
    EXPECT_EQ(this->stored(128), this->pattern);
}

TEST(Mmap, EndsTheProcessBySignalIfThereIsNoMemoryBeyondItsMapping) {
    const TraceRecorder silence(0);
    void* const region = mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_EQ(mprotect(static_cast<char*>(region) + pageSize, pageSize, PROT_NONE), 0);
    {
        std::unique_ptr<Mmap<std::uint32_t>> device;
        {
            ScriptedOs os;
            os.script(Call::Mmap, {answering(reinterpret_cast<long>(region))});
            device = std::make_unique<Mmap<std::uint32_t>>(path, 0, pageSize, plainMutex(), true);
        }
        EXPECT_TRUE(readFrom(*device, pageSize / sizeof(std::uint32_t) - 1).first);
        EXPECT_FAULT(readFrom(*device, pageSize / sizeof(std::uint32_t)));
    }
    EXPECT_EQ(munmap(static_cast<char*>(region) + pageSize, pageSize), 0);
}

TYPED_TEST(MmapTest, KeepsWhatWasWrittenToAFake) {
    const auto device = this->make(0, 0x1000, true);
    EXPECT_TRUE(device->write(0, this->pattern));
    EXPECT_EQ(readFrom(*device), std::pair(true, this->pattern));
}

TYPED_TEST(MmapTest, LeavesAnObjectWithoutAMappingWhenTheFileCannotBeOpened) {
    this->m_os.script(Call::Open, {failing(ENODEV)});
    errno = 0;
    const TraceRecorder recorder(5);
    const auto device = this->make(0, 0x1000);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(this->m_os.log(), EventLog{opening});
    EXPECT_EQ(recorder.lines(),
              EventLog{"Rynvel.Mmap 2 Mmap: Could not open \"/dev/tomkar_registers\". errno = No such device."});
    EXPECT_EQ(device->getNativeHandle(), -1);
}

TYPED_TEST(MmapTest, FailsEveryRegisterOperationWithoutAMapping) {
    const auto device = this->absent();
    EXPECT_EQ(readFrom(*device), std::pair(false, TypeParam{0}));
    const std::vector<TypeParam> values(2, untouched<TypeParam>);
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        EXPECT_EQ(readBurstFrom(*device, 2, 2, order), std::pair(false, values));
        EXPECT_FALSE(device->write(0, values.data(), 2, order));
        EXPECT_FALSE(readBurstFrom(*device, 0, 2, order).first);
    }
    EXPECT_FALSE(device->write(0, 1));
    EXPECT_FALSE(device->write(0, 1, 1));
    EXPECT_FALSE(device->cancelWaitForInterrupt(0, 1));
    EXPECT_EQ(device->ioctl(1, 2), -1);
    EXPECT_EQ(this->m_os.log(), EventLog{});
}

TYPED_TEST(MmapTest, TracesTheCloseOfADeviceThatItCouldNotOpenButMakesNoCall) {
    auto device = this->absent();
    const TraceRecorder recorder(5);
    device.reset();
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Mmap 5 ~Mmap: Close \"/dev/tomkar_registers\"."});
    EXPECT_EQ(this->m_os.log(), EventLog{"mutex destroyed"});
}

TYPED_TEST(MmapTest, MapsNothingOfSizeZeroButKeepsTheFile) {
    const TraceRecorder recorder(5);
    auto device = this->make(0, 0);
    EXPECT_EQ(this->m_os.takeLog(), EventLog{opening});
    EXPECT_EQ(recorder.lines(), EventLog{});
    EXPECT_EQ(readFrom(*device), std::pair(false, TypeParam{0}));
    EXPECT_FALSE(device->write(0, 1));
    EXPECT_EQ(device->ioctl(1, 2), 0);
    EXPECT_EQ(device->getNativeHandle(), ScriptedOs::descriptor);
    device.reset();
    EXPECT_EQ(this->m_os.log(), (EventLog{"ioctl(7, 0x1, 0x2)", "close(7)", "mutex destroyed"}));
}

/** A trace sink that prints to standard error with stdio, which does not call the scripted write(). */
class PrintingSink : public ZilTraceControl::Sink {
public:
    void write(const ZilTraceControl::Record& record) override {
        std::fprintf(stderr, "%d %s\n", record.level, record.text != nullptr ? record.text : "");
    }
};

template <typename T>
class MmapDeathTest : public testing::Test {
protected:
    /** Constructs a device whose mapping fails. Prints the calls and the traces. */
    static void failToMap(bool fake) {
        ScriptedOs os;
        PrintingSink sink;
        ZilTraceControl::setSink(&sink);
        os.printCalls();
        os.script(Call::Mmap, {failing(ENOMEM)});
        os.script(Call::Close, {failing(EIO)});
        const Mmap<T> device(path, 0, 0x1000, std::make_unique<RecordingMutex>(os.log()), fake);
    }
};

TYPED_TEST_SUITE(MmapDeathTest, Widths);

TYPED_TEST(MmapDeathTest, TracesAtLevelOneClosesTheFileAndEndsTheProcessWhenTheMappingFails) {
    EXPECT_DEATH(this->failToMap(false),
                 "mmap\\(0, 4096, 3, 1, 7, 0\\)\n"
                 "1 Could not mmap \"/dev/tomkar_registers\". errno = Cannot allocate memory.\n"
                 "close\\(7\\)\n.*"
                 "cppsrc/RynvelMmap:[0-9]+: Rynvel::Mmap<T>::Mmap\\(.*Assertion `m_regMap != MAP_FAILED' failed");
}

TYPED_TEST(MmapDeathTest, ClosesWhatItDoesNotHaveWhenTheMappingOfAFakeFails) {
    EXPECT_DEATH(this->failToMap(true), "mmap\\(0, 4096, 3, 33, -1, 0\\)\n1 Could not mmap .*\nclose\\(-1\\)\n.*"
                                        "Assertion `m_regMap != MAP_FAILED' failed");
}

TYPED_TEST(MmapTest, ReadsTheRegisterAtAnIndexInUnitsOfItsWidthFromTheOffsetOn) {
    const auto device = this->mapped(0x100);
    this->store(0x100 + 3 * sizeof(TypeParam), this->pattern);
    EXPECT_EQ(readFrom(*device, 3), std::pair(true, this->pattern));
    EXPECT_EQ(this->m_os.log(), (EventLog{"lock", "unlock"}));
}

TYPED_TEST(MmapTest, MovesBurstsOfEveryLengthAndNoFurtherRegister) {
    using Values = std::array<TypeParam, 10>;
    const auto device = this->mapped();
    Values numbers{};
    std::iota(numbers.begin(), numbers.end(), TypeParam{1});
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        const unsigned int shift = order == ByteOrder::Network ? 8 * (sizeof(TypeParam) - 1) : 0;
        Values expected{};
        for (unsigned int items = 0; items < numbers.size(); ++items) {
            Values values{};
            EXPECT_TRUE(device->write(0, values.data(), values.size(), ByteOrder::Host));
            EXPECT_TRUE(device->write(0, numbers.data(), items, order));
            EXPECT_EQ(this->m_os.template stored<Values>(0), expected) << items;
            EXPECT_TRUE(device->write(0, numbers.data(), numbers.size(), ByteOrder::Host));
            EXPECT_TRUE(device->read(0, values.data(), items, order));
            EXPECT_EQ(values, expected) << items;
            expected[items] = static_cast<TypeParam>(numbers[items] << shift);
        }
    }
}

TYPED_TEST(MmapTest, LocksForAnEmptyBurstAndTouchesNothing) {
    const auto device = this->mapped();
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        EXPECT_TRUE(device->read(0x10000000, nullptr, 0, order));
        EXPECT_TRUE(device->write(0x10000000, nullptr, 0, order));
        EXPECT_EQ(this->m_os.takeLog(), (EventLog{"lock", "unlock", "lock", "unlock"}));
    }
}

TYPED_TEST(MmapTest, TracesItsConstructionAndDestructionBeforeItsCalls) {
    const TraceRecorder recorder(6, "*", &this->m_os.log());
    this->make(0x100, 0x1000).reset();
    const std::string channel = "Rynvel.Mmap ";
    const EventLog traces{channel + "6 Mmap ENTER physicalDevName=/dev/tomkar_registers, "
                                    "Hex(devPageOffset)=0x00000100, Hex(devSize)=0x00001000, fake=0",
                          channel + "5 Mmap: mapSize: 4096", channel + "6 ~Mmap ENTER",
                          channel + "5 ~Mmap: Close \"/dev/tomkar_registers\"."};
    EXPECT_EQ(this->m_os.log(),
              (EventLog{traces[0], opening, traces[1], "mmap(0, 4096, 3, 1, 7, 0)", traces[2],
                        unmapCall(&this->m_os.memory[0x100], 0x1000), traces[3], "close(7)", "mutex destroyed"}));
    EXPECT_EQ(recorder.lines(), traces);
    EXPECT_EQ(recorder.traces().front().file, "cppsrc/RynvelMmap");
    EXPECT_EQ(recorder.traces().front().option, 256);
}

TYPED_TEST(MmapTest, TracesTheConstructionAndDestructionOfAFakeWithoutAClose) {
    const TraceRecorder recorder(6);
    this->make(0, 0x1000, true).reset();
    EXPECT_EQ(recorder.lines(), (EventLog{"Rynvel.Mmap 6 Mmap ENTER physicalDevName=/dev/tomkar_registers, "
                                          "Hex(devPageOffset)=0x00000000, Hex(devSize)=0x00001000, fake=1",
                                          "Rynvel.Mmap 5 Mmap: mapSize: 4096", "Rynvel.Mmap 6 ~Mmap ENTER"}));
}

std::string bufferText(const void* buffer) {
    std::ostringstream text;
    text << HexU32Struct{static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(buffer)), 8};
    return text.str();
}

TYPED_TEST(MmapTest, TracesTheEntryOfEveryOperationAtLevelSeven) {
    const auto device = this->mapped();
    const std::string data = Width<TypeParam>::dataText;
    TypeParam values[12] = {};
    const TraceRecorder recorder(7);
    device->read(0x1F, values);
    device->write(0x20, this->pattern);
    device->write(0x20, this->pattern, 0x0F);
    device->read(1, values, 12, ByteOrder::Host);
    device->write(2, values, 0, ByteOrder::Network);
    device->ioctl(-5, 0xBEEF);
    const std::string entry = "Rynvel.Mmap 7 ";
    const std::string buffer = bufferText(values);
    EXPECT_EQ(
        recorder.lines(),
        (EventLog{entry + "read ENTER Hex(offset)=0x0000001f",
                  entry + "write ENTER Hex(offset)=0x00000020, Hex(data)=" + data,
                  entry + "write ENTER Hex(offset)=0x00000020, Hex(data)=" + data +
                      ", Hex(bitmask)=" + Width<TypeParam>::maskText,
                  entry + "read ENTER Hex(offset)=0x00000001, Hex(data)=" + buffer + ", items=12, byteOrder=Host",
                  entry + "write ENTER Hex(offset)=0x00000002, Hex(data)=" + buffer + ", items=0, byteOrder=Network",
                  entry + "ioctl ENTER command=-5, Hex(static_cast<size_t>(arg))=0x0000beef"}));
}

TYPED_TEST(MmapTest, TracesTheEntryOfEveryOperationWithoutAMapping) {
    const auto device = this->absent();
    TypeParam value = 0;
    const TraceRecorder recorder(7);
    device->read(0, &value);
    device->write(0, value);
    device->write(0, value, 1);
    device->read(0, &value, 1, ByteOrder::Host);
    device->write(0, &value, 1, ByteOrder::Host);
    device->ioctl(0, 0);
    EXPECT_EQ(recorder.lines().size(), 6U);
}

} // namespace
