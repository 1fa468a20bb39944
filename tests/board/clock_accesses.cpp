// SPDX-License-Identifier: MIT
// Performs every kind of register operation at addresses without a register, in the page of the real-time clock. The
// emulated machine logs these accesses, and clock_accesses.sh checks the log.

#include <rynvel.hpp>

#include <array>
#include <cstdio>

namespace {

using Rynvel::ByteOrder;

template <typename T>
bool operate(unsigned int byteOffset) {
    constexpr unsigned int items = 5;
    const unsigned int index = byteOffset / sizeof(T);
    Rynvel::Uio<T> device("/dev/rtc0", std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None), false);
    std::array<T, items> values{};
    return device.read(index, values.data()) && device.write(index, T{1}) && device.write(index, T{1}, T{3}) &&
           device.write(index, T{1}, static_cast<T>(~T{0})) &&
           device.read(index, values.data(), items, ByteOrder::Host) &&
           device.read(index, values.data(), items, ByteOrder::Network) &&
           device.write(index, values.data(), items, ByteOrder::Host) &&
           device.write(index, values.data(), items, ByteOrder::Network);
}

} // namespace

int main() {
    if (!operate<std::uint16_t>(0x800) || !operate<std::uint32_t>(0x900)) {
        std::fputs("clock_accesses: an operation failed\n", stderr);
        return 1;
    }
    return 0;
}
