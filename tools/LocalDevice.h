/**
 * @file
 * An open device of this machine.
 */
#ifndef RYNVELCTL_LOCALDEVICE_H
#define RYNVELCTL_LOCALDEVICE_H

#include <string>

#include "DeviceProbe.h"
#include "Failure.h"
#include "OpenDevice.h"

namespace Rynvelctl {

/** By the library. The command's time is looked at before each access: a driver's call is not cut short. */
class LocalDevice final : public OpenDevice {
public:
    /** @param target must outlive this object. */
    LocalDevice(const Target& target, const CommandTime& time);

    std::optional<std::uint32_t> mapSize() const override { return m_opened.probe.mapSize; }

    std::uint32_t read(const RegisterRange& range) override;
    void write(const RegisterRange& range, std::uint32_t value) override;
    void write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) override;
    std::vector<std::uint32_t> readBurst(const RegisterRange& range, Rynvel::ByteOrder order) override;
    int ioctl(std::uint32_t request, std::uint32_t argument) override;
    std::optional<std::uint32_t> interruptType() override;
    void enableInterrupts() override;
    void disableInterrupts() override;
    int expectInterrupts() override;
    std::optional<std::uint32_t> receiveInterrupt(const Common::Deadline& deadline) override;
    std::optional<int> descriptor() override;

private:
    template <typename Operation>
    void access(const std::string& action, const Operation& operation);
    void require(bool success, const std::string& action) const;
    Failure failure(const std::string& action) const;

    const Target& m_target;
    const CommandTime m_time;
    const Common::OpenedDevice m_opened;
};

} // namespace Rynvelctl

#endif
