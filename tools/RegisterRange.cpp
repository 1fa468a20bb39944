#include "RegisterRange.h"

#include "Failure.h"
#include "Numbers.h"

namespace Rynvelctl {

RegisterRange::RegisterRange(const Target& device, AddressUnit unit, const std::string& address)
    : m_device(&device), m_unit(unit) {
    const std::uint32_t number = parseNumber(unit == AddressUnit::Bytes ? "address" : "index", address);
    if (number % step() != 0) {
        throw wrongUsage(device.name() + ": address " + address + " is no multiple of " + std::to_string(step()));
    }
    m_index = number / step();
    requireAddresses();
}

RegisterRange RegisterRange::resized(std::uint32_t count) const {
    RegisterRange range = *this;
    range.m_count = count;
    range.requireAddresses();
    return range;
}

RegisterRange RegisterRange::operator[](std::uint32_t number) const {
    RegisterRange range = *this;
    range.m_index += number;
    range.m_count = 1;
    return range;
}

void RegisterRange::requireAddresses() const {
    const std::uint64_t lastIndex = std::uint64_t{m_index} + m_count - 1;
    if (lastIndex != 0 && !isStepKnown()) {
        throw wrongUsage(m_device->name() + ": --type is needed for any address but 0: the type that the device has " +
                         "at its server decides what the address is there");
    }
    // What goes over SPI is the byte address, whatever the library is given.
    const Common::DeviceTypeInfo& kind = m_device->kind;
    const std::uint32_t perRegister = kind.access == Common::Access::Spi ? bytes() : kind.addressStride;
    if (lastIndex * step() > UINT32_MAX || lastIndex * perRegister > UINT32_MAX) {
        throw wrongUsage(m_device->name() + ": " + std::to_string(m_count) + " registers from " + addressText() +
                         " on go beyond the last address");
    }
}

void RegisterRange::requireInside(std::optional<std::uint32_t> mapSize) const {
    if (!mapSize || (std::uint64_t{m_index} + m_count) * bytes() <= *mapSize) {
        return;
    }
    const std::string registers = m_count == 1 ? "" : std::to_string(m_count) + " registers from ";
    const std::string verb = m_count == 1 ? " is" : " on are";
    throw wrongUsage(m_device->name() + ": " + registers + addressText() + verb + " outside of its map of " +
                     std::to_string(*mapSize) + " bytes");
}

std::string RegisterRange::addressText() const {
    return m_unit == AddressUnit::Bytes ? hexadecimal(address()) : std::to_string(address());
}

} // namespace Rynvelctl
