// SPDX-License-Identifier: MIT
#include "OpenLocalDevice.h"

#include <cerrno>
#include <cstring>

#include "NonBlocking.h"

namespace Rynvelctl {

namespace {

using Common::AccessResult;

Common::OpenedDevice open(const Target& target) {
    Common::OpenedDevice device = Common::openDevice(target.row);
    if (!device.device) {
        throw Failure(ExitStatus::Unreachable, target.name() + ": " + device.probe.reason);
    }
    return device;
}

} // namespace

OpenLocalDevice::OpenLocalDevice(const Target& target, const CommandTimeout& timeout)
    : m_target(target), m_timeout(timeout), m_opened(open(target)) {}

Failure OpenLocalDevice::failure(const std::string& action) const {
    const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    return {ExitStatus::Failed, m_target.name() + ": " + action + " failed" + reason};
}

void OpenLocalDevice::require(bool success, const std::string& action) const {
    if (!success) {
        throw failure(action);
    }
}

template <typename Operation>
void OpenLocalDevice::access(const std::string& action, const Operation& operation) {
    m_timeout.requireTimeLeft(m_target.name());
    accessLate(action, operation);
}

template <typename Operation>
void OpenLocalDevice::accessLate(const std::string& action, const Operation& operation) {
    errno = 0;
    const AccessResult outcome = operation();
    if (outcome == AccessResult::BusError) {
        throw Failure(ExitStatus::Failed, m_target.name() + ": " + action + " caused a bus error");
    }
    require(outcome == AccessResult::Success, action);
}

std::uint32_t OpenLocalDevice::read(const RegisterRange& range) {
    std::uint32_t value = 0;
    access("reading " + range.addressText(), [&] { return m_opened.device->read(range.deviceAddress(), value); });
    return value;
}

std::uint32_t OpenLocalDevice::readLate(const RegisterRange& range) {
    std::uint32_t value = 0;
    accessLate("reading " + range.addressText(), [&] { return m_opened.device->read(range.deviceAddress(), value); });
    return value;
}

void OpenLocalDevice::write(const RegisterRange& range, std::uint32_t value) {
    access("writing " + range.addressText(), [&] { return m_opened.device->write(range.deviceAddress(), value); });
}

void OpenLocalDevice::write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) {
    access("writing " + range.addressText(),
           [&] { return m_opened.device->write(range.deviceAddress(), value, mask); });
}

std::vector<std::uint32_t> OpenLocalDevice::readBurst(const RegisterRange& range, Rynvel::ByteOrder order) {
    std::vector<std::uint32_t> values(range.count());
    access("reading a burst from " + range.addressText(),
           [&] { return m_opened.device->read(range.deviceAddress(), values.data(), range.count(), order); });
    return values;
}

int OpenLocalDevice::ioctl(std::uint32_t request, std::uint32_t argument) {
    errno = 0;
    const int result = m_opened.device->device().ioctl(static_cast<int>(request), argument);
    require(result != -1, "the ioctl request");
    return result;
}

std::optional<std::uint32_t> OpenLocalDevice::interruptType() {
    if (!m_target.type.hasInterrupts) {
        return std::nullopt;
    }
    errno = 0;
    unsigned long type = 0;
    require(m_opened.device->device().getInterruptType(&type), "reading the interrupt type");
    return static_cast<std::uint32_t>(type);
}

void OpenLocalDevice::enableInterrupts() {
    errno = 0;
    require(m_opened.device->device().enableInterrupt(), "enabling the interrupt");
}

void OpenLocalDevice::disableInterrupts() {
    errno = 0;
    require(m_opened.device->device().disableInterrupt(), "disabling the interrupt");
}

int OpenLocalDevice::prepareInterrupts() { return m_opened.device->device().getNativeHandle(); }

std::optional<std::uint32_t> OpenLocalDevice::receiveInterrupt(const Common::Deadline& /*deadline*/) {
    // Another process may take the interrupt after poll() returns. The function must then not wait for the next
    // interrupt.
    const Common::NonBlocking nonBlocking(m_opened.device->device().getNativeHandle());
    errno = 0;
    unsigned long word = 0;
    const bool isReceived = m_opened.device->device().waitForInterrupt(&word);
    if (!isReceived && errno == EAGAIN) {
        return std::nullopt;
    }
    require(isReceived, "receiving an interrupt");
    return static_cast<std::uint32_t>(word);
}

std::optional<int> OpenLocalDevice::descriptor() {
    const int descriptor = m_opened.device->device().getNativeHandle();
    return descriptor == -1 ? std::nullopt : std::optional<int>(descriptor);
}

} // namespace Rynvelctl
