// SPDX-License-Identifier: MIT
#include "ScriptedOs.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "FailsAtItsEnd.h"

extern "C" {
// The headers of the C library declare these functions only in builds with _FORTIFY_SOURCE or 64-bit times.
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
ssize_t __read_chk(int fd, void* buffer, size_t count, size_t room);
ssize_t __readlink_chk(const char* path, char* buffer, size_t size, size_t room) noexcept;
int __ioctl_time64(int fd, unsigned long request, ...) noexcept;
int __setsockopt64(int fd, int level, int name, const void* value, socklen_t size) noexcept;
}

namespace {

using namespace RynvelTest;

using UnusedAnswers = FailsAtItsEnd;

TEST_F(UnusedAnswers, FailTheTestOfTheirMachine) {
    ScriptedOs os;
    os.script(Call::Sleep, {asUsual, asUsual});
    os.script(Call::Close, {answering(0), failing(EIO), answering(1)});
    EXPECT_EQ(::close(3), 0);
    expectFailure("unused answers of close: 2");
    expectFailure("unused answers of sleep: 2");
}

TEST_F(UnusedAnswers, FailTheTestOfADestroyedMachine) {
    ScriptedOs().script(Call::Open, {failing(ENODEV)});
    ScriptedOs().script(Call::Open, {failing(ENODEV)});
    expectFailure("unused answers of open: 2");
}

/** Scripts the results of munmap(), uses one of them, and ends the process. */
template <typename End>
void endWith(const std::vector<std::optional<Answer>>& answers, End end) {
    ScriptedOs os;
    os.script(Call::Munmap, answers);
    ::munmap(nullptr, 1);
    end();
}

TEST_F(UnusedAnswers, FailTheTestOfAChildProcessHoweverItEnds) {
    EXPECT_EXIT(endWith({asUsual, asUsual}, std::abort), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(endWith({asUsual, asUsual}, [] { std::raise(SIGKILL); }), testing::KilledBySignal(SIGKILL), "");
    EXPECT_EXIT(endWith({asUsual, asUsual}, [] { std::exit(0); }), testing::ExitedWithCode(0), "");
    expectFailure("unused answers of munmap: 3");
}

TEST_F(UnusedAnswers, DoNotIncludeThoseThatACallHasReturned) {
    endWith({asUsual}, [] {});
    EXPECT_EXIT(endWith({asUsual}, std::abort), testing::KilledBySignal(SIGABRT), "");
}

TEST(ScriptedOs, AnswersTheCallsOfFortifiedCode) {
    ScriptedOs os;
    char bytes[4] = {};
    EXPECT_EQ(::__open_2("/dev/registers", O_RDWR), ScriptedOs::descriptor);
    EXPECT_EQ(::__read_chk(7, bytes, 3, 4), 3);
    EXPECT_EQ(::__readlink_chk("/dev/clock", bytes, 4, 4), 4);
    EXPECT_EQ(os.log(), (EventLog{"open(/dev/registers, 2)", "read(7, 3)", "readlink(/dev/clock, 4)"}));
}

TEST(ScriptedOs, AnswersTheCallsOfCodeWithLongFileOffsetsAndTimes) {
    ScriptedOs os;
    constexpr std::int64_t far = 0x123456000;
    EXPECT_EQ(::open64("/dev/registers", O_RDWR), ScriptedOs::descriptor);
    EXPECT_EQ(::__open64_2("/dev/registers", O_RDWR), ScriptedOs::descriptor);
    EXPECT_EQ(::lseek64(7, far, SEEK_SET), far);
    EXPECT_EQ(::mmap64(nullptr, 4096, PROT_READ, MAP_SHARED, 7, far), os.memory.data());
    EXPECT_EQ(::__ioctl_time64(7, 0x5401, 2UL), 0);
    EXPECT_EQ(::__setsockopt64(7, SOL_SOCKET, SO_TYPE, nullptr, 0), 0);
    EXPECT_EQ(os.log(),
              (EventLog{"open(/dev/registers, 2)", "open(/dev/registers, 2)", "lseek(7, 4886716416, 0)",
                        "mmap(0, 4096, 1, 1, 7, 4886716416)", "ioctl(7, 0x5401, 0x2)", "setsockopt(7, 1, 3)"}));
}

TEST(ScriptedOs, LeavesLongFileOffsetsToTheKernelWhereThereIsNone) {
    const int fd = ::memfd_create("far", 0);
    constexpr std::int64_t place = 0xFFFFF000;
    EXPECT_EQ(::lseek64(fd, 0x123456789, SEEK_SET), 0x123456789);
    EXPECT_EQ(::lseek64(fd, place, SEEK_SET), place);
    EXPECT_EQ(::write(fd, "far", 3), 3);
    void* const page = ::mmap64(nullptr, 3, PROT_READ, MAP_SHARED, fd, place);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_EQ(std::memcmp(page, "far", 3), 0);
    EXPECT_EQ(::munmap(page, 3), 0);
    EXPECT_EQ(::close(fd), 0);
}

/** Makes a fortified call on a scripted operating system, with a buffer of 4 bytes. */
template <typename Operation>
void overflow(Operation operation) {
    const ScriptedOs os;
    char bytes[4] = {};
    operation(bytes);
}

TEST(ScriptedOs, KeepsTheHeapMappedWhenADeviceOutlivesIt) {
    void* mapped = nullptr;
    {
        ScriptedOs os;
        mapped = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, ScriptedOs::descriptor, 0);
    }
    EXPECT_EQ(::munmap(mapped, 4096), 0);
}

TEST(ScriptedOs, EndsFortifiedCodeThatAsksForMoreThanItsBuffer) {
    const char* const end = "buffer overflow detected";
    EXPECT_DEATH(overflow([](char* bytes) { ::__read_chk(7, bytes, 5, 4); }), end);
    EXPECT_DEATH(overflow([](char* bytes) { ::__readlink_chk("/dev/clock", bytes, 5, 4); }), end);
}

} // namespace
