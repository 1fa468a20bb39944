#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#include "DeviceContract.h"
#include "ScriptedOs.h"

namespace RynvelTest {
namespace {

constexpr unsigned int mapSize = 4096;

std::unique_ptr<Rynvel::PthreadMutex> plainMutex() {
    return std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None);
}

/** A file in memory stands in for the device file; its mapping is the real system's. */
template <typename T>
class MmapOnMemoryFile {
public:
    using Value = T;
    static constexpr bool hasInterrupts = false;
    static constexpr bool hasHandle = true;
    static constexpr bool atomicMaskedWrites = true;

    MmapOnMemoryFile() { EXPECT_EQ(ftruncate(m_fd, mapSize), 0); }
    MmapOnMemoryFile(const MmapOnMemoryFile&) = delete;
    MmapOnMemoryFile& operator=(const MmapOnMemoryFile&) = delete;
    ~MmapOnMemoryFile() { close(m_fd); }

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Mmap<T>>("/proc/self/fd/" + std::to_string(m_fd), 0, mapSize, plainMutex(),
                                                 false);
    }

    static unsigned int address(unsigned int i) { return i; }
    static bool reportsBurst(unsigned int /*items*/) { return true; }

    T peek(unsigned int i) const {
        T value = 0;
        EXPECT_EQ(pread(m_fd, &value, sizeof(T), static_cast<off_t>(i * sizeof(T))), static_cast<ssize_t>(sizeof(T)));
        return value;
    }

    void poke(unsigned int i, T value) {
        EXPECT_EQ(pwrite(m_fd, &value, sizeof(T), static_cast<off_t>(i * sizeof(T))), static_cast<ssize_t>(sizeof(T)));
    }

private:
    const int m_fd = memfd_create("registers", MFD_CLOEXEC);
};

/** The scripted operating system has the UIO device and its attributes. */
template <typename T>
class UioOnScriptedOs {
public:
    using Value = T;
    static constexpr bool hasInterrupts = true;
    static constexpr bool hasHandle = true;
    static constexpr bool atomicMaskedWrites = true;

    UioOnScriptedOs() {
        m_os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0x0\n"},
                      {"/sys/class/uio/uio0/maps/map0/size", "0x1000\n"}};
    }

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Uio<T>>("/dev/registers", plainMutex(), false);
    }

    static unsigned int address(unsigned int i) { return i; }
    static bool reportsBurst(unsigned int /*items*/) { return true; }

    T peek(unsigned int i) const {
        T value = 0;
        std::memcpy(&value, &m_os.memory[i * sizeof(T)], sizeof(T));
        return value;
    }

    void poke(unsigned int i, T value) { std::memcpy(&m_os.memory[i * sizeof(T)], &value, sizeof(T)); }

private:
    ScriptedOs m_os;
};

using Backends = testing::Types<MmapOnMemoryFile<std::uint16_t>, MmapOnMemoryFile<std::uint32_t>,
                                UioOnScriptedOs<std::uint16_t>, UioOnScriptedOs<std::uint32_t>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Mapped, DeviceContract, Backends);

} // namespace
} // namespace RynvelTest
