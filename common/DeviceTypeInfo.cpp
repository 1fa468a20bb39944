// SPDX-License-Identifier: MIT
#include "DeviceTypeInfo.h"

namespace Common {

// The switch has no default case, so that the compiler reports a missing device type.
const DeviceTypeInfo* findDeviceTypeInfo(Rynvel::DeviceType type) {
#define TYPE_INFO(TYPE, ...)                                                                                           \
    case Rynvel::DeviceType::TYPE: {                                                                                   \
        static constexpr DeviceTypeInfo info{#TYPE, __VA_ARGS__};                                                      \
        return &info;                                                                                                  \
    }
    switch (type) {
        TYPE_INFO(Lseek8, AccessMethod::Seekable, 8, false, false, 1)
        TYPE_INFO(Lseek16, AccessMethod::Seekable, 16, false, false, 2)
        TYPE_INFO(Lseek32, AccessMethod::Seekable, 32, false, false, 4)
        TYPE_INFO(Uio16, AccessMethod::Mapped, 16, true, true, 1)
        TYPE_INFO(Uio32, AccessMethod::Mapped, 32, true, true, 1)
        TYPE_INFO(FpgaSpi32, AccessMethod::Spi, 32, false, false, 1)
        TYPE_INFO(Tyvon16, AccessMethod::Mapped, 16, true, false, 1)
        TYPE_INFO(Tyvon32, AccessMethod::Mapped, 32, true, false, 1)
        TYPE_INFO(TyvonInterrupt16, AccessMethod::Seekable, 16, true, false, 2)
        TYPE_INFO(TyvonInterrupt32, AccessMethod::Seekable, 32, true, false, 4)
        TYPE_INFO(Remote8, AccessMethod::Remote, 8, true, false, 1)
        TYPE_INFO(Remote16, AccessMethod::Remote, 16, true, false, 1)
        TYPE_INFO(Remote32, AccessMethod::Remote, 32, true, false, 1)
    }
#undef TYPE_INFO
    return nullptr;
}

} // namespace Common
