// SPDX-License-Identifier: MIT
#include "OpenRemoteDevice.h"

namespace Rynvelctl {

namespace {

Common::RemoteDevice openOnServer(const Target& target, const Common::DeadlineFactory& deadlines) {
    return {target.server->address(), target.name(), target.width(), deadlines};
}

/** Sets the deadline of a late answer as long as the object exists. */
class LateDeadline {
public:
    explicit LateDeadline(std::optional<Common::Deadline>& deadline) : m_deadline(deadline) {
        m_deadline = Common::Deadline(lateAnswerLimit);
    }
    LateDeadline(const LateDeadline&) = delete;
    LateDeadline& operator=(const LateDeadline&) = delete;
    ~LateDeadline() { m_deadline.reset(); }

private:
    std::optional<Common::Deadline>& m_deadline;
};

} // namespace

OpenRemoteDevice::OpenRemoteDevice(const Target& target)
    : m_target(target),
      m_server(*target.server),
      m_device(m_server.call([&] { return openOnServer(target, [this] { return answerDeadline(); }); }, "")) {}

Common::Deadline OpenRemoteDevice::answerDeadline() const {
    return m_lateDeadline ? *m_lateDeadline : m_server.deadlines()();
}

template <typename Operation>
auto OpenRemoteDevice::call(const Operation& operation, const std::string& refusal) {
    try {
        return m_server.call(operation, refusal);
    } catch (const UnansweredRequest&) {
        m_isUsable = false;
        throw;
    }
}

template <typename Operation>
auto OpenRemoteDevice::callServer(const std::string& action, const Operation& operation) {
    return call(operation, m_target.name() + ": " + action + " failed: the server refused the request");
}

std::uint32_t OpenRemoteDevice::read(const RegisterRange& range) {
    return callServer("reading " + range.addressText(), [&] { return m_device.read(range.deviceAddress()); });
}

std::uint32_t OpenRemoteDevice::readLate(const RegisterRange& range) {
    const LateDeadline late(m_lateDeadline);
    return read(range);
}

void OpenRemoteDevice::write(const RegisterRange& range, std::uint32_t value) {
    callServer("writing " + range.addressText(), [&] { m_device.write(range.deviceAddress(), value); });
}

void OpenRemoteDevice::write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) {
    callServer("writing " + range.addressText(), [&] { m_device.write(range.deviceAddress(), value, mask); });
}

std::vector<std::uint32_t> OpenRemoteDevice::readBurst(const RegisterRange& range, Rynvel::ByteOrder order) {
    return callServer("reading a burst from " + range.addressText(),
                      [&] { return m_device.read(range.deviceAddress(), range.count(), order); });
}

int OpenRemoteDevice::ioctl(std::uint32_t request, std::uint32_t argument) {
    return callServer("the ioctl request", [&] { return m_device.ioctl(request, argument); });
}

std::optional<std::uint32_t> OpenRemoteDevice::interruptType() {
    return call([&] { return m_device.interruptType(); }, "");
}

void OpenRemoteDevice::enableInterrupts() {
    callServer("enabling the interrupt", [&] { m_device.enableInterrupt(); });
}

void OpenRemoteDevice::disableInterrupts() {
    callServer("disabling the interrupt", [&] { m_device.disableInterrupt(); });
}

int OpenRemoteDevice::prepareInterrupts() {
    return call([&] { return m_device.arm(); },
                m_target.name() + ": the server does not report interrupts of this device");
}

std::optional<std::uint32_t> OpenRemoteDevice::receiveInterrupt(const Common::Deadline& deadline) {
    const auto earliest = Common::Deadline::earlier(deadline, m_server.deadlines()());
    return call(
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

void OpenRemoteDevice::raiseInterrupt(std::uint32_t word) {
    callServer("raising the interrupt", [&] { m_device.raiseInterrupt(word); });
}

} // namespace Rynvelctl
