/* SPDX-License-Identifier: MIT */
/**
 * @file
 * An open device on a register server.
 */
#ifndef RYNVELCTL_OPENREMOTEDEVICE_H
#define RYNVELCTL_OPENREMOTEDEVICE_H

#include <string>

#include "OpenDevice.h"
#include "RemoteDevice.h"

namespace Rynvelctl {

/**
 * Uses Common::RemoteDevice, which can receive a record in pieces. The remote devices of the library cannot do this.
 */
class OpenRemoteDevice final : public OpenDevice {
public:
    /** @param target must have a server, and must outlive this object. */
    explicit OpenRemoteDevice(const Target& target);

    bool isUsable() const override { return m_isUsable && !m_device.hasEnded(); }
    std::optional<std::uint32_t> mapSize() const override { return std::nullopt; }

    std::uint32_t read(const RegisterRange& range) override;
    std::uint32_t readLate(const RegisterRange& range) override;
    void write(const RegisterRange& range, std::uint32_t value) override;
    void write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) override;
    std::vector<std::uint32_t> readBurst(const RegisterRange& range, Rynvel::ByteOrder order) override;
    int ioctl(std::uint32_t request, std::uint32_t argument) override;
    /** Returns the interrupt type; none if the server refuses the request. */
    std::optional<std::uint32_t> interruptType() override;
    void enableInterrupts() override;
    void disableInterrupts() override;
    int prepareInterrupts() override;
    std::optional<std::uint32_t> receiveInterrupt(const Common::Deadline& deadline) override;
    std::optional<int> descriptor() override { return std::nullopt; }

    /** Raises an interrupt on a server that simulates the device. */
    void raiseInterrupt(std::uint32_t word);

private:
    template <typename Operation>
    auto call(const Operation& operation, const std::string& refusal);
    template <typename Operation>
    auto callServer(const std::string& action, const Operation& operation);

    /** Returns the deadline for an answer to a request that is sent now. */
    Common::Deadline answerDeadline() const;

    const Target& m_target;
    const RemoteServer& m_server;
    /** The deadline for the answer to a request after the time-out of the command; none except during readLate(). */
    std::optional<Common::Deadline> m_lateDeadline;
    Common::RemoteDevice m_device;
    bool m_isUsable = true;
};

} // namespace Rynvelctl

#endif
