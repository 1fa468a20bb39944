// SPDX-License-Identifier: MIT
#include "SimulatedDevice.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include "DescribedRegisters.h"
#include "RegisterValue.h"
#include "RegisterWord.h"

namespace Rynveld {

SimulatedInterrupt::SimulatedInterrupt() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    m_sockets = {Common::Descriptor(ends[0]), Common::Descriptor(ends[1])};
}

void SimulatedInterrupt::raise(std::optional<std::uint32_t> word) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_count;
    const std::uint32_t reported = word.value_or(m_count);
    if (m_enabled) {
        deliver(reported);
    } else {
        m_pending = reported;
    }
}

void SimulatedInterrupt::enable() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_enabled = true;
    if (m_pending) {
        deliver(*m_pending);
        m_pending.reset();
    }
}

void SimulatedInterrupt::disable() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_enabled = false;
}

bool SimulatedInterrupt::receive(unsigned long* word) {
    std::uint32_t received = 0;
    if (::read(descriptor(), &received, sizeof(received)) != sizeof(received)) {
        return false;
    }
    *word = received;
    return true;
}

void SimulatedInterrupt::deliver(std::uint32_t word) {
    std::uint32_t replaced = 0;
    ::recv(descriptor(), &replaced, sizeof(replaced), MSG_DONTWAIT);
    ::send(m_sockets[1].number(), &word, sizeof(word), MSG_DONTWAIT | MSG_NOSIGNAL);
}

namespace {

template <typename T>
class SimulatedDevice final : public Rynvel::Device<T> {
public:
    SimulatedDevice(const std::string& name, const Common::DeviceTypeInfo& type, DescribedRegisters described)
        : Rynvel::Device<T>(name),
          m_addressStride(type.addressStride),
          m_waitEnablesInterrupt(type.waitEnablesInterrupt),
          m_registers(simulatedSize / sizeof(T)),
          m_described(std::move(described)) {
        if (type.hasInterrupts) {
            m_interrupt = std::make_unique<SimulatedInterrupt>();
        }
    }

    SimulatedInterrupt* interrupt() const { return m_interrupt.get(); }

    bool read(unsigned int address, T* data) override {
        return access(address, 1, [&](std::size_t index) { *data = load(index); });
    }

    bool read(unsigned int address, T* data, unsigned int items, Rynvel::ByteOrder byteOrder) override {
        return access(address, items, [&](std::size_t index) {
            std::generate(data, data + items, [&] { return ordered(load(index++), byteOrder); });
        });
    }

    bool write(unsigned int address, T data) override {
        return access(address, 1, [&](std::size_t index) { store(index, data); });
    }

    bool write(unsigned int address, T data, T bitmask) override {
        return access(address, 1,
                      [&](std::size_t index) { store(index, Rynvel::replaceBits(load(index), data, bitmask)); });
    }

    bool write(unsigned int address, const T* data, unsigned int items, Rynvel::ByteOrder byteOrder) override {
        return access(address, items, [&](std::size_t index) {
            std::for_each(data, data + items, [&](T value) { store(index++, ordered(value, byteOrder)); });
        });
    }

    /** Stores 4, the interrupt type of a UIO device. Returns false if the device has no interrupts. */
    bool getInterruptType(unsigned long* type) override {
        if (m_interrupt) {
            *type = 4;
        }
        return m_interrupt != nullptr;
    }

    bool enableInterrupt() override {
        if (m_interrupt) {
            m_interrupt->enable();
        }
        return m_interrupt != nullptr;
    }

    bool disableInterrupt() override {
        if (m_interrupt) {
            m_interrupt->disable();
        }
        return m_interrupt != nullptr;
    }

    bool waitForInterrupt(unsigned long* info) override {
        if (m_interrupt && m_waitEnablesInterrupt) {
            m_interrupt->enable();
        }
        return m_interrupt && m_interrupt->receive(info);
    }

    /** Does nothing and returns 0, for every request. */
    int ioctl(int /*request*/, unsigned long /*arg*/) override { return 0; }

    int getNativeHandle() const override { return m_interrupt ? m_interrupt->descriptor() : -1; }

private:
    static T ordered(T value, Rynvel::ByteOrder byteOrder) {
        return static_cast<T>(Common::inByteOrder(value, Common::widthOf<T>, byteOrder));
    }

    template <typename Function>
    bool access(unsigned int address, unsigned int items, const Function& function) {
        const std::size_t index = address / m_addressStride;
        if (address % m_addressStride != 0 || index > m_registers.size() || items > m_registers.size() - index) {
            return false;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        function(index);
        return true;
    }

    T load(std::size_t index) {
        const auto described = m_described.find(index);
        return described == m_described.end() ? m_registers[index] : static_cast<T>(described->second.read());
    }

    void store(std::size_t index, T data) {
        const auto described = m_described.find(index);
        if (described == m_described.end()) {
            m_registers[index] = data;
        } else {
            described->second.write(data);
        }
    }

    const unsigned int m_addressStride;
    const bool m_waitEnablesInterrupt;
    std::mutex m_mutex;
    std::vector<T> m_registers;
    DescribedRegisters m_described;
    std::unique_ptr<SimulatedInterrupt> m_interrupt;
};

template <typename T>
Simulation simulateAs(const std::string& name, const Common::DeviceTypeInfo& type, DescribedRegisters described) {
    auto device = std::make_unique<SimulatedDevice<T>>(name, type, std::move(described));
    SimulatedInterrupt* const interrupt = device->interrupt();
    return {Common::wrap(std::unique_ptr<Rynvel::Device<T>>(std::move(device)), nullptr, std::nullopt), interrupt};
}

} // namespace

Simulation simulate(const std::string& name, const Common::DeviceTypeInfo& type, const Maps::Peripheral* description) {
    DescribedRegisters described =
        description == nullptr ? DescribedRegisters() : describedRegisters(*description, type.width);
    return Common::withRegisterType(
        type.width, [&](auto zero) { return simulateAs<decltype(zero)>(name, type, std::move(described)); });
}

} // namespace Rynveld
