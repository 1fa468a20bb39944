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
    /** @param target has a server, and must outlive this object. */
    explicit ServedDevice(const Target& target);

    std::optional<std::uint32_t> mapSize() const override { return std::nullopt; }

    std::uint32_t read(const RegisterRange& range) override;
    void write(const RegisterRange& range, std::uint32_t value) override;
    void write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) override;
    std::vector<std::uint32_t> readBurst(const RegisterRange& range, Rynvel::ByteOrder order) override;
    int ioctl(std::uint32_t request, std::uint32_t argument) override;
    /** None also when the server knows none. */
    std::optional<std::uint32_t> interruptType() override;
    void enableInterrupts() override;
    void disableInterrupts() override;
    int expectInterrupts() override;
    std::optional<std::uint32_t> receiveInterrupt(const Common::Deadline& deadline) override;
    /** None: there is a connection, and no device file. */
    std::optional<int> descriptor() override { return std::nullopt; }

    void raiseInterrupt(std::uint32_t word);

private:
    template <typename Calls>
    auto attempt(const std::string& action, const Calls& calls);

    const Target& m_target;
    const Server& m_server;
    Common::RemoteDevice m_device;
};

} // namespace Rynvelctl

#endif
