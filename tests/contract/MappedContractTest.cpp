// SPDX-License-Identifier: MIT
#include <sys/mman.h>
#include <unistd.h>

#include "DeviceContract.h"
#include "PlainMutex.h"
#include "RegisterFile.h"
#include "ScriptedOs.h"

namespace RynvelTest {
namespace {

constexpr unsigned int mapSize = 4096;

/** A backend that maps a file in memory instead of a device file. */
template <typename T>
class MmapOnMemoryFile : public RegisterFile<T>, public UsualBackend {
public:
    MmapOnMemoryFile() : MmapOnMemoryFile(memfd_create("registers", MFD_CLOEXEC)) {}

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Mmap<T>>(m_path, 0, mapSize, plainMutex(), false);
    }

private:
    explicit MmapOnMemoryFile(int fd) : RegisterFile<T>(fd), m_path("/proc/self/fd/" + std::to_string(fd)) {
        EXPECT_EQ(ftruncate(fd, mapSize), 0);
    }

    const std::string m_path;
};

/** A backend on a scripted operating system, which has the UIO device and its attributes. */
template <typename T>
class UioOnScriptedOs : public UsualBackend {
public:
    using Value = T;
    static constexpr bool hasInterrupts = true;

    UioOnScriptedOs() {
        m_os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0x0\n"},
                      {"/sys/class/uio/uio0/maps/map0/size", "0x1000\n"}};
    }

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Uio<T>>("/dev/registers", plainMutex(), false);
    }

    T peek(unsigned int i) const { return m_os.stored<T>(i * sizeof(T)); }
    void poke(unsigned int i, T value) { m_os.store(i * sizeof(T), value); }

private:
    ScriptedOs m_os;
};

using Backends = testing::Types<MmapOnMemoryFile<std::uint16_t>, MmapOnMemoryFile<std::uint32_t>,
                                UioOnScriptedOs<std::uint16_t>, UioOnScriptedOs<std::uint32_t>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Mapped, DeviceContract, Backends);

} // namespace
} // namespace RynvelTest
