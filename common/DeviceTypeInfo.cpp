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
        TYPE_INFO(Lseek8, Access::Seekable, 8, false, false, 1)
        TYPE_INFO(Lseek16, Access::Seekable, 16, false, false, 2)
        TYPE_INFO(Lseek32, Access::Seekable, 32, false, false, 4)
        TYPE_INFO(Uio16, Access::Mapped, 16, true, true, 1)
        TYPE_INFO(Uio32, Access::Mapped, 32, true, true, 1)
        TYPE_INFO(FpgaSpi32, Access::Spi, 32, false, false, 1)
        TYPE_INFO(Tyvon16, Access::Mapped, 16, true, false, 1)
        TYPE_INFO(Tyvon32, Access::Mapped, 32, true, false, 1)
        TYPE_INFO(TyvonInterrupt16, Access::Seekable, 16, true, false, 2)
        TYPE_INFO(TyvonInterrupt32, Access::Seekable, 32, true, false, 4)
        TYPE_INFO(Remote8, Access::Remote, 8, true, false, 1)
        TYPE_INFO(Remote16, Access::Remote, 16, true, false, 1)
        TYPE_INFO(Remote32, Access::Remote, 32, true, false, 1)
    }
#undef TYPE_INFO
    return nullptr;
}

} // namespace Common
