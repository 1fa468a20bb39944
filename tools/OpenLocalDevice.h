/* SPDX-License-Identifier: MIT */
/**
 * @file
 * An open device on this machine.
 */
#ifndef RYNVELCTL_OPENLOCALDEVICE_H
#define RYNVELCTL_OPENLOCALDEVICE_H

#include <string>

#include "DeviceProbe.h"
#include "Failure.h"
#include "OpenDevice.h"

namespace Rynvelctl {

/**
 * Uses the library. Checks the time-out of the command before each access to a register, except in readLate(). Does not
 * interrupt a call to a driver.
 */
class OpenLocalDevice final : public OpenDevice {
public:
    /** @param target must outlive this object. */
    OpenLocalDevice(const Target& target, const CommandTimeout& timeout);

    std::optional<std::uint32_t> mapSize() const override { return m_opened.probe.mapSize; }

    std::uint32_t read(const RegisterRange& range) override;
    std::uint32_t readLate(const RegisterRange& range) override;
    void write(const RegisterRange& range, std::uint32_t value) override;
    void write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) override;
    std::vector<std::uint32_t> readBurst(const RegisterRange& range, Rynvel::ByteOrder order) override;
    int ioctl(std::uint32_t request, std::uint32_t argument) override;
    std::optional<std::uint32_t> interruptType() override;
    void enableInterrupts() override;
    void disableInterrupts() override;
    int prepareInterrupts() override;
    std::optional<std::uint32_t> receiveInterrupt(const Common::Deadline& deadline) override;
    std::optional<int> descriptor() override;

private:
    template <typename Operation>
    void access(const std::string& action, const Operation& operation);
    template <typename Operation>
    void accessLate(const std::string& action, const Operation& operation);
    void require(bool success, const std::string& action) const;
    Failure failure(const std::string& action) const;

    const Target& m_target;
    const CommandTimeout m_timeout;
    const Common::OpenedDevice m_opened;
};

} // namespace Rynvelctl

#endif
