// SPDX-License-Identifier: MIT
#include "ServedDevices.h"

#include <array>
#include <atomic>
#include <filesystem>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

/** Returns the number of descriptors of this process that refer to the file. */
std::size_t openingsOf(const std::filesystem::path& file) {
    std::size_t count = 0;
    std::error_code gone;
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        count += std::filesystem::read_symlink(descriptor, gone) == file ? 1U : 0U;
    }
    return count;
}

TEST(ServedDevices, OpenAFileOnceAtATime) {
    const TemporaryWorkingFolder folder;
    TemporaryWorkingFolder::makeFile("registers.seek", 16);
    const auto file = std::filesystem::current_path() / "registers.seek";
    const Rynveld::CurrentPolicy policy{Rynveld::Policy()};
    Rynveld::ServedDevices devices(policy);
    constexpr unsigned int rounds = 500;
    std::atomic<std::size_t> most{0};
    const auto openAndClose = [&] {
        for (unsigned int i = 0; i < rounds; ++i) {
            std::string reason;
            const auto device = devices.open("seek.8", reason);
            EXPECT_NE(device, nullptr) << reason;
            if (const std::size_t count = openingsOf(file); count > most) {
                most = count;
            }
        }
    };
    std::thread other(openAndClose);
    openAndClose();
    other.join();
    EXPECT_EQ(most, 1U);
}

} // namespace
} // namespace RynvelTest
