#include "DeviceKind.h"

#include <array>

namespace Common {

namespace {

// In the order of the device types.
constexpr std::array<DeviceKind, 13> kinds{{
    {"Lseek8", Access::Seekable, 8, false, false, 1},
    {"Lseek16", Access::Seekable, 16, false, false, 2},
    {"Lseek32", Access::Seekable, 32, false, false, 4},
    {"Uio16", Access::Mapped, 16, true, true, 1},
    {"Uio32", Access::Mapped, 32, true, true, 1},
    {"FpgaSpi32", Access::Spi, 32, false, false, 1},
    {"Tyvon16", Access::Mapped, 16, true, false, 1},
    {"Tyvon32", Access::Mapped, 32, true, false, 1},
    {"TyvonInterrupt16", Access::Seekable, 16, true, false, 2},
    {"TyvonInterrupt32", Access::Seekable, 32, true, false, 4},
    {"Remote8", Access::Remote, 8, true, false, 1},
    {"Remote16", Access::Remote, 16, true, false, 1},
    {"Remote32", Access::Remote, 32, true, false, 1},
}};

} // namespace

const DeviceKind* findKind(Rynvel::DeviceType type) {
    const auto index = static_cast<std::size_t>(type);
    return index < kinds.size() ? &kinds[index] : nullptr;
}

} // namespace Common
