#include "DeviceTypeInfo.h"

namespace Common {

// A type without a kind does not compile.
const DeviceTypeInfo* findDeviceTypeInfo(Rynvel::DeviceType type) {
#define KIND(TYPE, ...)                                                                                                \
    case Rynvel::DeviceType::TYPE: {                                                                                   \
        static constexpr DeviceTypeInfo kind{#TYPE, __VA_ARGS__};                                                      \
        return &kind;                                                                                                  \
    }
    switch (type) {
        KIND(Lseek8, Access::Seekable, 8, false, false, 1)
        KIND(Lseek16, Access::Seekable, 16, false, false, 2)
        KIND(Lseek32, Access::Seekable, 32, false, false, 4)
        KIND(Uio16, Access::Mapped, 16, true, true, 1)
        KIND(Uio32, Access::Mapped, 32, true, true, 1)
        KIND(FpgaSpi32, Access::Spi, 32, false, false, 1)
        KIND(Tyvon16, Access::Mapped, 16, true, false, 1)
        KIND(Tyvon32, Access::Mapped, 32, true, false, 1)
        KIND(TyvonInterrupt16, Access::Seekable, 16, true, false, 2)
        KIND(TyvonInterrupt32, Access::Seekable, 32, true, false, 4)
        KIND(Remote8, Access::Remote, 8, true, false, 1)
        KIND(Remote16, Access::Remote, 16, true, false, 1)
        KIND(Remote32, Access::Remote, 32, true, false, 1)
    }
#undef KIND
    return nullptr;
}

} // namespace Common
