// SPDX-License-Identifier: MIT
#include <rynvel.h>
#include <rynvel.hpp>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include "CFunctions.h"
#include "PlainMutex.h"
#include "StoredResults.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

namespace {

thread_local unsigned long allocations = 0;
thread_local bool disturbing = false;

} // namespace

// The library itself allocates memory only with operator new, so these replacements count all of its allocations.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (disturbing) {
        errno = EILSEQ;
    }
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

using Rynvel::ByteOrder;
using namespace RynvelTest;

/** Returns the path of a new file of 4096 bytes in memory. The path is valid until the process ends. */
std::string memoryFile() {
    const int fd = memfd_create("registers", 0);
    EXPECT_EQ(ftruncate(fd, 4096), 0);
    return "/proc/self/fd/" + std::to_string(fd);
}

template <typename T>
std::unique_ptr<Rynvel::Device<T>> make(Rynvel::Lseek<T>* /*type*/) {
    return std::make_unique<Rynvel::Lseek<T>>(memoryFile(), plainMutex());
}

template <typename T>
std::unique_ptr<Rynvel::Device<T>> make(Rynvel::Mmap<T>* /*type*/) {
    return std::make_unique<Rynvel::Mmap<T>>(memoryFile(), 0, 4096, plainMutex(), false);
}

template <typename T>
std::unique_ptr<Rynvel::Device<T>> make(Rynvel::Remote<T>* /*type*/) {
    static TestPeer peer;
    return std::make_unique<Rynvel::Remote<T>>("registers", peer.address(), plainMutex());
}

/** @tparam Backend the class under test. */
template <typename Backend>
class AllocationTest : public testing::Test {
protected:
    template <typename T>
    static void operate(Rynvel::Device<T>& device, unsigned int round) {
        T values[4] = {};
        device.read(round % 64, values);
        device.write(round % 64, T{1});
        device.write(round % 64, T{1}, T{2});
        device.read(0, values, 4, ByteOrder::Host);
        device.read(0, values, 4, ByteOrder::Network);
        device.write(0, values, 4, ByteOrder::Host);
        device.write(0, values, 4, ByteOrder::Network);
        device.ioctl(0, 0);
        device.getNativeHandle();
        device.enableInterrupt();
    }
};

using Backends = testing::Types<Rynvel::Lseek<std::uint8_t>, Rynvel::Lseek<std::uint16_t>, Rynvel::Lseek<std::uint32_t>,
                                Rynvel::Mmap<std::uint16_t>, Rynvel::Mmap<std::uint32_t>, Rynvel::Remote<std::uint8_t>,
                                Rynvel::Remote<std::uint16_t>, Rynvel::Remote<std::uint32_t>>;
TYPED_TEST_SUITE(AllocationTest, Backends);

