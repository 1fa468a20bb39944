#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>

#include <gtest/gtest.h>
#include <rynvel.h>
#include <rynvel.hpp>

#include "TraceRecorder.h"

namespace {

thread_local unsigned long allocations = 0;

} // namespace

// Every allocation of the library comes through these: it is C++ alone.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

using Rynvel::ByteOrder;
using RynvelTest::EventLog;
using RynvelTest::TraceRecorder;

std::unique_ptr<Rynvel::PthreadMutex> plainMutex() {
    return std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
}

/** The path of a file in memory that the descriptor keeps. */
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
                                Rynvel::Mmap<std::uint16_t>, Rynvel::Mmap<std::uint32_t>>;
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

TYPED_TEST(AllocationTest, SeesTheAllocationsOfATracedOperation) {
    const auto device = make(static_cast<TypeParam*>(nullptr));
    const TraceRecorder recorder(7);
    const unsigned long before = allocations;
    this->operate(*device, 0);
    EXPECT_GT(allocations, before);
}

} // namespace
