// SPDX-License-Identifier: MIT
// A program that uses the classes of the installed package. The program makes a device from its own table row, or uses
// a handle without opening a device.

#include <rynvel.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

class NoMutex : public Rynvel::IMutex {
public:
    bool lock() override { return true; }
    bool unlock() override { return true; }
};

int useDeviceOfOwnRow() {
    const char* const path = "consumer_registers";
    std::FILE* const file = std::fopen(path, "wb");
    if (file == nullptr || std::fputs("\x12\x34\x56\x78", file) < 0 || std::fclose(file) != 0) {
        return 1;
    }
    auto& factory = Rynvel::Factory::getInstance();
    const Rynvel::MemoryDevice row{"own", path, 0, Rynvel::DeviceType::Lseek16};
    const auto device = factory.createDevice(row, std::make_unique<NoMutex>());
    auto* const device16 = dynamic_cast<Rynvel::Device16*>(device.get());
    std::uint16_t value = 0;
    if (device16 == nullptr || !device16->read(2, &value)) {
        return 1;
    }
    Rynvel::PthreadMutex mutex(Rynvel::PthreadMutexType::PriorityInherit);
    std::cout << "value " << HexU32Struct{value, 4} << " in " << Rynvel::ByteOrder::Host << " order, lock "
              << mutex.lock() << ", slots " << (factory.getBackend(29) == nullptr) << '\n';
    mutex.unlock();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 2 && argv[1] == std::string("--handle")) {
        return Rynvel::Factory::getInstance().getBackend8(std::atoi(argv[2])) == nullptr ? 1 : 0;
    }
    return useDeviceOfOwnRow();
}
