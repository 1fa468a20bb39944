#include "OpenDevice.h"

#include <cerrno>
#include <cstring>

#include "DeviceProbe.h"

namespace Rynvelctl {

namespace {

using Inventory::Outcome;

/** Asks a remote device again to be opened, which works as long as its connections do. */
template <typename T>
bool opensAgain(Rynvel::IDevice& device) {
    auto* const remote = dynamic_cast<Rynvel::Remote<T>*>(&device);
    return remote != nullptr && remote->open() != -1;
}

std::optional<std::uint32_t> probedMapSize(const Subject& subject) {
    const Inventory::Probe probe = Inventory::probe(subject.row);
    if (!probe.obstacle.empty()) {
        throw Failure(ExitStatus::Unreachable, subject.name() + ": " + probe.obstacle);
    }
    return probe.mapSize;
}

std::unique_ptr<Inventory::RegisterDevice> openRemote(const Subject& subject) {
    const Server& server = *subject.server;
    // The library would try for ever to reach a server, and does not tell when it refuses the device.
    server.connect().open(subject.name());
    const Rynvel::MemoryDevice row{subject.name(), server.numericAddress(), 0, subject.row.m_type};
    return server.patiently([&] { return Inventory::open(row, std::nullopt); });
}

} // namespace

OpenDevice::OpenDevice(const Subject& subject) : m_subject(subject) {
    if (subject.server) {
        m_device = openRemote(subject);
        return;
    }
    m_mapSize = probedMapSize(subject);
    m_device = Inventory::open(subject.row, m_mapSize);
}

template <typename Calls>
auto OpenDevice::patiently(const Calls& calls) {
    errno = 0;
    return m_subject.server ? m_subject.server->patiently(calls) : calls();
}

bool OpenDevice::isConnectionLost() {
    if (!m_subject.server) {
        return false;
    }
    if (!descriptor()) {
        // Without interrupts a device cannot be opened again.
        m_subject.server->connect().open(m_subject.name());
        return false;
    }
    return !patiently([&] {
        auto& device = m_device->device();
        return opensAgain<std::uint8_t>(device) || opensAgain<std::uint16_t>(device) ||
               opensAgain<std::uint32_t>(device);
    });
}

Failure OpenDevice::failure(const std::string& deed) {
    const int error = m_subject.server ? 0 : errno;
    if (isConnectionLost()) {
        return {ExitStatus::Unreachable, m_subject.server->name() + ": the connection was closed"};
    }
    const std::string reason = error == 0 ? "" : std::string(": ") + std::strerror(error);
    return {ExitStatus::Failed, m_subject.name() + ": " + deed + " failed" + reason};
}

void OpenDevice::require(bool success, const std::string& deed) {
    if (!success) {
        throw failure(deed);
    }
}

template <typename Operation>
void OpenDevice::access(const char* deed, const std::string& address, const Operation& operation) {
    const Outcome outcome = patiently(operation);
    const std::string text = deed + std::string(" ") + address;
    if (outcome == Outcome::Faulted) {
        throw Failure(ExitStatus::Failed, m_subject.name() + ": " + text + " ended in a bus error");
    }
    require(outcome == Outcome::Done, text);
}

void OpenDevice::requireInside(const Addressing& addressing, const Place& first, std::uint32_t count) const {
    if (m_mapSize) {
        addressing.requireInside(*m_mapSize, first, count);
    }
}

std::uint32_t OpenDevice::read(const Addressing& addressing, const Place& place) {
    std::uint32_t value = 0;
    access("reading", addressing.text(place), [&] { return m_device->read(place.deviceAddress, value); });
    return value;
}

void OpenDevice::write(const Addressing& addressing, const Place& place, std::uint32_t value) {
    access("writing", addressing.text(place), [&] { return m_device->write(place.deviceAddress, value); });
}

void OpenDevice::write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask) {
    access("writing", addressing.text(place), [&] { return m_device->write(place.deviceAddress, value, mask); });
}

std::vector<std::uint32_t> OpenDevice::readBurst(const Addressing& addressing, const Place& first, std::uint32_t count,
                                                 Rynvel::ByteOrder order) {
    std::vector<std::uint32_t> values(count);
    access("reading a burst from", addressing.text(first),
           [&] { return m_device->read(first.deviceAddress, values.data(), count, order); });
    return values;
}

int OpenDevice::ioctl(int request, unsigned long argument) {
    const int result = patiently([&] { return m_device->device().ioctl(request, argument); });
    require(result != -1, "the request");
    return result;
}

std::optional<std::uint32_t> OpenDevice::interruptType() {
    if (!m_subject.kind.hasInterrupts) {
        return std::nullopt;
    }
    unsigned long type = 0;
    if (patiently([&] { return m_device->device().getInterruptType(&type); })) {
        return static_cast<std::uint32_t>(type);
    }
    if (m_subject.server && !isConnectionLost()) {
        return std::nullopt;
    }
    throw failure("asking for the interrupt's type");
}

void OpenDevice::enableInterrupts() {
    require(patiently([&] { return m_device->device().enableInterrupt(); }), "enabling the interrupt");
}

void OpenDevice::disableInterrupts() {
    require(patiently([&] { return m_device->device().disableInterrupt(); }), "disabling the interrupt");
}

std::uint32_t OpenDevice::receiveInterrupt() {
    errno = 0;
    unsigned long word = 0;
    require(m_device->device().waitForInterrupt(&word), "receiving an interrupt");
    return static_cast<std::uint32_t>(word);
}

std::optional<int> OpenDevice::descriptor() {
    const int descriptor = m_device->device().getNativeHandle();
    return descriptor == -1 ? std::nullopt : std::optional<int>(descriptor);
}

} // namespace Rynvelctl
