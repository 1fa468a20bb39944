#include "ServedDevice.h"

namespace Rynvelctl {

namespace {

Common::RemoteDevice opened(const Subject& subject) {
    const Server& server = *subject.server;
    return {server.address(), subject.name(), subject.width(), server.deadlines()};
}

} // namespace

ServedDevice::ServedDevice(const Subject& subject)
    : m_subject(subject), m_server(*subject.server), m_device(m_server.ask([&] { return opened(subject); }, "")) {}

template <typename Calls>
auto ServedDevice::attempt(const std::string& deed, const Calls& calls) {
    return m_server.ask(calls, m_subject.name() + ": " + deed + " failed: the server refuses it");
}

std::uint32_t ServedDevice::read(const Addressing& addressing, const Place& place) {
    return attempt(accessText("reading", addressing, place), [&] { return m_device.read(place.deviceAddress); });
}

void ServedDevice::write(const Addressing& addressing, const Place& place, std::uint32_t value) {
    attempt(accessText("writing", addressing, place), [&] { m_device.write(place.deviceAddress, value); });
}

void ServedDevice::write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask) {
    attempt(accessText("writing", addressing, place), [&] { m_device.write(place.deviceAddress, value, mask); });
}

std::vector<std::uint32_t> ServedDevice::readBurst(const Addressing& addressing, const Place& first,
                                                   std::uint32_t count, Rynvel::ByteOrder order) {
    return attempt(accessText("reading a burst from", addressing, first),
                   [&] { return m_device.read(first.deviceAddress, count, order); });
}

int ServedDevice::ioctl(std::uint32_t request, std::uint32_t argument) {
    return attempt("the request", [&] { return m_device.ioctl(request, argument); });
}

std::optional<std::uint32_t> ServedDevice::interruptType() {
    if (!m_subject.kind.hasInterrupts) {
        return std::nullopt;
    }
    return m_server.ask([&] { return m_device.interruptType(); }, "");
}

void ServedDevice::enableInterrupts() {
    attempt("enabling the interrupt", [&] { m_device.enableInterrupt(); });
}

void ServedDevice::disableInterrupts() {
    attempt("disabling the interrupt", [&] { m_device.disableInterrupt(); });
}

int ServedDevice::expectInterrupts() {
    return m_server.ask([&] { return m_device.arm(); }, m_subject.name() + ": the server reports no interrupts of it");
}

std::optional<std::uint32_t> ServedDevice::receiveInterrupt() {
    return m_server.ask([&] { return m_device.receiveInterrupt(m_server.deadlines()()); }, "");
}

void ServedDevice::raiseInterrupt(std::uint32_t word) {
    m_server.ask([&] { m_device.raiseInterrupt(word); }, m_subject.name() + ": the server raises no interrupt of it");
}

} // namespace Rynvelctl