TYPED_TEST(AllocationTest, NeitherAllocatesNorLogsIn10000OperationsWithTracingOff) {
    const auto device = make(static_cast<TypeParam*>(nullptr));
    const TraceRecorder recorder(0);
    const unsigned long before = allocations;
    for (unsigned int round = 0; round < 1000; ++round) {
        this->operate(*device, round);
    }
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TYPED_TEST(AllocationTest, DetectsTheAllocationsOfATracedOperation) {
    const auto device = make(static_cast<TypeParam*>(nullptr));
    const TraceRecorder recorder(7);
    const unsigned long before = allocations;
    this->operate(*device, 0);
    EXPECT_GT(allocations, before);
}

TEST(Allocation, IsNotMadeByTheFunctionsOfTheCInterfaceWithTracingOff) {
    for (const char* name : {"registers8", "registers16", "registers32"}) {
        std::ofstream(name) << std::string(256, ' ');
    }
    const TraceRecorder recorder(0);
    const int handle8 = Rynvel_open("file8");
    ASSERT_EQ(Rynvel_open("file16"), handle8 + 1);
    ASSERT_EQ(Rynvel_open("file32"), handle8 + 2);
    unsigned long info = 0;
    const unsigned long before = allocations;
    forAllCFunctions(handle8, [](int handle, const auto& functions) {
        RegisterOf<decltype(functions)> value = 0;
        functions.read(handle, 0, &value);
        functions.write(handle, 0, 1);
        functions.writeBitmask(handle, 0, 1, 2);
        functions.burstRead(handle, 0, &value, 1, 1);
        functions.burstWrite(handle, 0, &value, 1, 0);
    });
    Rynvel_ioctl(handle8, 0, 0);
    Rynvel_getInterruptType(handle8, &info);
    Rynvel_enableInterrupts(handle8);
    Rynvel_disableInterrupts(handle8);
    Rynvel_receiveInterrupts(handle8, &info);
    Rynvel_getFileDescriptor(handle8);
    EXPECT_EQ(allocations, before);
}

TEST(Allocation, IsNotMadeByTheInterruptOperationsOfAUioDeviceWithTracingOff) {
    const TraceRecorder recorder(0);
    Rynvel::Uio<std::uint32_t> device("/dev/none", plainMutex(), true);
    unsigned long value = 0;
    const unsigned long before = allocations;
    EXPECT_TRUE(device.getInterruptType(&value));
    EXPECT_FALSE(device.enableInterrupt());
    EXPECT_FALSE(device.disableInterrupt());
    EXPECT_FALSE(device.waitForInterrupt(&value));
    EXPECT_EQ(allocations, before);
}

TEST(Allocation, IsNotMadeByTheInterruptOperationsOfARemoteDeviceWithTracingOff) {
    const TraceRecorder recorder(0);
    TestPeer peer;
    Rynvel::Remote<std::uint32_t> device("registers", peer.address(), plainMutex());
    peer.send(1, {0, 0, 0, 1});
    unsigned long value = 0;
    const unsigned long before = allocations;
    EXPECT_TRUE(device.getInterruptType(&value));
    EXPECT_TRUE(device.enableInterrupt());
    EXPECT_TRUE(device.disableInterrupt());
    EXPECT_TRUE(device.waitForInterrupt(&value));
    EXPECT_TRUE(device.cancelWaitForInterrupt(0, 1));
    EXPECT_EQ(device.open(), device.open());
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(value, 1U);
}

TEST(Allocation, IsNotMadeByAnFpgaRegisterAccessWithTracingOff) {
    const TraceRecorder recorder(0);
    Rynvel::FpgaSpi32 device("/dev/null", plainMutex(), 0);
    std::uint32_t value = 0;
    const unsigned long before = allocations;
    EXPECT_FALSE(device.read(0, &value));
    EXPECT_FALSE(device.write(0, 1));
    EXPECT_FALSE(device.write(0, 1, 2));
    EXPECT_FALSE(device.read(0, &value, 1, ByteOrder::Network));
    EXPECT_FALSE(device.write(0, &value, 1, ByteOrder::Network));
    EXPECT_EQ(allocations, before);
}

/** Returns the result of the operation, and errno after it. During the operation, every allocation changes errno. */
template <typename Operation>
std::pair<bool, int> withDisturbingAllocations(int errnoBefore, Operation operation) {
    disturbing = true;
    errno = errnoBefore;
    const bool done = operation();
    const int errnoAfter = errno;
    disturbing = false;
    return {done, errnoAfter};
}

TEST(Errno, IsKeptByTheEntryTraceOfAnOperation) {
    const auto device = make(static_cast<Rynvel::Lseek<std::uint8_t>*>(nullptr));
    const TraceRecorder recorder(6);
    EXPECT_EQ(withDisturbingAllocations(ERANGE, [&] { return readFrom(*device).first; }), std::pair(true, ERANGE));
    EXPECT_EQ(recorder.lines().size(), 1U);
}

TEST(Errno, IsKeptByTheMessageOfAFailure) {
    const TraceRecorder recorder(1, "Rynvel.Uio");
    Rynvel::Uio<std::uint32_t> device("/dev/none", plainMutex(), true);
    EXPECT_EQ(withDisturbingAllocations(0, [&] { return device.disableInterrupt(); }), std::pair(false, EBADF));
    EXPECT_EQ(recorder.lines().back(),
              "Rynvel.Uio 1 disableInterrupt: Failed to write on device \"/dev/none\". errno = "
              "Bad file descriptor");
}

} // namespace
