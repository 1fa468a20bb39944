// SPDX-License-Identifier: MIT
#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

#include "BusErrorGuard.h"
#include "DeviceProbe.h"
#include "Errors.h"
#include "NonBlocking.h"
#include "OpenDevice.h"

namespace RynvelPython {

namespace {

using Common::AccessMethod;
using Common::AccessResult;

/** The maximum number of registers in one part of a burst of a mapped device. */
constexpr std::uint32_t mappedItems = 4096;
/** The same for other local devices, on which each register may take a system call. */
constexpr std::uint32_t fileItems = 256;

/** The number of accesses of this thread until the next call of installBusErrorGuard(). */
thread_local unsigned int uncheckedAccesses = 0;

std::string hexadecimal(std::uint32_t number) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    do {
        text.insert(text.begin(), digits[number % 16]);
        number /= 16;
    } while (number != 0);
    return "0x" + text;
}

class LocalDevice final : public OpenDevice {
public:
    LocalDevice(Common::OpenedDevice opened, DeviceProperties properties) : m_device(std::move(opened.device)) {
        setProperties(std::move(properties));
    }

    bool mayBlock() const override { return access() != AccessMethod::Mapped; }

    std::uint32_t read(std::uint32_t address) override {
        std::uint32_t value = 0;
        errno = 0;
        require(m_device->read(address, value), "reading", address);
        return value;
    }

    void write(std::uint32_t address, std::uint32_t value) override {
        errno = 0;
        require(m_device->write(address, value), "writing", address);
    }

    void write(std::uint32_t address, std::uint32_t value, std::uint32_t mask) override {
        errno = 0;
        require(m_device->write(address, value, mask), "writing", address);
    }

    std::uint32_t maxItems() const override { return access() == AccessMethod::Mapped ? mappedItems : fileItems; }

    void readInto(std::uint32_t address, void* registers, std::uint32_t items, bool isReversed) override {
        if (!hasOnlySingleTransfers(properties().type)) {
            errno = 0;
            require(m_device->readInto(address, registers, items, order(isReversed)), "reading a burst from", address);
            return;
        }
        for (std::uint32_t i = 0; i < items; ++i) {
            storeRegister(registers, i, width(), read(address + i * stride()), isReversed);
        }
    }

    void writeFrom(std::uint32_t address, const void* registers, std::uint32_t items, bool isReversed) override {
        if (!hasOnlySingleTransfers(properties().type)) {
            errno = 0;
            require(m_device->writeFrom(address, registers, items, order(isReversed)), "writing a burst to", address);
            return;
        }
        for (std::uint32_t i = 0; i < items; ++i) {
            write(address + i * stride(), loadRegister(registers, i, width(), isReversed));
        }
    }

    int prepareInterrupts() override { return descriptor(); }

    void enableInterrupts() override {
        errno = 0;
        require(m_device->device().enableInterrupt(), "enabling the interrupt");
    }

    void disableInterrupts() override {
        errno = 0;
        require(m_device->device().disableInterrupt(), "disabling the interrupt");
    }

    void releaseInterrupts() override {}

    std::optional<std::uint32_t> receiveInterrupt() override {
        // Another process may take the interrupt after poll() returns. The function must then not wait for the next
        // one.
        const Common::NonBlocking nonBlocking(descriptor());
        errno = 0;
        std::uint32_t word = 0;
        const bool isReceived = receive(word);
        if (!isReceived && errno == EAGAIN) {
            return std::nullopt;
        }
        require(isReceived, "receiving an interrupt");
        return word;
    }

private:
    static Rynvel::ByteOrder order(bool isReversed) {
        return isReversed ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
    }

    AccessMethod access() const { return properties().type.access; }
    unsigned int width() const { return properties().type.width; }
    unsigned int stride() const { return properties().type.addressStride; }
    int descriptor() { return m_device->device().getNativeHandle(); }

    // Reads the device file directly if waitForInterrupt() enables the interrupt. waitForInterrupt() would enable the
    // interrupt a second time, before the program can clear the source of the interrupt. A source that is still active
    // would then raise a second interrupt.
    bool receive(std::uint32_t& word) {
        if (properties().type.waitEnablesInterrupt) {
            return ::read(descriptor(), &word, sizeof(word)) == sizeof(word);
        }
        unsigned long status = 0;
        const bool isReceived = m_device->device().waitForInterrupt(&status);
        word = static_cast<std::uint32_t>(status);
        return isReceived;
    }

    OperationError failure(const std::string& action) const {
        const int error = errno;
        const std::string reason = error == 0 ? "" : std::string(": ") + std::strerror(error);
        return {ErrorKind::Device, properties().name + ": " + action + " failed" + reason, error};
    }

    void require(bool success, const char* action) const {
        if (!success) {
            throw failure(action);
        }
    }

    void require(AccessResult result, const char* action, std::uint32_t address) const {
        if (__builtin_expect(result != AccessResult::Success, 0)) {
            throwFailure(result, action, address);
        }
    }

    [[noreturn, gnu::cold]] void throwFailure(AccessResult result, const char* action, std::uint32_t address) const {
        const bool isOffset = stride() > 1 || width() == 8;
        const std::string text = std::string(action) + ' ' + hexadecimal(isOffset ? address : address * (width() / 8));
        if (result == AccessResult::BusError) {
            throw OperationError(ErrorKind::Bus, properties().name + ": " + text + " caused a bus error");
        }
        throw failure(text);
    }

    const std::unique_ptr<Common::RegisterDevice> m_device;
};

ErrorKind kindOf(int systemError) {
    switch (systemError) {
    case ENOENT:
        return ErrorKind::MissingFile;
    case EACCES:
    case EPERM:
        return ErrorKind::PermissionDenied;
    default:
        return ErrorKind::Device;
    }
}

} // namespace

void installBusErrorGuard() {
    Common::BusErrorGuard::install();
    Common::BusErrorGuard::unblock();
    uncheckedAccesses = 0;
}

void refreshBusErrorGuard() {
    constexpr unsigned int mostUncheckedAccesses = 255;
    if (uncheckedAccesses > 0) {
        --uncheckedAccesses;
        return;
    }
    installBusErrorGuard();
    uncheckedAccesses = mostUncheckedAccesses;
}

std::shared_ptr<OpenDevice> openLocal(const Rynvel::MemoryDevice& row, const Common::DeviceTypeInfo& type) {
    Common::OpenedDevice opened = Common::openDevice(row);
    if (!opened.device) {
        throw OperationError(kindOf(opened.probe.systemError), row.m_name + ": " + opened.probe.reason,
                             opened.probe.systemError);
    }
    const auto mapSize = opened.probe.mapSize;
    const std::uint64_t registers = mapSize ? *mapSize / (type.width / 8) : addressableRegisters(type);
    return std::make_shared<LocalDevice>(std::move(opened),
                                         DeviceProperties{row.m_name, type, "", registers, mapSize.has_value(), true});
}

} // namespace RynvelPython
