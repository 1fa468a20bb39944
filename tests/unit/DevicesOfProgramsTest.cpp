// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "AccessMutex.h"
#include "BusErrorGuard.h"
#include "DeviceList.h"
#include "DeviceProbe.h"
#include "DeviceTypeInfo.h"
#include "EventLog.h"
#include "OpenCounter.h"
#include "PreopenedFiles.h"
#include "RecordingMutex.h"
#include "RegisterDevice.h"
#include "TemporaryWorkingFolder.h"

// The C library declares these functions only for a fortified build.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __open_2(const char* path, int flags);
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __open64_2(const char* path, int flags);

namespace RynvelTest {
namespace {

using Common::AccessMethod;
using Common::AccessResult;
using Rynvel::ByteOrder;
using Rynvel::DeviceType;
using Rynvel::MemoryDevice;

constexpr std::uint32_t pageSize = 4096;

/** A file in memory. An access to mapped pages beyond the end of the file causes a bus error. */
class MemoryFile {
public:
    explicit MemoryFile(off_t size) : m_fd(memfd_create("registers", MFD_CLOEXEC)) {
        EXPECT_EQ(ftruncate(m_fd, size), 0);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(m_fd); }

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

    std::vector<std::uint8_t> bytes(std::size_t count) const {
        std::vector<std::uint8_t> result(count);
        EXPECT_EQ(pread(m_fd, result.data(), count, 0), static_cast<ssize_t>(count));
        return result;
    }

private:
    const int m_fd;
};

/** Returns a table row whose backend maps `size` bytes of the file. */
MemoryDevice mappedRow(const MemoryFile& file, std::uint32_t size, DeviceType type = DeviceType::Tyvon32) {
    return {"mapped", file.path(), size, type};
}

TEST(DeviceList, ListsTheDevicesInTheOrderOfTheirHandles) {
    const auto& devices = Common::devices();
    auto& factory = Rynvel::Factory::getInstance();
    ASSERT_EQ(devices.size(), 30U);
    for (std::size_t i = 0; i < devices.size(); ++i) {
        EXPECT_EQ(factory.findMemoryDeviceIndex(devices[i].m_name), static_cast<int>(i));
        const MemoryDevice* const row = factory.findMemoryDevice(devices[i].m_name);
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(row->m_devicePath, devices[i].m_devicePath);
        EXPECT_EQ(row->m_type, devices[i].m_type);
    }
}

TEST(DeviceList, FindsADeviceByItsWholeNameOnly) {
    ASSERT_NE(Common::findDevice("rtc0"), nullptr);
    EXPECT_EQ(Common::findDevice("rtc0")->m_devicePath, "/dev/rtc0");
    EXPECT_EQ(Common::findDevice("cri"), nullptr);
    EXPECT_EQ(Common::findDevice(""), nullptr);
}

TEST(DeviceList, ReportsHowTheRowOfTheLibraryDiffers) {
    const auto mismatch = [](const std::string& device, const std::string& difference) {
        return device + ": librynvel has a different device table: " + difference +
               " (install the librynvel that was built with this program)";
    };
    for (const MemoryDevice& row : Common::devices()) {
        EXPECT_EQ(Common::describeMismatch(row), "");
    }
    EXPECT_EQ(Common::describeMismatch({"rtc0", "/dev/rtc0", 7, DeviceType::Uio32}),
              mismatch("rtc0", "size 0 instead of 7"));
    EXPECT_EQ(Common::describeMismatch({"rtc0", "/dev/rtc1", 7, DeviceType::Lseek8}),
              mismatch("rtc0", "type Uio32 instead of Lseek8, path '/dev/rtc0' instead of '/dev/rtc1', "
                               "parameter 0 instead of 7"));
    EXPECT_EQ(Common::describeMismatch({"rtc0", "/dev/rtc0", 7, static_cast<DeviceType>(99)}),
              mismatch("rtc0", "type Uio32 instead of 99, parameter 0 instead of 7"));
    EXPECT_EQ(Common::describeMismatch({"rtc0", "/dev/rtc0", 7, DeviceType::FpgaSpi32}),
              mismatch("rtc0", "type Uio32 instead of FpgaSpi32, offset 0 instead of 7"));
    EXPECT_EQ(Common::describeMismatch({"nothing", "/dev/rtc0", 0, DeviceType::Uio32}),
              mismatch("nothing", "the device is missing"));
}

TEST(DeviceList, ReportsHowTheHandleOfARowDiffers) {
    const MemoryDevice& first = Common::devices().front();
    EXPECT_EQ(Common::describeMismatch(first, 0), "");
    EXPECT_EQ(Common::describeMismatch(first, 7),
              first.m_name + ": librynvel has a different device table: handle 0 instead of 7 (install the librynvel "
                             "that was built with this program)");
}

TEST(DeviceList, ListsEveryKindOfBackendAndNoOther) {
    struct Backend {
        const char* name;
        std::vector<unsigned int> widths;
        AccessMethod access;
        bool hasInterrupts;
        bool waitEnablesInterrupt;
    };
    const std::vector<Backend> backends = {
        {"Lseek", {8, 16, 32}, AccessMethod::Seekable, false, false},
        {"Uio", {16, 32}, AccessMethod::Mapped, true, true},
        {"FpgaSpi", {32}, AccessMethod::Spi, false, false},
        {"Tyvon", {16, 32}, AccessMethod::Mapped, true, false},
        {"TyvonInterrupt", {16, 32}, AccessMethod::Seekable, true, false},
        {"Remote", {8, 16, 32}, AccessMethod::Remote, true, false},
    };
    std::uint32_t type = 0;
    for (const auto& backend : backends) {
        for (const auto width : backend.widths) {
            const auto* const kind = Common::findDeviceTypeInfo(static_cast<DeviceType>(type++));
            ASSERT_NE(kind, nullptr) << backend.name << width;
            EXPECT_EQ(kind->name, backend.name + std::to_string(width));
            EXPECT_EQ(kind->access, backend.access) << kind->name;
            EXPECT_EQ(kind->width, width) << kind->name;
            EXPECT_EQ(kind->hasInterrupts, backend.hasInterrupts) << kind->name;
            EXPECT_EQ(kind->waitEnablesInterrupt, backend.waitEnablesInterrupt) << kind->name;
            EXPECT_EQ(kind->addressStride, backend.access == AccessMethod::Seekable ? width / 8 : 1) << kind->name;
        }
    }
    EXPECT_EQ(Common::findDeviceTypeInfo(static_cast<DeviceType>(type)), nullptr);
    EXPECT_EQ(Common::findDeviceTypeInfo(static_cast<DeviceType>(0xFFFFFFFFU)), nullptr);
}

Common::Probe probe(const MemoryDevice& row) { return Common::openDevice(row).probe; }

TEST(DeviceProbe, NamesTheFileAndTheReasonWhenADeviceCannotBeOpened) {
    const MemoryDevice missing{"missing", "/nowhere/registers", 0, DeviceType::Lseek8};
    EXPECT_FALSE(Common::deviceFileExists(missing));
    EXPECT_EQ(probe(missing).reason, "/nowhere/registers: No such file or directory");
    const MemoryDevice folder{"folder", "/", 0, DeviceType::Lseek8};
    EXPECT_TRUE(Common::deviceFileExists(folder));
    EXPECT_EQ(probe(folder).reason, "/: Is a directory");
}

TEST(DeviceProbe, AcceptsASeekableDevice) {
    const MemoryFile file(pageSize);
    for (const auto type : {DeviceType::Lseek8, DeviceType::FpgaSpi32, DeviceType::TyvonInterrupt16}) {
        const auto found = probe({"seekable", file.path(), 0, type});
        EXPECT_EQ(found.reason, "");
        EXPECT_FALSE(found.mapSize);
    }
}

TEST(DeviceProbe, ReportsTheSizeOfAMapping) {
    const MemoryFile file(pageSize);
    const auto found = probe(mappedRow(file, pageSize));
    EXPECT_EQ(found.reason, "");
    EXPECT_EQ(found.mapSize, pageSize);
}

TEST(DeviceProbe, ReportsAMappingThatTheSystemRefusesOrThatHasNoSize) {
    const MemoryFile file(pageSize);
    EXPECT_EQ(probe(mappedRow(file, 0)).reason,
              file.path() + ": the size of the map is 0 (give the size in bytes in the device table)");
    const MemoryDevice full{"full", "/dev/tty0/none", pageSize, DeviceType::Tyvon32};
    EXPECT_NE(probe(full).reason, "");
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const std::string pipePath = "/proc/self/fd/" + std::to_string(ends[0]);
    const MemoryDevice unmappable{"pipe", pipePath, pageSize, DeviceType::Tyvon32};
    EXPECT_EQ(probe(unmappable).reason, pipePath + ": cannot be mapped: No such device");
    close(ends[0]);
    close(ends[1]);
}

TEST(DeviceProbe, ReportsAUioDeviceWithoutAMapInSysfs) {
    const MemoryFile file(pageSize);
    const MemoryDevice row{"uio", file.path(), 0, DeviceType::Uio32};
    EXPECT_EQ(probe(row).reason,
              file.path() +
                  ": sysfs describes no memory map (the path must be a symbolic link to a bare name such as uio0)");
}

TEST(DeviceProbe, RefusesRemoteDevicesAndUnknownTypes) {
    EXPECT_EQ(probe({"remote", "10.0.0.7::9000", 0, DeviceType::Remote8}).reason,
              "10.0.0.7::9000: a remote device has no device file");
    EXPECT_EQ(probe({"odd", "/dev/odd", 0, static_cast<DeviceType>(0xFFFFFFFF)}).reason,
              "/dev/odd: the device type is not supported");
}

/** A fixture that opens and maps preopened files, as the library does. */
class PreopenedFiles : public testing::Test {
protected:
    static int openAgain(const std::string& path) { return ::open(path.c_str(), O_RDWR | O_CLOEXEC); }
    static void* mapAgain(int descriptor, std::size_t size) {
        return ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    }
    static bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

