/**
 * @file
 * An open device at a register server.
 */
#ifndef RYNVELCTL_SERVEDDEVICE_H
#define RYNVELCTL_SERVEDDEVICE_H

#include <string>

#include "OpenDevice.h"
#include "RemoteDevice.h"

namespace Rynvelctl {

/** By the client of the programs: the library's remote devices take what comes in pieces for data. */
class ServedDevice final : public OpenDevice {
public:
    /** @param subject has a server, and must outlive this object. */
    explicit ServedDevice(const Subject& subject);

    std::optional<std::uint32_t> mapSize() const override { return std::nullopt; }

    std::uint32_t read(const Addressing& addressing, const Place& place) override;
    void write(const Addressing& addressing, const Place& place, std::uint32_t value) override;
    void write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask) override;
    std::vector<std::uint32_t> readBurst(const Addressing& addressing, const Place& first, std::uint32_t count,
                                         Rynvel::ByteOrder order) override;
    int ioctl(std::uint32_t request, std::uint32_t argument) override;
    /** None also when the server knows none. */
    std::optional<std::uint32_t> interruptType() override;
    void enableInterrupts() override;
    void disableInterrupts() override;
    int expectInterrupts() override;
    std::optional<std::uint32_t> receiveInterrupt() override;
    /** None: there is a connection, and no device file. */
    std::optional<int> descriptor() override { return std::nullopt; }

    void raiseInterrupt(std::uint32_t word);

private:
    template <typename Calls>
    auto attempt(const std::string& deed, const Calls& calls);

    const Subject& m_subject;
    const Server& m_server;
    Common::RemoteDevice m_device;
};

} // namespace Rynvelctl

#endif
