#include "LocalDevice.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

namespace Rynvelctl {

namespace {

using Common::Outcome;

Common::OpenedDevice opened(const Subject& subject) {
    Common::OpenedDevice device = Common::openDevice(subject.row);
    if (!device.device) {
        throw Failure(ExitStatus::Unreachable, subject.name() + ": " + device.probe.obstacle);
    }
    return device;
}

} // namespace

LocalDevice::LocalDevice(const Subject& subject, const CommandTime& time)
    : m_subject(subject), m_time(time), m_opened(opened(subject)) {}

Failure LocalDevice::failure(const std::string& deed) const {
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    return {ExitStatus::Failed, m_subject.name() + ": " + deed + " failed" + reason};
}

void LocalDevice::require(bool success, const std::string& deed) const {
    if (!success) {
        throw failure(deed);
    }
}

template <typename Operation>
void LocalDevice::access(const std::string& deed, const Operation& operation) {
    m_time.require(m_subject.name());
    errno = 0;
    const Outcome outcome = operation();
    if (outcome == Outcome::Faulted) {
        throw Failure(ExitStatus::Failed, m_subject.name() + ": " + deed + " ended in a bus error");
    }
    require(outcome == Outcome::Done, deed);
}

std::uint32_t LocalDevice::read(const Addressing& addressing, const Place& place) {
    std::uint32_t value = 0;
    access(accessText("reading", addressing, place), [&] { return m_opened.device->read(place.deviceAddress, value); });
    return value;
}

void LocalDevice::write(const Addressing& addressing, const Place& place, std::uint32_t value) {
    access(accessText("writing", addressing, place),
           [&] { return m_opened.device->write(place.deviceAddress, value); });
}

void LocalDevice::write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask) {
    access(accessText("writing", addressing, place),
           [&] { return m_opened.device->write(place.deviceAddress, value, mask); });
}

std::vector<std::uint32_t> LocalDevice::readBurst(const Addressing& addressing, const Place& first, std::uint32_t count,
                                                  Rynvel::ByteOrder order) {
    std::vector<std::uint32_t> values(count);
    access(accessText("reading a burst from", addressing, first),
           [&] { return m_opened.device->read(first.deviceAddress, values.data(), count, order); });
    return values;
}

int LocalDevice::ioctl(std::uint32_t request, std::uint32_t argument) {
    errno = 0;
    const int result = m_opened.device->device().ioctl(static_cast<int>(request), argument);
    require(result != -1, "the request");
    return result;
}

std::optional<std::uint32_t> LocalDevice::interruptType() {
    if (!m_subject.kind.hasInterrupts) {
        return std::nullopt;
    }
    errno = 0;
    unsigned long type = 0;
    require(m_opened.device->device().getInterruptType(&type), "asking for the interrupt's type");
    return static_cast<std::uint32_t>(type);
}

void LocalDevice::enableInterrupts() {
    errno = 0;
    require(m_opened.device->device().enableInterrupt(), "enabling the interrupt");
}

void LocalDevice::disableInterrupts() {
    errno = 0;
    require(m_opened.device->device().disableInterrupt(), "disabling the interrupt");
}

// An interrupt that somebody else takes between poll() and the receipt must not make the receipt wait for the next.
int LocalDevice::expectInterrupts() {
    const int descriptor = m_opened.device->device().getNativeHandle();
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    return descriptor;
}

std::optional<std::uint32_t> LocalDevice::receiveInterrupt() {
    errno = 0;
    unsigned long word = 0;
    const bool isReceived = m_opened.device->device().waitForInterrupt(&word);
    if (!isReceived && errno == EAGAIN) {
        return std::nullopt;
    }
    require(isReceived, "receiving an interrupt");
    return static_cast<std::uint32_t>(word);
}

std::optional<int> LocalDevice::descriptor() {
    const int descriptor = m_opened.device->device().getNativeHandle();
    return descriptor == -1 ? std::nullopt : std::optional<int>(descriptor);
}

} // namespace Rynvelctl