    const MemoryFile m_file{pageSize};
};

TEST_F(PreopenedFiles, ReturnEachDescriptorOnce) {
    Common::PreopenedFiles preopened;
    const MemoryFile other(pageSize);
    const int first = preopened.open(m_file.path(), O_RDWR);
    const int second = preopened.open(m_file.path(), O_RDWR);
    EXPECT_NE(first, second);
    const int another = openAgain(other.path());
    EXPECT_NE(another, first);
    EXPECT_EQ(openAgain(m_file.path()), first);
    EXPECT_EQ(openAgain(m_file.path()), second);
    const int third = openAgain(m_file.path());
    EXPECT_NE(third, first);
    EXPECT_NE(third, second);
    for (const int descriptor : {another, first, second, third}) {
        close(descriptor);
    }
}

// A library that is built with _FORTIFY_SOURCE calls __open_2() and __open64_2() instead of open() and open64().
TEST_F(PreopenedFiles, GivesAFileToEveryFunctionOfTheCLibrary) {
    Common::PreopenedFiles preopened;
    constexpr std::array<int (*)(const char*, int), 2> functions{__open_2, __open64_2};
    for (const auto function : functions) {
        const int descriptor = preopened.open(m_file.path(), O_RDWR);
        EXPECT_EQ(function(m_file.path().c_str(), O_RDWR | O_CLOEXEC), descriptor);
        close(descriptor);
    }
    const int descriptor = preopened.open(m_file.path(), O_RDWR);
    ASSERT_TRUE(preopened.map(descriptor, pageSize, 0));
    void* const mapping = ::mmap64(nullptr, pageSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    EXPECT_FALSE(preopened.hasMapping());
    munmap(mapping, pageSize);
    close(preopened.take(m_file.path().c_str()));
}

TEST_F(PreopenedFiles, ReportWhyAFileCannotBeOpened) {
    Common::PreopenedFiles preopened;
    EXPECT_EQ(preopened.open("/nowhere/registers", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(PreopenedFiles, ReturnTheMappingToTheFirstCallThatMapsTheFile) {
    Common::PreopenedFiles preopened;
    const int descriptor = preopened.open(m_file.path(), O_RDWR);
    ASSERT_TRUE(preopened.map(descriptor, pageSize, 0));
    EXPECT_TRUE(preopened.hasMapping());
    void* const larger = mapAgain(descriptor, 2 * pageSize);
    EXPECT_TRUE(preopened.hasMapping());
    void* const first = mapAgain(descriptor, pageSize);
    EXPECT_FALSE(preopened.hasMapping());
    void* const second = mapAgain(descriptor, pageSize);
    EXPECT_NE(first, MAP_FAILED);
    EXPECT_NE(first, second);
    EXPECT_EQ(preopened.take(descriptor, pageSize), nullptr);
    munmap(larger, 2 * pageSize);
    munmap(first, pageSize);
    munmap(second, pageSize);
}

TEST_F(PreopenedFiles, ReturnNothingToOtherThreadsOrAfterTheirEnd) {
    int descriptor = -1;
    {
        Common::PreopenedFiles preopened;
        descriptor = preopened.open(m_file.path(), O_RDWR);
        int opened = -1;
        std::thread([&] { opened = openAgain(m_file.path()); }).join();
        EXPECT_NE(opened, descriptor);
        close(opened);
        EXPECT_TRUE(isOpen(descriptor));
    }
    EXPECT_FALSE(isOpen(descriptor));
}

TEST_F(PreopenedFiles, DoNotCloseADescriptorThatWasReturned) {
    int descriptor = -1;
    {
        Common::PreopenedFiles preopened;
        descriptor = preopened.open(m_file.path(), O_RDWR);
        EXPECT_EQ(openAgain(m_file.path()), descriptor);
    }
    EXPECT_TRUE(isOpen(descriptor));
    close(descriptor);
}

/** Returns whether nothing is mapped at a page. mmap() returns a different address if the page is already mapped. */
bool isFree(void* page) {
    void* const given = ::mmap(page, pageSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ::munmap(given, pageSize);
    return given == page;
}

TEST_F(PreopenedFiles, UnmapTheWholeMappingThatTheLibraryUnmapsFromAnOffset) {
    for (const std::size_t offset : {std::size_t{0x800}, std::size_t{pageSize}}) {
        Common::PreopenedFiles preopened;
        const int descriptor = preopened.open(m_file.path(), O_RDWR);
        ASSERT_TRUE(preopened.map(descriptor, 2 * pageSize, offset));
        auto* const mapping = static_cast<char*>(mapAgain(descriptor, 2 * pageSize));
        auto leftover = preopened.takeRemainder();
        EXPECT_FALSE(isFree(mapping));
        // The reserved range includes all pages that the library unmaps, so the library cannot remove another mapping.
        EXPECT_FALSE(isFree(mapping + 2 * pageSize));
        munmap(mapping + offset, 2 * pageSize);
        leftover.reset();
        for (const std::size_t page : {0U, 1U, 2U}) {
            EXPECT_TRUE(isFree(mapping + page * pageSize)) << offset << ' ' << page;
        }
    }
}

std::size_t numberOfMappings() {
    std::ifstream maps("/proc/self/maps");
    return static_cast<std::size_t>(
        std::count(std::istreambuf_iterator<char>(maps), std::istreambuf_iterator<char>(), '\n'));
}

TEST_F(PreopenedFiles, UnmapAMappingThatNoCallUses) {
    numberOfMappings();
    const std::size_t before = numberOfMappings();
    for (unsigned int i = 0; i < 10; ++i) {
        Common::PreopenedFiles preopened;
        ASSERT_TRUE(preopened.map(preopened.open(m_file.path(), O_RDWR), pageSize, 0x800));
        EXPECT_GT(numberOfMappings(), before);
    }
    EXPECT_EQ(numberOfMappings(), before);
}

TEST(OpenDevice, OpensTheFileOfEveryBackendOnce) {
    const TemporaryWorkingFolder folder;
    TemporaryWorkingFolder::makeFile("registers", pageSize);
    const OpenCounter counter("registers");
    for (const auto type : {DeviceType::Lseek8, DeviceType::FpgaSpi32, DeviceType::TyvonInterrupt16,
                            DeviceType::Tyvon16, DeviceType::Tyvon32}) {
        const auto opened = Common::openDevice({"device", "registers", pageSize, type});
        ASSERT_NE(opened.device, nullptr);
        EXPECT_EQ(opened.probe.reason, "");
        EXPECT_EQ(counter.next(), 1U);
    }
}

TEST(OpenDevice, AccessesTheRegisters) {
    const MemoryFile file(pageSize);
    const auto opened = Common::openDevice(mappedRow(file, pageSize));
    EXPECT_EQ(opened.probe.mapSize, pageSize);
    EXPECT_EQ(opened.device->write(3, 0x12345678), AccessResult::Success);
    std::uint32_t stored = 0;
    std::memcpy(&stored, &file.bytes(pageSize)[12], sizeof(stored));
    EXPECT_EQ(stored, 0x12345678U);
}

TEST(OpenDevice, ReleasesTheFileWithTheDevice) {
    const MemoryFile file(pageSize);
    const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    for (const auto type : {DeviceType::Lseek8, DeviceType::Tyvon32}) {
        const auto device = Common::openDevice({"device", file.path(), pageSize, type}).device;
        EXPECT_EQ(device->device().getNativeHandle(), next);
    }
}

TEST(OpenDevice, SaysWhyItCannotBeOpened) {
    const auto opened = Common::openDevice({"missing", "/nowhere/registers", 0, DeviceType::Lseek8});
    EXPECT_EQ(opened.device, nullptr);
    EXPECT_EQ(opened.probe.reason, "/nowhere/registers: No such file or directory");
}

TEST(RegisterDevice, HasTheWidthOfItsRow) {
    const MemoryFile file(pageSize);
    EXPECT_EQ(Common::open({"a", file.path(), 0, DeviceType::Lseek8}, {})->width(), 8U);
    EXPECT_EQ(Common::open(mappedRow(file, pageSize, DeviceType::Tyvon16), pageSize)->width(), 16U);
    EXPECT_EQ(Common::open(mappedRow(file, pageSize), pageSize)->width(), 32U);
    EXPECT_EQ(Common::open({"a", file.path(), 0, static_cast<DeviceType>(0xFFFFFFFF)}, {}), nullptr);
}

template <typename T>
void expectRegisters(DeviceType type) {
    const MemoryFile file(pageSize);
    const auto device = Common::open(mappedRow(file, pageSize, type), pageSize);
    EXPECT_EQ(device->width(), 8 * sizeof(T));
    EXPECT_EQ(device->write(3, 0x5A), AccessResult::Success);
    T stored = 0;
    std::memcpy(&stored, &file.bytes(pageSize)[3 * sizeof(T)], sizeof(T));
    EXPECT_EQ(stored, 0x5AU);
    std::uint32_t value = 0xFFFFFFFF;
    EXPECT_EQ(device->write(3, 0x0F, 0x11), AccessResult::Success);
    EXPECT_EQ(device->read(3, value), AccessResult::Success);
    EXPECT_EQ(value, 0x4BU);
}

TEST(RegisterDevice, AccessesTheRegistersOfEveryWidth) {
    expectRegisters<std::uint8_t>(DeviceType::Lseek8);
    expectRegisters<std::uint16_t>(DeviceType::Tyvon16);
    expectRegisters<std::uint32_t>(DeviceType::Tyvon32);
}

TEST(RegisterDevice, MovesBurstsInBothOrders) {
    const MemoryFile file(pageSize);
    const auto device = Common::open(mappedRow(file, pageSize, DeviceType::Tyvon16), pageSize);
    const std::array<std::uint32_t, 3> written{0x1122, 0x3344, 0x5566};
    std::array<std::uint32_t, 3> read{};
    EXPECT_EQ(device->write(10, written.data(), 3, ByteOrder::Network), AccessResult::Success);
    EXPECT_EQ(device->read(10, read.data(), 3, ByteOrder::Network), AccessResult::Success);
    EXPECT_EQ(read, written);
    EXPECT_EQ(device->read(10, read.data(), 3, ByteOrder::Host), AccessResult::Success);
    EXPECT_EQ(read, (std::array<std::uint32_t, 3>{0x2211, 0x4433, 0x6655}));
}

TEST(RegisterDevice, MovesBurstsOfTheTypeOfItsRegisters) {
    const MemoryFile file(pageSize);
    const auto device = Common::open(mappedRow(file, pageSize, DeviceType::Tyvon16), pageSize);
    const std::array<std::uint16_t, 3> written{0x1122, 0x3344, 0x5566};
    std::array<std::uint16_t, 3> read{};
    EXPECT_EQ(device->writeFrom(10, written.data(), 3, ByteOrder::Network), AccessResult::Success);
    EXPECT_EQ(device->readInto(10, read.data(), 3, ByteOrder::Network), AccessResult::Success);
    EXPECT_EQ(read, written);
    EXPECT_EQ(device->readInto(10, read.data(), 3, ByteOrder::Host), AccessResult::Success);
    EXPECT_EQ(read, (std::array<std::uint16_t, 3>{0x2211, 0x4433, 0x6655}));
    EXPECT_EQ(device->readInto(pageSize / 2 - 2, read.data(), 3, ByteOrder::Host), AccessResult::OutOfRange);
    EXPECT_EQ(device->writeFrom(pageSize / 2 - 2, read.data(), 3, ByteOrder::Host), AccessResult::OutOfRange);
}

TEST(RegisterDevice, RefusesAccessesOutsideTheMappingAndAccessesNothing) {
    const MemoryFile file(pageSize);
    const auto device = Common::open(mappedRow(file, pageSize), pageSize);
    constexpr std::uint32_t end = pageSize / 4;
    std::array<std::uint32_t, 2> values{7, 7};
    EXPECT_EQ(device->read(end - 1, values[0]), AccessResult::Success);
    values = {7, 7};
    for (const std::uint32_t address : {end, 0xFFFFFFFFU}) {
        EXPECT_EQ(device->read(address, values[0]), AccessResult::OutOfRange);
        EXPECT_EQ(device->write(address, 1), AccessResult::OutOfRange);
        EXPECT_EQ(device->write(address, 1, 1), AccessResult::OutOfRange);
    }
    EXPECT_EQ(device->read(end - 2, values.data(), 2, ByteOrder::Host), AccessResult::Success);
    values = {7, 7};
    EXPECT_EQ(device->read(end - 1, values.data(), 2, ByteOrder::Host), AccessResult::OutOfRange);
    EXPECT_EQ(device->read(1, values.data(), 0xFFFFFFFF, ByteOrder::Host), AccessResult::OutOfRange);
    EXPECT_EQ(values, (std::array<std::uint32_t, 2>{7, 7}));
    EXPECT_EQ(device->write(end - 1, values.data(), 2, ByteOrder::Host), AccessResult::OutOfRange);
    EXPECT_EQ(file.bytes(pageSize), std::vector<std::uint8_t>(pageSize));
}

TEST(RegisterDevice, RefusesValuesAndMasksWiderThanARegister) {
    const MemoryFile file(pageSize);
    const auto device = Common::open(mappedRow(file, pageSize, DeviceType::Tyvon16), pageSize);
    const std::array<std::uint32_t, 2> values{0xFFFF, 0x10000};
    EXPECT_EQ(device->write(0, 0x10000), AccessResult::TooWide);
    EXPECT_EQ(device->write(0, 0x10000, 1), AccessResult::TooWide);
    EXPECT_EQ(device->write(0, 1, 0x10000), AccessResult::TooWide);
    EXPECT_EQ(device->write(0, values.data(), 2, ByteOrder::Host), AccessResult::TooWide);
    EXPECT_EQ(file.bytes(pageSize), std::vector<std::uint8_t>(pageSize));
    EXPECT_EQ(device->write(0, 0xFFFF), AccessResult::Success);
}

TEST(RegisterDevice, ReportsAFailureOfTheDevice) {
    const MemoryFile file(2);
    const auto device = Common::open({"short", file.path(), 0, DeviceType::Lseek8}, {});
    std::uint32_t value = 7;
    std::array<std::uint32_t, 3> values{7, 7, 7};
    EXPECT_EQ(device->read(2, value), AccessResult::Failed);
    EXPECT_EQ(value, 7U);
    EXPECT_EQ(device->read(0, values.data(), 3, ByteOrder::Host), AccessResult::Failed);
    EXPECT_EQ(values, (std::array<std::uint32_t, 3>{7, 7, 7}));
}

TEST(RegisterDevice, SurvivesBusErrorsAndContinues) {
    Common::BusErrorGuard::install();
    const MemoryFile file(pageSize);
    const auto device = Common::open(mappedRow(file, 2 * pageSize), 2 * pageSize);
    constexpr std::uint32_t beyond = pageSize / 4;
    std::uint32_t value = 7;
    std::array<std::uint32_t, 2> values{7, 7};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(device->read(beyond, value), AccessResult::BusError);
        EXPECT_EQ(device->write(beyond, 1), AccessResult::BusError);
        EXPECT_EQ(device->write(beyond, 1, 1), AccessResult::BusError);
        EXPECT_EQ(device->read(beyond - 1, values.data(), 2, ByteOrder::Host), AccessResult::BusError);
        EXPECT_EQ(device->write(beyond, values.data(), 1, ByteOrder::Host), AccessResult::BusError);
    }
    EXPECT_EQ(value, 7U);
    EXPECT_EQ(values, (std::array<std::uint32_t, 2>{7, 7}));
    EXPECT_EQ(device->write(beyond - 1, 0x12345678), AccessResult::Success);
    EXPECT_EQ(device->read(beyond - 1, value), AccessResult::Success);
    EXPECT_EQ(value, 0x12345678U);
}

/** Returns a register that causes a bus error when a program reads it. The register stays mapped. */
const volatile std::uint32_t& faultyRegister() {
    const MemoryFile empty(0);
    const int descriptor = ::open(empty.path().c_str(), O_RDONLY | O_CLOEXEC);
    void* const mapping = ::mmap(nullptr, pageSize, PROT_READ, MAP_SHARED, descriptor, 0);
    close(descriptor);
    return *static_cast<const volatile std::uint32_t*>(mapping);
}

void read(const volatile std::uint32_t& place) { [[maybe_unused]] const std::uint32_t value = place; }

/** Causes a bus error outside the guarded accesses. @param previous the action for bus errors before install(). */
void failOutsideOfGuardedAccesses(void (*previous)(int)) {
    std::signal(SIGBUS, previous);
    Common::BusErrorGuard::install();
    Common::BusErrorGuard::run([] {});
    read(faultyRegister());
}

TEST(BusErrorGuardDeathTest, IgnoresFaultsOutsideItsAccesses) {
    EXPECT_EXIT(failOutsideOfGuardedAccesses(SIG_DFL), testing::KilledBySignal(SIGBUS), "");
}

TEST(BusErrorGuardDeathTest, LeavesFaultsOutsideItsAccessesToTheEarlierHandler) {
    EXPECT_EXIT(failOutsideOfGuardedAccesses([](int) { _exit(7); }), testing::ExitedWithCode(7), "");
}

struct sigaction actionOfGuard;

/** Restores the action of the guard, as a handler that was set after install() may do. */
void restoreActionOfGuard(int /*signal*/) { sigaction(SIGBUS, &actionOfGuard, nullptr); }

void failWithAHandlerThatRestoresTheGuard() {
    Common::BusErrorGuard::install();
    sigaction(SIGBUS, nullptr, &actionOfGuard);
    std::signal(SIGBUS, restoreActionOfGuard);
    Common::BusErrorGuard::install();
    alarm(10);
    read(faultyRegister());
}

TEST(BusErrorGuardDeathTest, EndsTheProcessIfTheEarlierHandlerRestoresTheGuard) {
    EXPECT_EXIT(failWithAHandlerThatRestoresTheGuard(), testing::KilledBySignal(SIGBUS), "");
}

/** An object that records its destruction. */
class Witness {
public:
    explicit Witness(bool& isDestroyed) : m_isDestroyed(isDestroyed) {}
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;
    ~Witness() { m_isDestroyed = true; }

private:
    bool& m_isDestroyed;
};

class BusErrorGuard : public testing::Test {
protected:
    BusErrorGuard() { Common::BusErrorGuard::install(); }

    const volatile std::uint32_t& m_faulty = faultyRegister();
};

TEST_F(BusErrorGuard, RecoversInAThreadThatHasUnblockedTheSignal) {
    std::thread([&] {
        sigset_t all{};
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        Common::BusErrorGuard::unblock();
        EXPECT_FALSE(Common::BusErrorGuard::run([&] { read(m_faulty); }));
        pthread_sigmask(SIG_BLOCK, nullptr, &all);
        EXPECT_EQ(sigismember(&all, SIGBUS), 0);
        EXPECT_EQ(sigismember(&all, SIGTERM), 1);
    }).join();
}

TEST_F(BusErrorGuard, LeavesAnAccessWithoutUnwindingIt) {
    bool isDestroyed = false;
    EXPECT_FALSE(Common::BusErrorGuard::run([&] {
        const Witness witness(isDestroyed);
        read(m_faulty);
    }));
    EXPECT_FALSE(isDestroyed);
}

TEST_F(BusErrorGuard, TellsWhetherAnAccessIsRunning) {
    bool isRunning = false;
    EXPECT_FALSE(Common::BusErrorGuard::isRunning());
    Common::BusErrorGuard::run([&] { isRunning = Common::BusErrorGuard::isRunning(); });
    EXPECT_TRUE(isRunning);
    EXPECT_FALSE(Common::BusErrorGuard::isRunning());
    Common::BusErrorGuard::run([&] { read(m_faulty); });
    EXPECT_FALSE(Common::BusErrorGuard::isRunning());
}

class AccessMutex : public BusErrorGuard {
protected:
    EventLog m_log;
    Common::AccessMutex m_mutex{std::make_unique<RecordingMutex>(m_log)};
};

TEST_F(AccessMutex, BehavesLikeAnyOtherMutexOutsideGuardedAccesses) {
    EXPECT_TRUE(m_mutex.lock());
    EXPECT_TRUE(m_mutex.unlock());
    m_mutex.endAccess();
    EXPECT_EQ(m_log, (EventLog{"lock", "unlock"}));
}

TEST_F(AccessMutex, IsUnlockedAtTheEndOfAGuardedAccess) {
    EXPECT_TRUE(Common::BusErrorGuard::run([&] {
        m_mutex.lock();
        m_mutex.unlock();
    }));
    EXPECT_EQ(m_log, EventLog{"lock"});
    m_mutex.endAccess();
    m_mutex.endAccess();
    EXPECT_EQ(m_log, (EventLog{"lock", "unlock"}));
}

TEST_F(AccessMutex, StaysLockedForAnAccessThatLocksItAgain) {
    EXPECT_TRUE(Common::BusErrorGuard::run([&] {
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(m_mutex.lock());
            EXPECT_TRUE(m_mutex.unlock());
        }
    }));
    m_mutex.endAccess();
    EXPECT_EQ(m_log, (EventLog{"lock", "unlock"}));
}

TEST_F(AccessMutex, IsUnlockedAfterAFault) {
    EXPECT_FALSE(Common::BusErrorGuard::run([&] {
        m_mutex.lock();
        read(m_faulty);
    }));
    m_mutex.endAccess();
    EXPECT_EQ(m_log, (EventLog{"lock", "unlock"}));
}

TEST_F(AccessMutex, StaysAsItIsWhenTheAccessHasNotLockedIt) {
    m_mutex.lock();
    std::thread([&] {
        EXPECT_FALSE(Common::BusErrorGuard::run([&] { read(m_faulty); }));
        m_mutex.endAccess();
    }).join();
    EXPECT_EQ(m_log, EventLog{"lock"});
}

TEST_F(BusErrorGuard, TreatsNoSignalOfAProcessAsAFault) {
    const auto raiseSignals = [] {
        ::kill(getpid(), SIGBUS);
        raise(SIGBUS);
    };
    for (int i = 0; i < 2; ++i) {
        raiseSignals();
        EXPECT_TRUE(Common::BusErrorGuard::run(raiseSignals));
        EXPECT_FALSE(Common::BusErrorGuard::run([&] { read(m_faulty); }));
    }
}

} // namespace
} // namespace RynvelTest
