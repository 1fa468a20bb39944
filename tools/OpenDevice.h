/**
 * @file
 * The device that a command is about, open.
 */
#ifndef RYNVELCTL_OPENDEVICE_H
#define RYNVELCTL_OPENDEVICE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Addressing.h"
#include "Failure.h"
#include "RegisterDevice.h"
#include "Subject.h"

namespace Rynvelctl {

/** Everything that fails is thrown as Failure; a server that stays silent ends the process as a time-out. */
class OpenDevice {
public:
    /** @param subject must outlive this object. */
    explicit OpenDevice(const Subject& subject);

    /** Bytes of registers; none where the device does not tell. */
    std::optional<std::uint32_t> mapSize() const { return m_mapSize; }

    /** @throws Failure when the registers are not all inside the device's map. */
    void requireInside(const Addressing& addressing, const Place& first, std::uint32_t count) const;

    std::uint32_t read(const Addressing& addressing, const Place& place);
    void write(const Addressing& addressing, const Place& place, std::uint32_t value);
    void write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask);
    std::vector<std::uint32_t> readBurst(const Addressing& addressing, const Place& first, std::uint32_t count,
                                         Rynvel::ByteOrder order);

    int ioctl(int request, unsigned long argument);

    /** None for a device without interrupts. */
    std::optional<std::uint32_t> interruptType();
    void enableInterrupts();
    void disableInterrupts();
    /** Blocks. @return the interrupt's word. */
    std::uint32_t receiveInterrupt();
    /** To poll for interrupts; none where there is none. */
    std::optional<int> descriptor();

private:
    template <typename Calls>
    auto patiently(const Calls& calls);
    template <typename Operation>
    void access(const char* deed, const std::string& address, const Operation& operation);
    void require(bool success, const std::string& deed);
    Failure failure(const std::string& deed);
    bool isConnectionLost();

    const Subject& m_subject;
    std::optional<std::uint32_t> m_mapSize;
    std::unique_ptr<Inventory::RegisterDevice> m_device;
};

} // namespace Rynvelctl

#endif
