// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cerrno>

#include <sys/mman.h>

#include <gtest/gtest.h>

#include "ScriptedOs.h"

namespace {

using namespace RynvelTest;

class LinuxIoTest : public testing::Test {
protected:
    std::string onlyCall() { return m_os.log().size() == 1 ? m_os.log().front() : "not one call"; }

    ScriptedOs m_os;
    LinuxIo m_io;
};

TEST_F(LinuxIoTest, MakesOneCallWithItsArgumentsAndReturnsTheResult) {
    const auto expectCall = [this](const std::string& call, auto result, auto operation) {
        m_os.log().clear();
        EXPECT_EQ(operation(), result) << call;
        EXPECT_EQ(onlyCall(), call);
    };
    const std::uint8_t bytes[] = {0xA1, 0x0B};
    m_os.script(Call::Close, {answering(3)});
    m_os.script(Call::Lseek, {answering(77)});
    m_os.script(Call::Ioctl, {answering(42), asUsual});
    expectCall("open(/dev/registers, 2)", 7, [&] { return m_io.open("/dev/registers", 2); });
    expectCall("close(12)", 3, [&] { return m_io.close(12); });
    expectCall("lseek(5, -4, 2)", 77, [&] { return m_io.lseek(5, -4, 2); });
    expectCall("write(9, a10b)", 2, [&] { return m_io.write(9, bytes, 2); });
    expectCall("ioctl(4, 0x5401, 0x1234)", 42, [&] { return m_io.ioctl(4, 0x5401, 0x1234UL); });
    expectCall("ioctl(4, 0xc0206b00, 0x0)", 0, [&] { return m_io.ioctl(4, static_cast<int>(0xC0206B00), 0UL); });
    expectCall("mmap(0, 4096, 3, 1, 7, 0)", m_os.memory.data(), [&] { return m_io.mmap(nullptr, 4096, 3, 1, 7, 0); });
    expectCall("munmap(0, 4096)", 0, [&] { return m_io.munmap(nullptr, 4096); });
}

TEST_F(LinuxIoTest, ReadsThroughAConstantObject) {
    m_os.memory = {0x11, 0x22, 0x33};
    std::uint8_t buffer[3] = {};
    const LinuxIo& constant = m_io;
    EXPECT_EQ(constant.read(9, buffer, 3), 3);
    EXPECT_EQ(onlyCall(), "read(9, 3)");
    EXPECT_EQ(buffer[2], 0x33);
}

TEST_F(LinuxIoTest, MakesARequestWithAPointer) {
    unsigned long value = 0;
    EXPECT_EQ(m_io.ioctl(4, 0xEE02, &value), 0);
    std::ostringstream expected;
    expected << "ioctl(4, 0xee02, 0x" << std::hex << reinterpret_cast<std::uintptr_t>(&value) << ')';
    EXPECT_EQ(onlyCall(), expected.str());
}

TEST_F(LinuxIoTest, MakesARequestWithoutAnArgument) {
    m_os.script(Call::Ioctl, {answering(1)});
    EXPECT_EQ(m_io.ioctl(4, 0xEE00), 1);
    EXPECT_EQ(onlyCall().rfind("ioctl(4, 0xee00, ", 0), 0U);
}

TEST_F(LinuxIoTest, ReadsALinkWithoutTerminatingItsText) {
    m_os.linkText = "uio3";
    std::string buffer(8, '#');
    EXPECT_EQ(m_io.readlink("/dev/clock", buffer.data(), 8), 4);
    EXPECT_EQ(onlyCall(), "readlink(/dev/clock, 8)");
    EXPECT_EQ(buffer, "uio3####");
}

TEST_F(LinuxIoTest, ReturnsEveryFailureUnchangedAndTriesOnce) {
    std::uint8_t byte = 0;
    char text[8] = {};
    unsigned long argument = 0;
    const auto failedOnce = [&](Call call, auto operation) {
        m_os.log().clear();
        m_os.script(call, {failing(EINTR)});
        errno = 0;
        EXPECT_EQ(operation(), -1) << nameOf(call);
        EXPECT_EQ(errno, EINTR) << nameOf(call);
        EXPECT_EQ(m_os.log().size(), 1U) << nameOf(call);
    };
    failedOnce(Call::Open, [&] { return m_io.open("/dev/x", 0); });
    failedOnce(Call::Close, [&] { return m_io.close(7); });
    failedOnce(Call::Lseek, [&] { return m_io.lseek(7, 0, 0); });
    failedOnce(Call::Read, [&] { return m_io.read(7, &byte, 1); });
    failedOnce(Call::Write, [&] { return m_io.write(7, &byte, 1); });
    failedOnce(Call::Ioctl, [&] { return m_io.ioctl(7, 1, 2UL); });
    failedOnce(Call::Ioctl, [&] { return m_io.ioctl(7, 1, &argument); });
    failedOnce(Call::Ioctl, [&] { return m_io.ioctl(7, 1); });
    failedOnce(Call::Munmap, [&] { return m_io.munmap(&byte, 1); });
    failedOnce(Call::Readlink, [&] { return m_io.readlink("/dev/x", text, sizeof(text)); });
    failedOnce(Call::Mmap, [&] { return m_io.mmap(nullptr, 1, 3, 1, 7, 0) == MAP_FAILED ? -1 : 0; });
}

TEST_F(LinuxIoTest, HasNoStateAndNoVirtualFunctions) {
    EXPECT_TRUE(std::is_empty_v<LinuxIo>);
    EXPECT_FALSE(std::is_polymorphic_v<LinuxIo>);
}

} // namespace
