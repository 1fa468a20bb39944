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

template <typename T>
class AllocationTest : public testing::Test {
protected:
    AllocationTest() {
        const int fd = memfd_create("registers", MFD_CLOEXEC);
        EXPECT_EQ(ftruncate(fd, 4096), 0);
        m_device =
            std::make_unique<Rynvel::Lseek<T>>("/proc/self/fd/" + std::to_string(fd),
                                               std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None));
        close(fd);
    }

    void operate(unsigned int round) {
        T values[4] = {};
        m_device->read(round % 64, values);
        m_device->write(round % 64, T{1});
        m_device->write(round % 64, T{1}, T{2});
        m_device->read(0, values, 4, ByteOrder::Host);
        m_device->read(0, values, 4, ByteOrder::Network);
        m_device->write(0, values, 4, ByteOrder::Host);
        m_device->write(0, values, 4, ByteOrder::Network);
        m_device->ioctl(0, 0);
        m_device->getNativeHandle();
        m_device->enableInterrupt();
    }

    std::unique_ptr<Rynvel::Device<T>> m_device;
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(AllocationTest, Widths);

TYPED_TEST(AllocationTest, NeitherAllocatesNorLogsIn10000OperationsWithTracingOff) {
    const TraceRecorder recorder(0);
    const unsigned long before = allocations;
    for (unsigned int round = 0; round < 1000; ++round) {
        this->operate(round);
    }
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TYPED_TEST(AllocationTest, SeesTheAllocationsOfATracedOperation) {
    const TraceRecorder recorder(6);
    const unsigned long before = allocations;
    this->operate(0);
    EXPECT_GT(allocations, before);
}

} // namespace
