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
    /** @param subject must outlive this object. */
    LocalDevice(const Subject& subject, const CommandTime& time);

    std::optional<std::uint32_t> mapSize() const override { return m_opened.probe.mapSize; }

    std::uint32_t read(const Addressing& addressing, const Place& place) override;
    void write(const Addressing& addressing, const Place& place, std::uint32_t value) override;
    void write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask) override;
    std::vector<std::uint32_t> readBurst(const Addressing& addressing, const Place& first, std::uint32_t count,
                                         Rynvel::ByteOrder order) override;
    int ioctl(std::uint32_t request, std::uint32_t argument) override;
    std::optional<std::uint32_t> interruptType() override;
    void enableInterrupts() override;
    void disableInterrupts() override;
    int expectInterrupts() override;
    std::optional<std::uint32_t> receiveInterrupt() override;
    std::optional<int> descriptor() override;

private:
    template <typename Operation>
    void access(const std::string& deed, const Operation& operation);
    void require(bool success, const std::string& deed) const;
    Failure failure(const std::string& deed) const;

    const Subject& m_subject;
    const CommandTime m_time;
    const Common::OpenedDevice m_opened;
};

} // namespace Rynvelctl

#endif
