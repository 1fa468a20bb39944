#include "LocalDevice.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

namespace Rynvelctl {

namespace {

using Common::AccessResult;

Common::OpenedDevice opened(const Target& target) {
    Common::OpenedDevice device = Common::openDevice(target.row);
    if (!device.device) {
        throw Failure(ExitStatus::Unreachable, target.name() + ": " + device.probe.reason);
    }
    return device;
}

} // namespace

LocalDevice::LocalDevice(const Target& target, const CommandTime& time)
    : m_target(target), m_time(time), m_opened(opened(target)) {}

Failure LocalDevice::failure(const std::string& action) const {
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    return {ExitStatus::Failed, m_target.name() + ": " + action + " failed" + reason};
}

void LocalDevice::require(bool success, const std::string& action) const {
    if (!success) {
        throw failure(action);
    }
}

template <typename Operation>
void LocalDevice::access(const std::string& action, const Operation& operation) {
    m_time.require(m_target.name());
    errno = 0;
    const AccessResult outcome = operation();
    if (outcome == AccessResult::BusError) {
        throw Failure(ExitStatus::Failed, m_target.name() + ": " + action + " ended in a bus error");
    }
    require(outcome == AccessResult::Success, action);
}

std::uint32_t LocalDevice::read(const RegisterRange& range) {
    std::uint32_t value = 0;
    access("reading " + range.addressText(), [&] { return m_opened.device->read(range.deviceAddress(), value); });
    return value;
}

void LocalDevice::write(const RegisterRange& range, std::uint32_t value) {
    access("writing " + range.addressText(), [&] { return m_opened.device->write(range.deviceAddress(), value); });
}

void LocalDevice::write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) {
    access("writing " + range.addressText(),
           [&] { return m_opened.device->write(range.deviceAddress(), value, mask); });
}

std::vector<std::uint32_t> LocalDevice::readBurst(const RegisterRange& range, Rynvel::ByteOrder order) {
    std::vector<std::uint32_t> values(range.count());
    access("reading a burst from " + range.addressText(),
           [&] { return m_opened.device->read(range.deviceAddress(), values.data(), range.count(), order); });
    return values;
}

int LocalDevice::ioctl(std::uint32_t request, std::uint32_t argument) {
    errno = 0;
    const int result = m_opened.device->device().ioctl(static_cast<int>(request), argument);
    require(result != -1, "the request");
    return result;
}

std::optional<std::uint32_t> LocalDevice::interruptType() {
    if (!m_target.kind.hasInterrupts) {
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

std::optional<std::uint32_t> LocalDevice::receiveInterrupt(const Common::Deadline& /*deadline*/) {
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
