// SPDX-License-Identifier: MIT
#include <sys/mman.h>

#include "DeviceContract.h"
#include "SeekableRegisters.h"

namespace RynvelTest {
namespace {

/** A backend whose device file is a file in memory. */
template <typename T>
class LseekOnMemoryFile : public SeekableRegisters<T> {
public:
    LseekOnMemoryFile() : LseekOnMemoryFile(memfd_create("registers", MFD_CLOEXEC)) {}

private:
    explicit LseekOnMemoryFile(int fd) : SeekableRegisters<T>("/proc/self/fd/" + std::to_string(fd), fd) {}
};

using Backends =
    testing::Types<LseekOnMemoryFile<std::uint8_t>, LseekOnMemoryFile<std::uint16_t>, LseekOnMemoryFile<std::uint32_t>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Lseek, DeviceContract, Backends);

} // namespace
} // namespace RynvelTest
