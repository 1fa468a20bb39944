#include "ServedDevice.h"

namespace Rynvelctl {

namespace {

Common::RemoteDevice opened(const Target& target) {
    const Server& server = *target.server;
    return {server.address(), target.name(), target.width(), server.deadlines()};
}

} // namespace

ServedDevice::ServedDevice(const Target& target)
    : m_target(target), m_server(*target.server), m_device(m_server.ask([&] { return opened(target); }, "")) {}

template <typename Calls>
auto ServedDevice::attempt(const std::string& action, const Calls& calls) {
    return m_server.ask(calls, m_target.name() + ": " + action + " failed: the server refuses it");
}

std::uint32_t ServedDevice::read(const RegisterRange& range) {
    return attempt("reading " + range.addressText(), [&] { return m_device.read(range.deviceAddress()); });
}

void ServedDevice::write(const RegisterRange& range, std::uint32_t value) {
    attempt("writing " + range.addressText(), [&] { m_device.write(range.deviceAddress(), value); });
}

void ServedDevice::write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) {
    attempt("writing " + range.addressText(), [&] { m_device.write(range.deviceAddress(), value, mask); });
}

std::vector<std::uint32_t> ServedDevice::readBurst(const RegisterRange& range, Rynvel::ByteOrder order) {
    return attempt("reading a burst from " + range.addressText(),
                   [&] { return m_device.read(range.deviceAddress(), range.count(), order); });
}

int ServedDevice::ioctl(std::uint32_t request, std::uint32_t argument) {
    return attempt("the request", [&] { return m_device.ioctl(request, argument); });
}

std::optional<std::uint32_t> ServedDevice::interruptType() {
    return m_server.ask([&] { return m_device.interruptType(); }, "");
}

void ServedDevice::enableInterrupts() {
    attempt("enabling the interrupt", [&] { m_device.enableInterrupt(); });
}

void ServedDevice::disableInterrupts() {
    attempt("disabling the interrupt", [&] { m_device.disableInterrupt(); });
}

int ServedDevice::expectInterrupts() {
    return m_server.ask([&] { return m_device.arm(); }, m_target.name() + ": the server reports no interrupts of it");
}

std::optional<std::uint32_t> ServedDevice::receiveInterrupt(const Common::Deadline& deadline) {
    const auto earliest = Common::Deadline::earlier(deadline, m_server.deadlines()());
    return m_server.ask(
        [&]() -> std::optional<std::uint32_t> {
            try {
                return m_device.receiveInterrupt(earliest);
            } catch (const Common::ExchangeError&) {
                if (deadline.hasPassed()) {
                    return std::nullopt;
                }
                throw;
            }
        },
        "");
}

void ServedDevice::raiseInterrupt(std::uint32_t word) {
    m_server.ask([&] { m_device.raiseInterrupt(word); }, m_target.name() + ": the server raises no interrupt of it");
}

} // namespace Rynvelctl
