// SPDX-License-Identifier: MIT
#include "Descriptor.h"

#include <utility>

#include <fcntl.h>

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Common::Descriptor;

int openFile() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

bool isOpen(int number) { return fcntl(number, F_GETFD) != -1; }

TEST(Descriptor, IsInvalidAtFirstAndAfterAFailedCall) {
    EXPECT_FALSE(Descriptor().isOpen());
    EXPECT_EQ(Descriptor().number(), -1);
    EXPECT_FALSE(Descriptor(-1).isOpen());
}

TEST(Descriptor, ClosesItsFileWhenItIsDestroyed) {
    const int number = openFile();
    {
        const Descriptor descriptor(number);
        EXPECT_TRUE(descriptor.isOpen());
        EXPECT_EQ(descriptor.number(), number);
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, LeavesAReleasedFileOpen) {
    const int number = openFile();
    {
        Descriptor descriptor(number);
        EXPECT_EQ(descriptor.release(), number);
        EXPECT_FALSE(descriptor.isOpen());
        EXPECT_EQ(descriptor.release(), -1);
    }
    EXPECT_TRUE(isOpen(number));
    close(number);
}

TEST(Descriptor, GivesItsFileToTheTargetOfAMove) {
    const int number = openFile();
    Descriptor first(number);
    const Descriptor second(std::move(first));
    EXPECT_EQ(second.number(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(Descriptor, ClosesItsFileWhenItTakesAnother) {
    const int former = openFile();
    const int latter = openFile();
    Descriptor descriptor(former);
    descriptor = Descriptor(latter);
    EXPECT_EQ(descriptor.number(), latter);
    EXPECT_FALSE(isOpen(former));
    EXPECT_TRUE(isOpen(latter));
}

} // namespace
} // namespace RynvelTest
